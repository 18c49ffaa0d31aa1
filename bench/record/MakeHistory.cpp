// calvane-make-history FILE|URL PHONES SESSIONS     fills a new store with so many phones and sessions of each
// calvane-make-history FILE|URL                     how long each question takes, at first and when asked again
//
// To have the first time from the disk, empty the caches before.

#include "bench/record/SamplePhones.h"
#include "workbench/record/Schema.h"

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <exception>

namespace {

std::unique_ptr<record::Database> open(const std::string& where) {
    return where.starts_with("postgresql:") ? record::openPostgres(where) : record::openSqlite(where);
}

double msOf(const std::function<void()>& work) {
    const auto begin = std::chrono::steady_clock::now();
    work();
    return std::chrono::duration<double, std::milli>(std::chrono::steady_clock::now() - begin).count();
}

void ask(const std::string& where) {
    constexpr std::size_t kTimes = 7;
    std::printf("%-26s %8s %12s %12s\n", "question", "rows", "first, ms", "again, ms");
    for (const sample::Question& question : sample::questions()) {
        std::size_t rows = 0;
        std::unique_ptr<record::Database> database;
        const double first = msOf([&] {
            database = open(where);
            rows = question.ask(*database);
        });
        std::vector<double> again;
        for (std::size_t time = 0; time < kTimes; ++time) {
            again.push_back(msOf([&] { question.ask(*database); }));
        }
        std::ranges::sort(again);
        std::printf("%-26s %8zu %12.2f %12.2f\n", question.name, rows, first, again[kTimes / 2]);
    }
}

} // namespace

int main(int count, char** arguments) {
    try {
        const std::vector<std::string> words(arguments, arguments + count);
        if (words.size() == 4) {
            const auto phones = static_cast<std::size_t>(std::stoul(words[2]));
            const auto sessions = static_cast<std::size_t>(std::stoul(words[3]));
            std::printf("%.1f s\n", msOf([&] { sample::fill(open(words[1]), phones, sessions); }) / 1000);
        } else if (words.size() == 2) {
            ask(words[1]);
        } else {
            std::fputs("usage: calvane-make-history FILE|URL [PHONES SESSIONS]\n", stderr);
            return EXIT_FAILURE;
        }
    } catch (const std::exception& failure) {
        std::fprintf(stderr, "calvane-make-history: %s\n", failure.what());
        return EXIT_FAILURE;
    }
    return EXIT_SUCCESS;
}
