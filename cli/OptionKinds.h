#pragma once

#include "cli/Arguments.h"
#include "platform/kernel/Text.h"
#include "workbench/ItemNumbers.h"

#include <CLI/CLI.hpp>

#include <functional>
#include <string>
#include <string_view>

using workbench::ItemNumbers;

/// The kinds of options that verbs are described with. What an option is given is stored in `arguments`, or in the
/// variable that it is added with, while the command line is parsed.

/// A verb with an example for its help.
CLI::App* addVerb(CLI::App& program, Arguments& arguments, Arguments::Verb verb, const std::string& name,
                  const std::string& description, const std::string& example);

/// An option that names something. An empty name is a variable of a script that was never set: taken for none, it
/// would silently leave out what was asked for.
CLI::Option* addName(CLI::App& verb, const std::string& option, std::string& name, const std::string& description);
CLI::Option* addFlag(CLI::App& verb, const std::string& name, bool& flag, const std::string& description);
/// An option whose text is a list of item numbers, handed to `take`, which may throw std::invalid_argument.
CLI::Option* addNumbers(CLI::App& verb, const std::string& name, const std::string& description,
                        const std::function<void(const ItemNumbers&)>& take);
/// An option whose text is handed to `take`, which answers whether it is what it should be.
CLI::Option* addNumber(CLI::App& verb, const std::string& name, const std::string& description,
                       const std::function<bool(const std::string&)>& take);

void addRing(CLI::App& verb, Arguments& arguments);
void addService(CLI::App& verb, Arguments& arguments);
/// --verbose, which may stand before the verb and behind it.
void addVerbose(CLI::App& program, Arguments& arguments);
/// --port, with --service; or --device, with --baud. The first of each pair is added to `group`, which is the verb or
/// a part of it.
CLI::Option* addPort(CLI::App& verb, CLI::App& group, Arguments& arguments);
inline CLI::Option* addPort(CLI::App& verb, Arguments& arguments) {
    return addPort(verb, verb, arguments);
}
CLI::Option* addBaud(CLI::App& verb, Arguments& arguments);
/// --log, --progress, --quiet and --color.
void addTelling(CLI::App& verb, Arguments& arguments);
/// --report.
void addReport(CLI::App& verb, Arguments& arguments);
/// Both, for verbs that may also be for one of several ports.
void addReporting(CLI::App& verb, Arguments& arguments);
/// --port and what else every write to a phone takes.
void addWriting(CLI::App& verb, Arguments& arguments);
/// The item numbers of the arguments, as an option of this name.
CLI::Option* addItemNumbers(CLI::App& verb, Arguments& arguments, const std::string& name,
                            const std::string& description);
/// The two ways to name several items. The file is read when the arguments are carried out.
void addItems(CLI::App& verb, Arguments& arguments, const std::string& what);
/// --json: `what` to a file.
CLI::Option* addJson(CLI::App& verb, Arguments& arguments, const std::string& what);
void addRetries(CLI::App& verb, Arguments& arguments);

/// The whole of `text` as a number, which may be hexadecimal behind 0x. Otherwise `number` stays as it is.
template <class Number>
bool parseNumber(std::string_view text, Number& number) {
    const bool isHex = text.starts_with("0x") || text.starts_with("0X");
    text.remove_prefix(isHex ? 2 : 0);
    const auto parsed = kernel::wholeNumber<Number>(text, isHex ? 16 : 10);
    number = parsed.value_or(number);
    return parsed.has_value();
}
