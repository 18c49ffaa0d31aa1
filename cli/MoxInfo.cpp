#include "cli/CommandText.h"
#include "cli/MoxCommands.h"
#include "cli/Verbs.h"
#include "platform/kernel/Text.h"
#include "workbench/ItemJson.h"

#include <nlohmann/json.hpp>

#include <iostream>

namespace {

using Json = nlohmann::ordered_json;

std::string nvVersion(const PhoneProperties& record) {
    return std::to_string(record.nvMajorVersion) + "." + std::to_string(record.nvMinorVersion);
}

Json jsonOf(const std::optional<PhoneProperties>& record) {
    if (!record) {
        return {};
    }
    return {{"esn", record->esn},
            {"nvVersion", nvVersion(*record)},
            {"softwareVersion", workbench::utf8Text(record->softwareVersion)},
            {"clientName", workbench::utf8Text(record->clientName)}};
}

std::string textOf(const std::optional<PhoneProperties>& record) {
    if (!record) {
        return "Record of the phone: none\n";
    }
    return "ESN: " + std::to_string(record->esn) + " (0x" + kernel::upperCase(kernel::hexDigits(record->esn, 8)) +
           ")\nNV version: " + nvVersion(*record) + "\nSoftware version: " + record->softwareVersion +
           "\nClient name: " + record->clientName + "\n";
}

} // namespace

ExitStatus showMoxInfo(Calvane& catalog, const Arguments& arguments) {
    const MoxItems found = readMoxItems(catalog, arguments.moxPath);
    if (!arguments.jsonPath.empty()) {
        const Json json{{"file", workbench::utf8Text(arguments.moxPath)},
                        {"phoneModelId", found.phoneModelId},
                        {"items", found.items.size()},
                        {"record", jsonOf(found.properties)}};
        writeOutput(arguments.jsonPath, json.dump(2) + "\n");
    } else {
        std::cout << "Phone model id: " << found.phoneModelId << "\nItems: " << found.items.size() << '\n'
                  << textOf(found.properties);
    }
    return found.isSound ? ExitStatus::kDone : ExitStatus::kFile;
}
