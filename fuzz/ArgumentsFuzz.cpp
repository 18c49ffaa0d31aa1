// The input is a command line, an argument a line. It is understood, answered with help, or refused as wrong usage.
#include "cli/Arguments.h"
#include "fuzz/FuzzInput.h"

#include <algorithm>
#include <iostream>
#include <vector>

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    std::cout.rdbuf(nullptr);
    std::cerr.rdbuf(nullptr);
    std::string text(textOf(data, size));
    std::vector<const char*> words{"calvane-batch"};
    for (std::size_t at = 0; at < text.size();) {
        const std::size_t end = std::min(text.find('\n', at), text.size());
        text[std::min(end, text.size() - 1)] = end < text.size() ? '\0' : text.back();
        words.push_back(text.data() + at);
        at = end + 1;
    }
    const ParsedArguments parsed = parseArguments(static_cast<int>(words.size()), words.data());
    require(parsed.arguments || parsed.exitStatus == ExitStatus::kDone || parsed.exitStatus == ExitStatus::kWrongUsage);
    if (parsed.arguments && parsed.arguments->itemNumbers) {
        const auto& numbers = *parsed.arguments->itemNumbers;
        require(!numbers.empty() && std::ranges::adjacent_find(numbers, std::greater_equal()) == numbers.end());
        require(std::ranges::includes(numbers, parsed.arguments->singleNumbers));
    }
    return 0;
}
