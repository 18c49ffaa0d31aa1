#include "tests/storage/StrictCheck.h"

#include "platform/kernel/LittleEndian.h"

#include <algorithm>
#include <stdexcept>
#include <vector>

namespace storage::testing {
namespace {

using kernel::get16;
using kernel::get32;
using kernel::get64;

constexpr std::uint32_t kNone = 0xFFFFFFFF;
constexpr std::uint32_t kEnd = 0xFFFFFFFE;
constexpr std::uint32_t kSector = 512;

void need(bool holds, const std::string& what) {
    if (!holds) {
        throw std::runtime_error(what);
    }
}

bool zeros(const Buffer& bytes, std::size_t from, std::size_t to) {
    return std::all_of(bytes.data() + from, bytes.data() + std::max(from, to),
                       [](std::uint8_t byte) { return byte == 0; });
}

class Checker {
public:
    Checker(const Buffer& file, Contents& tree) : file_(file), tree_(tree) {}

    void run() {
        readHeader();
        readTables();
        directory_ = claimChain(get32(&file_[48]), "directory");
        need(get32(&file_[40]) == 0, "directory sector count");
        const std::uint8_t* root = entry(0);
        need(root[66] == 5 && root[67] == 1 && get32(root + 68) == kNone && get32(root + 72) == kNone, "root entry");
        readMiniStream(root);
        seen_.assign(directory_.size() / 128, false);
        seen_[0] = true;
        tree_.clear();
        tree_[u"/"] = {};
        walkSiblings(get32(root + 76), u"/", false, 0, true);
        checkRest();
    }

private:
    void readHeader() {
        static constexpr std::uint8_t kSignature[]{0xD0, 0xCF, 0x11, 0xE0, 0xA1, 0xB1, 0x1A, 0xE1};
        need(file_.size() >= 1536 && std::equal(kSignature, kSignature + 8, file_.begin()), "signature");
        need(zeros(file_, 8, 24) && get16(&file_[24]) == 0x3E && get16(&file_[26]) == 3, "version");
        need(get16(&file_[28]) == 0xFFFE && get16(&file_[30]) == 9 && get16(&file_[32]) == 6, "shifts");
        need(zeros(file_, 34, 40) && zeros(file_, 52, 56) && get32(&file_[56]) == 4096, "reserved fields");
        need(file_.size() % kSector == 0, "length");
        owner_.assign(file_.size() / kSector - 1, "");
    }

    void readTables() {
        const std::uint32_t fats = get32(&file_[44]);
        need(fats <= 109 && get32(&file_[68]) == kEnd && get32(&file_[72]) == 0, "difat");
        for (std::uint32_t slot = 0; slot < 109; ++slot) {
            const std::uint32_t sector = get32(&file_[76 + 4 * slot]);
            need((sector == kNone) == (slot >= fats), "fat slots");
            if (slot < fats) {
                claim(sector, "fat");
                for (std::uint32_t word = 0; word < kSector; word += 4) {
                    fat_.push_back(get32(sectorBytes(sector) + word));
                }
            }
        }
        for (std::uint32_t slot = 0; slot < fats; ++slot) {
            need(fat_.at(get32(&file_[76 + 4 * slot])) == 0xFFFFFFFD, "fat mark");
        }
    }

    const std::uint8_t* sectorBytes(std::uint32_t number) const {
        need(number < owner_.size(), "sector outside of the file");
        return &file_[(std::size_t{number} + 1) * kSector];
    }
    void claim(std::uint32_t number, const std::string& what) {
        need(number < owner_.size(), what + " outside of the file");
        need(owner_[number].empty(), what + " shares a sector with " + owner_[number]);
        owner_[number] = what;
    }
    Buffer claimChain(std::uint32_t start, const std::string& what) {
        Buffer bytes;
        for (std::uint32_t at = start; at != kEnd; at = fat_[at]) {
            need(at < fat_.size(), what + " leaves the table");
            claim(at, what);
            bytes.insert(bytes.end(), sectorBytes(at), sectorBytes(at) + kSector);
        }
        return bytes;
    }
    const std::uint8_t* entry(std::uint32_t id) const {
        need(id < directory_.size() / 128, "entry outside of the directory");
        return &directory_[std::size_t{id} * 128];
    }

    void readMiniStream(const std::uint8_t* root) {
        const std::uint64_t size = get64(root + 120);
        mini_ = claimChain(get32(root + 116), "mini stream");
        const Buffer table = claimChain(get32(&file_[60]), "mini fat");
        need(table.size() / kSector == get32(&file_[64]), "mini fat count");
        for (std::size_t at = 0; at < table.size(); at += 4) {
            miniFat_.push_back(get32(&table[at]));
        }
        need(size <= mini_.size() && mini_.size() - size < kSector && size / 64 <= miniFat_.size(), "mini stream size");
        miniOwned_.assign(size / 64, false);
    }

