#include "cli/FileTree.h"

#include "cli/CommandText.h"
#include "platform/com/Messages.h"
#include "platform/storage/Storage.h"

#include <algorithm>
#include <array>
#include <charconv>
#include <filesystem>
#include <iomanip>
#include <iostream>
#include <stdexcept>
#include <vector>

namespace {

constexpr std::uint32_t kForReading = storage::kRead | storage::kShareExclusive;
/// What one element takes in the directory of a file ([MS-CFB] 2.6.1).
constexpr std::uintmax_t kEntryBytes = 128;
constexpr int kSizeWidth = 10;
/// Elements further down are shown at this depth, with their own depth in front: a file may nest thousands of them.
constexpr std::size_t kMaxIndentedDepth = 24;

/// The text of a failure, with `subject` where the message table leaves a place for it.
std::string failureText(com::Status status, const std::string& subject) {
    std::string text = com::standardMessage(status);
    if (const auto place = text.find("%1"); place != std::string::npos) {
        text.replace(place, 2, "'" + subject + "'");
    }
    return text;
}

/// Names often begin with a control character, which must not reach a terminal.
std::string printable(std::u16string_view name) {
    std::string text;
    std::u16string plain;
    const auto flush = [&] {
        text += storage::toUtf8(plain);
        plain.clear();
    };
    for (const char16_t unit : name) {
        if (unit >= 0x20 && (unit < 0x7F || unit > 0x9F)) {
            plain += unit;
            continue;
        }
        flush();
        std::array<char, 2> digits{'0', '0'};
        std::to_chars(digits.data() + (unit < 0x10 ? 1 : 0), digits.data() + digits.size(), unit, 16);
        text.append("\\x").append(digits.data(), digits.size());
    }
    flush();
    return text;
}

/// Walks a tree with a stack of its own, so that no file decides how deep the program's goes.
class TreePrinter {
public:
    explicit TreePrinter(std::uintmax_t maxElements) : maxElements_(maxElements) {}

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
            if (++elements_ > maxElements_) {
                throw std::runtime_error("The file is damaged: its storages contain each other.");
            }
            show(child);
            if (child.kind == storage::ElementKind::storage) {
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

    void show(const storage::ElementInfo& child) const {
        const std::size_t depth = levels_.size() - 1;
        const bool isStream = child.kind == storage::ElementKind::stream;
        std::cout << std::setw(kSizeWidth) << (isStream ? std::to_string(child.size) : "") << "  "
                  << std::string(2 * std::min(depth, kMaxIndentedDepth), ' ');
        if (depth > kMaxIndentedDepth) {
            std::cout << "(" << depth << ") ";
        }
        std::cout << printable(child.name) << (isStream ? "" : "/") << '\n';
    }

    void complain(const std::string& name, com::Status status) {
        std::cerr << name << ": " << failureText(status, name) << '\n';
        complete_ = false;
    }

    const std::uintmax_t maxElements_;
    std::uintmax_t elements_ = 0;
    std::vector<Level> levels_;
    bool complete_ = true;
};

} // namespace

int printTree(const std::string& path) {
    storage::ComPtr<storage::IStorage> root;
    const com::Status status = storage::stgOpenStorage(path, kForReading, root);
    if (com::failed(status)) {
        const std::string text = failureText(status, path);
        throw std::runtime_error(text.find(path) == std::string::npos ? "'" + path + "': " + text : text);
    }
    return TreePrinter(std::filesystem::file_size(path) / kEntryBytes).print(root) ? kDone : kRefused;
}
