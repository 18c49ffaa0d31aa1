#include "cli/CommandText.h"
#include "cli/Verbs.h"
#include "platform/com/Messages.h"
#include "platform/storage/Storage.h"
#include "workbench/MessageText.h"

#include <nlohmann/json.hpp>

#include <algorithm>
#include <iomanip>
#include <iostream>
#include <vector>

namespace {

using Json = nlohmann::ordered_json;

constexpr std::uint32_t kForReading = storage::kRead | storage::kShareExclusive;
constexpr int kSizeWidth = 10;
// Elements further down are shown at this depth, with their own depth in front: a file may nest thousands of them.
constexpr std::size_t kMaxIndentedDepth = 24;

// The text of a failure, with `subject` where the message table leaves a place for it.
std::string failureText(com::Status status, const std::string& subject) {
    std::string text = workbench::shownMessage(com::standardMessage(status), "'" + subject + "'");
    return text.erase(text.find_last_not_of('\n') + 1);
}

void appendUtf8(std::string& text, char32_t code) {
    const auto byte = [&](char32_t value) { text.push_back(static_cast<char>(static_cast<unsigned char>(value))); };
    if (code < 0x80) {
        byte(code);
        return;
    }
    if (code < 0x800) {
        byte(0xC0 | code >> 6);
    } else if (code < 0x10000) {
        byte(0xE0 | code >> 12);
        byte(0x80 | (code >> 6 & 0x3F));
    } else {
        byte(0xF0 | code >> 18);
        byte(0x80 | (code >> 12 & 0x3F));
        byte(0x80 | (code >> 6 & 0x3F));
    }
    byte(0x80 | (code & 0x3F));
}

// Half of a surrogate pair without the other becomes bytes that are no character.
std::string utf8Of(std::u16string_view name) {
    const auto isHalf = [&](std::size_t at, char16_t first) {
        return at < name.size() && name[at] >= first && name[at] < first + 0x400;
    };
    std::string text;
    for (std::size_t at = 0; at < name.size(); ++at) {
        const char16_t unit = name[at];
        if (isHalf(at, 0xD800) && isHalf(at + 1, 0xDC00)) {
            appendUtf8(text, 0x10000 + ((unit - 0xD800U) << 10) + (name[++at] - 0xDC00U));
        } else {
            appendUtf8(text, unit);
        }
    }
    return text;
}

// The name, shown: names often begin with a control character.
std::string printable(std::u16string_view name) {
    return workbench::shownText(utf8Of(name));
}

// Walks a tree with a stack of its own, so that no file decides how deep the program's goes.
class TreePrinter {
public:
    explicit TreePrinter(bool asJson) : asJson_(asJson) {}

    // The elements as JSON, in the order in which they would be printed; a storage's are behind it, one deeper.
    const std::string& json() const { return json_; }
    // What was wrong first, where an element says so itself.
    const std::string& problem() const { return problem_; }

    bool print(const storage::ComPtr<storage::IStorage>& root) {
        enter(root, "the root");
        while (!levels_.empty()) {
            storage::ElementInfo child;
            const com::Status status = levels_.back().children->next(child);
            if (status != com::kOk) {
                if (com::failed(status)) {
                    complain(levels_.back().name, status);
                }
                levels_.pop_back();
                continue;
            }
            show(child);
            if (child.kind == storage::ElementKind::kStorage) {
                open(child);
            }
        }
        return complete_;
    }

private:
    struct Level {
        storage::ComPtr<storage::IStorage> storage;
        storage::ComPtr<storage::IEnumElements> children;
        std::string name;
    };

    void open(const storage::ElementInfo& child) {
        storage::ComPtr<storage::IStorage> opened;
        const com::Status status = levels_.back().storage->openStorage(child.name, kForReading, opened);
        if (com::failed(status)) {
            complain(printable(child.name), status);
        } else {
            enter(opened, printable(child.name));
        }
    }

    void enter(const storage::ComPtr<storage::IStorage>& storage, const std::string& name) {
        Level level{storage, {}, name};
        const com::Status status = storage->enumElements(level.children);
        if (com::failed(status)) {
            complain(name, status);
        } else {
            levels_.push_back(std::move(level));
        }
    }

    void show(const storage::ElementInfo& child) {
        const std::size_t depth = levels_.size() - 1;
        const bool isStream = child.kind == storage::ElementKind::kStream;
        if (asJson_) {
            Json element{{"depth", depth}, {"kind", isStream ? "stream" : "storage"}, {"name", utf8Of(child.name)}};
            if (isStream) {
                element["size"] = child.size;
            }
            json_ +=
                (json_.empty() ? "\n    " : ",\n    ") + element.dump(-1, ' ', false, Json::error_handler_t::replace);
            return;
        }
        std::cout << std::setw(kSizeWidth) << (isStream ? std::to_string(child.size) : "") << "  "
                  << std::string(2 * std::min(depth, kMaxIndentedDepth), ' ');
        if (depth > kMaxIndentedDepth) {
            std::cout << "(" << depth << ") ";
        }
        std::cout << printable(child.name) << (isStream ? "" : "/") << '\n';
    }

    void complain(const std::string& name, com::Status status) {
        problem_ = problem_.empty() ? name + ": " + failureText(status, name) : problem_;
        complete_ = false;
    }

    const bool asJson_;
    std::string json_;
    std::vector<Level> levels_;
    bool complete_ = true;
    std::string problem_; // the first one
};

} // namespace

ExitStatus printTree(const Arguments& arguments) {
    const std::string& path = arguments.inputPath;
    storage::ComPtr<storage::IStorage> root;
    const com::Status status = storage::stgOpenStorage(path, kForReading, root);
    if (com::failed(status)) {
        const std::string text = failureText(status, path);
        throw BatchFailure(ExitStatus::kFile,
                           text.find(quoted(path)) == std::string::npos ? quoted(path) + ": " + text : text);
    }
    TreePrinter printer(!arguments.jsonPath.empty());
    const bool isComplete = printer.print(root) && root->isWhole();
    if (!isComplete) {
        tellFailure(withPlace(quoted(path) + " is damaged: it may have had more elements. " + printer.problem()));
    }
    if (!arguments.jsonPath.empty()) {
        writeOutput(arguments.jsonPath, "{\n  \"elements\": [" + printer.json() +
                                            "\n  ],\n  \"complete\": " + (isComplete ? "true" : "false") + "\n}\n");
    }
    return isComplete ? ExitStatus::kDone : ExitStatus::kFile;
}