    // Answers the black height. Recursion is safe: the depth is bounded here.
    unsigned walkSiblings(std::uint32_t id, const std::u16string& path, bool redParent, unsigned depth, bool top) {
        if (id == kNone) {
            return 1;
        }
        const std::uint8_t* at = entry(id);
        need(depth < 64 && !seen_[id], "loop among siblings");
        seen_[id] = true;
        const bool red = at[67] == 0;
        need(at[67] <= 1 && !(red && (redParent || top)), "colours");
        const unsigned left = walkSiblings(get32(at + 68), path, red, depth + 1, false);
        visit(id, at, path);
        const unsigned right = walkSiblings(get32(at + 72), path, red, depth + 1, false);
        need(left == right, "black heights");
        return left + (red ? 0 : 1);
    }

    void visit(std::uint32_t id, const std::uint8_t* at, const std::u16string& path) {
        const unsigned length = get16(at + 64);
        need(length >= 4 && length <= 64 && length % 2 == 0, "name length");
        std::u16string name;
        for (unsigned unit = 0; unit < 64; unit += 2) {
            const char16_t value = get16(at + unit);
            need((value == 0) == (unit + 2 >= length), "name padding");
            if (value != 0) {
                name.push_back(value);
            }
        }
        std::u16string folded = name;
        for (char16_t& unit : folded) {
            unit = unit >= u'a' && unit <= u'z' ? static_cast<char16_t>(unit - 32) : unit;
        }
        // The tests name things in ASCII; other scripts have a test of their own.
        std::u16string& last = lastName_[path];
        need(last.empty() || last.size() < folded.size() || (last.size() == folded.size() && last < folded), "order");
        last = folded;
        need(zeros(directory_, std::size_t{id} * 128 + 80, std::size_t{id} * 128 + 116), "unused entry fields");
        const std::uint64_t size = get64(at + 120);
        if (at[66] == 1) {
            need(get32(at + 116) == 0 && size == 0, "storage with contents");
            tree_[path + name + u"/"] = {};
            walkSiblings(get32(at + 76), path + name + u"/", false, 0, true);
        } else {
            need(at[66] == 2 && get32(at + 76) == kNone, "entry type");
            tree_[path + name] = readStream(id, get32(at + 116), size);
        }
    }

    Buffer readStream(std::uint32_t id, std::uint32_t start, std::uint64_t size) {
        Buffer bytes;
        const std::string what = "stream " + std::to_string(id);
        if (size < 4096) {
            for (std::uint32_t at = start; at != kEnd; at = miniFat_[at]) {
                need(at < miniOwned_.size() && !miniOwned_[at], what + ": mini chain");
                miniOwned_[at] = true;
                bytes.insert(bytes.end(), &mini_[std::size_t{at} * 64], &mini_[std::size_t{at} * 64] + 64);
            }
            need(bytes.size() >= size && bytes.size() - size < 64, what + ": mini chain length");
        } else {
            bytes = claimChain(start, what);
            need(bytes.size() >= size && bytes.size() - size < kSector, what + ": chain length");
        }
        need(zeros(bytes, size, bytes.size()), what + ": slack");
        bytes.resize(size);
        return bytes;
    }

    void checkRest() const {
        for (std::size_t at = 0; at < owner_.size(); ++at) {
            need(!owner_[at].empty(), "lost sector " + std::to_string(at));
        }
        for (std::size_t at = owner_.size(); at < fat_.size(); ++at) {
            need(fat_[at] == kNone, "allocation behind the end");
        }
        for (std::size_t at = 0; at < miniFat_.size(); ++at) {
            const bool owned = at < miniOwned_.size() && miniOwned_[at];
            const bool isEmpty = at >= miniOwned_.size() || zeros(mini_, at * 64, at * 64 + 64);
            need(owned || (miniFat_[at] == kNone && isEmpty), "lost mini sector");
        }
        for (std::uint32_t id = 0; id < seen_.size(); ++id) {
            const std::uint8_t* at = entry(id);
            for (unsigned byte = 0; byte < 128 && !seen_[id]; ++byte) {
                need(at[byte] == (byte >= 68 && byte < 80 ? 0xFF : 0), "lost entry " + std::to_string(id));
            }
        }
    }

    const Buffer& file_;
    Contents& tree_;
    std::vector<std::string> owner_;
    std::vector<std::uint32_t> fat_;
    std::vector<std::uint32_t> miniFat_;
    std::vector<bool> miniOwned_;
    std::vector<bool> seen_;
    Buffer directory_;
    Buffer mini_;
    std::map<std::u16string, std::u16string> lastName_;
};

} // namespace

std::string strictCheck(const Buffer& file, Contents& tree) {
    try {
        Checker(file, tree).run();
        return {};
    } catch (const std::exception& wrong) {
        return wrong.what();
    }
}

} // namespace storage::testing
