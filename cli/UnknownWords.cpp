#include "cli/UnknownWords.h"

#include <CLI/CLI.hpp>

#include <algorithm>
#include <iterator>
#include <numeric>
#include <utility>
#include <vector>

namespace {

/// "; did you mean --json?", where one of the known words is near enough to be a slip of the fingers, or begins with
/// all of this one. Of several, the first.
std::string suggestion(std::string_view word, const std::vector<std::string>& known) {
    const auto distance = [word](const std::string& other) { return editDistance(word, other); };
    const auto nearest = std::ranges::min_element(known, {}, distance);
    if (nearest != known.end() && distance(*nearest) <= std::max<std::size_t>(2, word.size() / 3)) {
        return "; did you mean " + *nearest + "?";
    }
    constexpr std::size_t kTelling = 5; // "--js" may be the begin of much
    const auto longer = std::ranges::find_if(known, [&](const std::string& other) { return other.starts_with(word); });
    return longer == known.end() || word.size() < kTelling ? "" : "; did you mean " + *longer + "?";
}

std::vector<std::string> verbsOf(const CLI::App& program) {
    std::vector<std::string> names;
    for (const CLI::App* verb :
         program.get_subcommands([](const CLI::App* part) { return !part->get_name().empty(); })) {
        names.push_back(verb->get_name());
    }
    return names;
}

/// Those of the option groups too, which are nameless parts.
std::vector<std::string> optionsOf(const CLI::App& app) {
    std::vector<std::string> names;
    for (const CLI::Option* option : app.get_options()) {
        if (!option->get_lnames().empty() && !option->get_group().empty()) { // a hidden one is nobody's to use
            names.push_back("--" + option->get_lnames().front());
        }
    }
    for (const CLI::App* group : app.get_subcommands([](const CLI::App* part) { return part->get_name().empty(); })) {
        std::ranges::copy(optionsOf(*group), std::back_inserter(names));
    }
    return names;
}

bool isOption(std::string_view word) {
    return word.size() > 1 && word.starts_with('-') && word != "--";
}

std::string unknownOf(const CLI::App& app, const std::string& place) {
    const std::vector<std::string> left = app.remaining();
    const auto verbs = verbsOf(app);
    if (const auto word = std::ranges::find_if_not(left, isOption); !verbs.empty() && word != left.end()) {
        return "unknown verb '" + *word + "'" + place + suggestion(*word, verbs);
    }
    if (const auto option = std::ranges::find_if(left, isOption); option != left.end()) {
        const std::string name = option->substr(0, option->find('='));
        return "unknown option " + name + place + suggestion(name, optionsOf(app));
    }
    return left.empty() ? "" : "unexpected word '" + left.front() + "'" + place;
}

} // namespace

std::size_t editDistance(std::string_view left, std::string_view right) {
    std::vector<std::size_t> beforeLast;
    std::vector<std::size_t> last(right.size() + 1);
    std::iota(last.begin(), last.end(), std::size_t{0});
    for (std::size_t i = 1; i <= left.size(); ++i) {
        std::vector<std::size_t> row{i};
        for (std::size_t j = 1; j <= right.size(); ++j) {
            const std::size_t other = left[i - 1] == right[j - 1] ? 0 : 1;
            std::size_t steps = std::min({last[j] + 1, row[j - 1] + 1, last[j - 1] + other});
            if (i > 1 && j > 1 && left[i - 1] == right[j - 2] && left[i - 2] == right[j - 1]) {
                steps = std::min(steps, beforeLast[j - 2] + 1);
            }
            row.push_back(steps);
        }
        beforeLast = std::exchange(last, std::move(row));
    }
    return last.back();
}

std::string unknownWord(const CLI::App& program, std::span<const std::string> words) {
    const auto verbs = verbsOf(program);
    const auto word = std::ranges::find_if(words, [](const std::string& text) { return !text.starts_with('-'); });
    if (word != words.end() && std::ranges::find(verbs, *word) == verbs.end()) {
        return "unknown verb '" + *word + "'" + suggestion(*word, verbs);
    }
    std::string text = unknownOf(program, "");
    std::string place;
    for (const CLI::App* verb = &program; text.empty() && !verb->get_subcommands().empty();) {
        verb = verb->get_subcommands().front();
        place += (place.empty() ? " of " : " ") + verb->get_name();
        text = unknownOf(*verb, place);
    }
    return text;
}
