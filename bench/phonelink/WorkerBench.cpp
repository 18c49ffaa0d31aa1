// What handing a function to the COM worker and waiting for it costs, beside the least that two threads can do: pass a
// token there and back with a mutex and a condition variable.

#include "phonelink/ComThreadManager.h"

#include <benchmark/benchmark.h>

#include <condition_variable>
#include <mutex>
#include <thread>

namespace {

class EmptyClient : public ComThreadClient {
public:
    void invoke(FunctionWithArgument function, std::uintptr_t argument) override { (this->*function)(argument); }
    void invoke(Function function) override { (this->*function)(); }
    void nothing() {}
};

void WorkerRoundTrip(benchmark::State& state) {
    ComThreadManager* const manager = ComThreadManager::acquire();
    EmptyClient client;
    for (auto _ : state) {
        manager->executeFunction(client, &EmptyClient::nothing, kernel::kInfinite);
    }
    ComThreadManager::release();
}

enum class Token { kHere, kThere, kGone };

/// Sends the token back until it is gone.
void sendBack(std::mutex& lock, std::condition_variable& moved, Token& token) {
    while (true) {
        {
            std::unique_lock held(lock);
            moved.wait(held, [&] { return token != Token::kHere; });
            if (token == Token::kGone) {
                return;
            }
            token = Token::kHere;
        }
        moved.notify_one();
    }
}

void BareHandOver(benchmark::State& state) {
    std::mutex lock;
    std::condition_variable moved;
    Token token = Token::kHere;
    std::jthread other([&] { sendBack(lock, moved, token); });
    const auto handOver = [&](Token to) {
        {
            const std::lock_guard held(lock);
            token = to;
        }
        moved.notify_one();
    };
    for (auto _ : state) {
        handOver(Token::kThere);
        std::unique_lock held(lock);
        moved.wait(held, [&] { return token == Token::kHere; });
    }
    handOver(Token::kGone);
}

} // namespace

BENCHMARK(BareHandOver)->UseRealTime();
BENCHMARK(WorkerRoundTrip)->UseRealTime();

BENCHMARK_MAIN();
