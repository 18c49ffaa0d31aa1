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

} // namespace

void MoxFile::IteratorImpl::initialize(std::uintptr_t defaultStorage) {
    recordFailures(kInitialize, [this, defaultStorage] {
        storage_ = mox::StoragePtr(reinterpret_cast<storage::IStorage*>(defaultStorage));
        if (!storage_) {
            return;
        }
        readSteps();
        initialized_ = true;
        atEnd_ = false;
        increamentImpl();
    });
}

// One walk reads every item: on the worker an item costs less than the way there and back.
void MoxFile::IteratorImpl::readSteps() {
    auto steps = std::make_shared<std::deque<Step>>();
    mox::EnumPtr children;
    mox::check(storage_->enumElements(children));
    storage::ElementInfo child;
    while (mox::nextNumbered(children, child)) {
        if (const auto number = mox::numberOf(child.name)) {
            steps->push_back(readStep(child.name, *number));
        }
    }
    steps_ = std::move(steps);
    taken_ = 0;
}

MoxFile::IteratorImpl::Step MoxFile::IteratorImpl::readStep(std::u16string_view name, std::uint16_t number) {
    Step step;
    recordFailures(kIncreament, [&] {
        NvRecord record;
        const std::uint32_t read = mox::readItemData(storage_, name, record.data);
        record.id = number;
        step.record = record;
        if (read < mox::kItemDataBytes) {
            throw Exception("Tried to read NV Item: " + std::to_string(number) + ". Was only able to read " +
                            std::to_string(read) + " out of " + std::to_string(mox::kItemDataBytes));
        }
    });
    if (std::exchange(errorPending_, false)) {
        step.failure = errorMessage_;
    }
    return step;
}

void MoxFile::IteratorImpl::increamentImpl() {
    if (taken_ == steps_->size()) {
        atEnd_ = true;
        return;
    }
    const Step& step = (*steps_)[taken_++];
    if (step.record) {
        record_ = *step.record;
    }
    if (!step.failure.empty()) {
        recordFailure(step.failure);
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
        storage_ = source.storage_;
        steps_ = source.steps_;
        taken_ = source.taken_;
    });
}

void MoxFile::IteratorImpl::cleanUpImpl() {
    recordFailures(kCleanUp, [this] { storage_.reset(); });
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
    increamentImpl();
    throwRecorded<Exception>();
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
