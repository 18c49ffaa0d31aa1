#include "cli/OptionKinds.h"

#include <stdexcept>
#include <utility>

CLI::App* addVerb(CLI::App& program, Arguments& arguments, Arguments::Verb verb, const std::string& name,
                  const std::string& description, const std::string& example) {
    CLI::App* added = program.add_subcommand(name, description);
    added->footer("Example:\n  " + example);
    added->callback([&arguments, verb] { arguments.verb = verb; });
    return added;
}

CLI::Option* addName(CLI::App& verb, const std::string& option, std::string& name, const std::string& description) {
    return verb.add_option(option, name, description)->check([](const std::string& text) {
        // In a message it would stand for a line of ours.
        if (text.find_first_of("\n\r\t\a") != std::string::npos) {
            return std::string("it has a line end, a tab or a bell");
        }
        return std::string(text.empty() ? "it is empty" : "");
    });
}

CLI::Option* addFlag(CLI::App& verb, const std::string& name, bool& flag, const std::string& description) {
    return verb.add_flag(name, flag, description)->disable_flag_override();
}

CLI::Option* addNumbers(CLI::App& verb, const std::string& name, const std::string& description,
                        const std::function<void(const ItemNumbers&)>& take) {
    return verb.add_option_function<std::string>(
        name,
        [name, take](const std::string& text) {
            try {
                take(parseItemNumbers(text));
            } catch (const std::invalid_argument& error) {
                throw CLI::ValidationError(name, error.what());
            }
        },
        description);
}

CLI::Option* addNumber(CLI::App& verb, const std::string& name, const std::string& description,
                       const std::function<bool(const std::string&)>& take) {
    return verb.add_option_function<std::string>(
        name,
        [name, take](const std::string& text) {
            if (!take(text)) {
                throw CLI::ValidationError(name, "'" + text + "' is out of range or no number");
            }
        },
        description);
}

void addRing(CLI::App& verb, Arguments& arguments) {
    addName(verb, "--ring", arguments.ringPath, "Decoder ring file (default: \"NV Decoder.vrk\" beside the program)");
}

void addService(CLI::App& verb, Arguments& arguments) {
    addName(verb, "--service", arguments.servicePath,
            "Ports of the phone service (default: Tessra.toml beside the program)");
}

CLI::Option* addPort(CLI::App& verb, Arguments& arguments) {
    CLI::Option* port = addName(verb, "--port", arguments.comPort, "Port of the phone, such as COM1");
    addService(verb, arguments);
    CLI::Option* device =
        addName(verb, "--device", arguments.devicePath,
                "Serial device of the phone, such as /dev/ttyUSB0, instead of a port: no file with ports is needed");
    device->excludes(port);
    addBaud(verb, arguments)->needs(device);
    return port;
}

CLI::Option* addBaud(CLI::App& verb, Arguments& arguments) {
    return addNumber(verb, "--baud", "Speed of that device (default: 115200)",
                     [&arguments](const std::string& text) { return parseNumber(text, arguments.baud); });
}

CLI::Option* addItemNumbers(CLI::App& verb, Arguments& arguments, const std::string& name,
                            const std::string& description) {
    return addNumbers(verb, name, description, [&arguments](const ItemNumbers& numbers) {
        arguments.itemNumbers = numbers.all;
        arguments.singleNumbers = numbers.single;
    });
}

void addItems(CLI::App& verb, Arguments& arguments, const std::string& what) {
    CLI::Option* numbers = addItemNumbers(verb, arguments, "--ids", what + " these items alone, such as 10,20-30");
    addName(verb, "--list", arguments.listPath, what + " the items of this list alone, a text file")->excludes(numbers);
}
