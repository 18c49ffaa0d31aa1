#include "calfile/MoxFileIterator.h"

#include "calfile/MoxFailures.h"
#include "calfile/MoxTree.h"
#include "platform/kernel/Trace.h"

#include <utility>

namespace {

const WorkerFailureTexts kInitialize = mox::failureTexts("MoxFile::IteratorImpl::initialize", false);
const WorkerFailureTexts kCopyIterator = mox::failureTexts("MoxFile::IteratorImpl::copyIteratorImpl", false);
const WorkerFailureTexts kCleanUp = mox::failureTexts("MoxFile::IteratorImpl::cleanUpImpl()", false);
const WorkerFailureTexts kIsEqual = mox::failureTexts("MoxFile::IteratorImpl::isEqualImpl", false);
const WorkerFailureTexts kIncreament = mox::failureTexts("MoxFile::IteratorImpl::increamentImpl()", true);

// The container's order of names, as far as names of digits go: the shorter first.
bool comesAfter(std::u16string_view name, std::u16string_view position) {
    return name.size() != position.size() ? name.size() > position.size() : name > position;
}

} // namespace

void MoxFile::IteratorImpl::initialize(std::uintptr_t defaultStorage) {
    recordFailures(kInitialize, [this, defaultStorage] {
        storage_ = mox::StoragePtr(reinterpret_cast<storage::IStorage*>(defaultStorage));
        if (!storage_) {
            return;
        }
        mox::check(storage_->enumElements(enumerator_));
        position_.clear();
        initialized_ = true;
        atEnd_ = false;
        increamentImpl();
    });
}

void MoxFile::IteratorImpl::increamentImpl() {
    recordFailures(kIncreament, [this] { step(); });
}

void MoxFile::IteratorImpl::step() {
    const bool resumes = !enumerator_;
    if (resumes) {
        mox::check(storage_->enumElements(enumerator_));
    }
    storage::ElementInfo child;
    std::optional<std::uint16_t> number;
    while (!number) {
        if (!mox::nextNumbered(enumerator_, child)) {
            atEnd_ = true;
            return;
        }
        if (!resumes || comesAfter(child.name, position_)) {
            number = mox::numberOf(child.name);
        }
    }
    position_ = child.name;
    const std::uint32_t read = mox::readItemData(storage_, child.name, record_.data);
    record_.id = *number;
    if (read < mox::kItemDataBytes) {
        recordFailure("MoxFile::IteratorImpl::increamentImpl() - Tried to read NV Item: " + std::to_string(*number) +
                      ". Was only able to read " + std::to_string(read) + " out of " +
                      std::to_string(mox::kItemDataBytes));
    }
}

void MoxFile::IteratorImpl::copyIteratorImpl(std::uintptr_t other) {
    recordFailures(kCopyIterator, [this, other] {
        const auto& source = *reinterpret_cast<const IteratorImpl*>(other);
        if (&source == this || !source.initialized_) {
            return;
        }
        record_ = source.record_;
        initialized_ = source.initialized_;
        errorPending_ = source.errorPending_;
        equalResult_ = source.equalResult_;
        atEnd_ = source.atEnd_;
        errorMessage_ = source.errorMessage_;
        // The enumeration can't be shared, and most copies are never stepped: step() makes one that goes on from here.
        enumerator_.reset();
        storage_ = source.storage_;
        position_ = source.position_;
    });
}

void MoxFile::IteratorImpl::cleanUpImpl() {
    recordFailures(kCleanUp, [this] {
        enumerator_.reset();
        storage_.reset();
    });
}

void MoxFile::IteratorImpl::isEqualImpl(std::uintptr_t other) {
    recordFailures(kIsEqual, [this, other] {
        const auto& right = *reinterpret_cast<const IteratorImpl*>(other);
        const auto known = equalWithoutFile(right);
        equalResult_ = known ? *known : com::sameObject(storage_, right.storage_);
    });
}

std::optional<bool> MoxFile::IteratorImpl::equalWithoutFile(const IteratorImpl& right) const {
    if (right.atEnd_) {
        return atEnd_;
    }
    if (record_.id != right.record_.id || record_.status != right.record_.status ||
        record_.data != right.record_.data) {
        return false;
    }
    return std::nullopt;
}

// Where these throw, the object has been made already, so that its destructor runs and lets go of what it holds.
MoxFile::Iterator::Iterator(storage::IStorage* defaultStorage) : Iterator() {
    runOnWorker<Exception>(&Iterator::initialize, reinterpret_cast<std::uintptr_t>(defaultStorage));
}

MoxFile::Iterator::Iterator(const Iterator& other) : Iterator() {
    *this = other;
}

MoxFile::Iterator::~Iterator() {
    try {
        runOnWorker<Exception>(&Iterator::cleanUpImpl);
    } catch (const std::exception& error) {
        kernel::logError(std::string("MoxFile::Iterator::~Iterator() - ") + error.what());
    }
}

MoxFile::Iterator& MoxFile::Iterator::operator=(const Iterator& other) {
    const IteratorImpl* const source = &other;
    runOnWorker<Exception>(&Iterator::copyIteratorImpl, reinterpret_cast<std::uintptr_t>(source));
    return *this;
}

const MoxFile::NvRecord& MoxFile::Iterator::operator*() const {
    requireInitialized("operator*()");
    return record_;
}

const MoxFile::NvRecord* MoxFile::Iterator::operator->() const {
    requireInitialized("operator->()");
    return &record_;
}

MoxFile::Iterator MoxFile::Iterator::operator++(int) {
    requireInitialized("operator++( int )");
    Iterator before(*this);
    ++*this;
    return before;
}

MoxFile::Iterator& MoxFile::Iterator::operator++() {
    requireInitialized("operator++()");
    runOnWorker<Exception>(&Iterator::increamentImpl);
    return *this;
}

bool MoxFile::Iterator::operator==(const Iterator& rhs) const {
    requireInitialized("operator==( const MoxFile::Iterator& rhs )");
    // Almost every comparison is with the end. It saves a walk half of its way to the worker and back to answer what
    // needs no look at the storages here.
    if (const auto known = equalWithoutFile(rhs)) {
        return *known;
    }
    const IteratorImpl* const right = &rhs;
    // The comparison changes mutable members alone.
    const_cast<Iterator&>(*this).runOnWorker<Exception>(&Iterator::isEqualImpl,
                                                        reinterpret_cast<std::uintptr_t>(right));
    return equalResult_;
}

bool MoxFile::Iterator::operator!=(const Iterator& rhs) const {
    requireInitialized("operator!=( const MoxFile::Iterator& rhs )");
    return !(*this == rhs);
}

void MoxFile::Iterator::requireInitialized(const char* operation) const {
    if (!initialized_) {
        throw Exception(std::string("MoxFile::Iterator::") + operation + " - The iterator is not initialized.");
    }
}
