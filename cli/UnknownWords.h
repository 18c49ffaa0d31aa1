#pragma once

#include <span>
#include <string>
#include <string_view>

namespace CLI {
class App;
}

/// How many letters have to be put in, left out, exchanged for others, or exchanged with their neighbours to make one
/// word of the other.
std::size_t editDistance(std::string_view left, std::string_view right);

/// After a parse that failed: the verb or option that the program does not have, with the nearest one that it has, as
/// in "unknown option --jsno of read; did you mean --json?", or the word that is one too many. Empty where all words
/// are known. `words`: those of the command line, in their order, without the program's name.
std::string unknownWord(const CLI::App& program, std::span<const std::string> words);
