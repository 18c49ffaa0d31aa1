#include "platform/com/ClassTable.h"

#include "platform/com/Apartment.h"

#include <algorithm>
#include <mutex>
#include <utility>
#include <vector>

namespace com {
namespace {

struct Entry {
    std::uint64_t key;
    ClassId classId;
    std::uint32_t contexts;
    ClassFactory factory;
};

struct Table {
    std::mutex lock;
    std::uint64_t lastKey = 0;  // guarded by lock
    std::vector<Entry> entries; // guarded by lock; a later entry hides an earlier one
};

Table& table() {
    static Table classes;
    return classes;
}

ClassFactory findFactory(const ClassId& classId, std::uint32_t contexts) {
    const std::lock_guard guard(table().lock);
    const auto& entries = table().entries;
    const auto found = std::find_if(entries.rbegin(), entries.rend(), [&](const Entry& entry) {
        return entry.classId == classId && (entry.contexts & contexts) != 0;
    });
    return found == entries.rend() ? ClassFactory() : found->factory;
}

} // namespace

ClassRegistration::ClassRegistration(const ClassId& classId, std::uint32_t contexts, ClassFactory factory) {
    const std::lock_guard guard(table().lock);
    key_ = ++table().lastKey;
    table().entries.push_back({key_, classId, contexts, std::move(factory)});
}

ClassRegistration::~ClassRegistration() {
    std::vector<Entry> ended; // destroyed after the lock has gone: what the factory holds may use the table
    const std::lock_guard guard(table().lock);
    auto& entries = table().entries;
    const auto own =
        std::find_if(entries.begin(), entries.end(), [this](const Entry& entry) { return entry.key == key_; });
    if (own != entries.end()) {
        ended.push_back(std::move(*own));
        entries.erase(own);
    }
}

Status createInstance(const ClassId& classId, std::uint32_t contexts, ComPtr<Unknown>& out) {
    forgetFailure();
    out.reset();
    if (currentApartment() == 0) {
        return kNotInitialized;
    }
    const ClassFactory factory = findFactory(classId, contexts);
    if (!factory) {
        return kClassNotRegistered;
    }
    return factory(out);
}

Status run(const ComPtr<Unknown>& object) {
    return object ? kOk : kInvalidArgument;
}

} // namespace com
