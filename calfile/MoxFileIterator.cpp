#include "calfile/MoxFileIterator.h"

#include "calfile/MoxFailures.h"
#include "calfile/MoxTree.h"
#include "phonelink/ComThreadManager.h"
#include "platform/kernel/Trace.h"

#include <utility>

namespace {

// So many items are read at once: on the worker a step costs less than the way there and back.
constexpr std::size_t kReadAhead = 64;

constexpr mox::WorkerBody kInitialize{"MoxFile::IteratorImpl::initialize", false};
constexpr mox::WorkerBody kCopyIterator{"MoxFile::IteratorImpl::copyIteratorImpl", false};
constexpr mox::WorkerBody kCleanUp{"MoxFile::IteratorImpl::cleanUpImpl()", false};
constexpr mox::WorkerBody kIsEqual{"MoxFile::IteratorImpl::isEqualImpl", false};
constexpr mox::WorkerBody kIncreament{"MoxFile::IteratorImpl::increamentImpl()", true};

// The container's order of names, as far as names of digits go: the shorter first.
bool comesAfter(std::u16string_view name, std::u16string_view position) {
    return name.size() != position.size() ? name.size() > position.size() : name > position;
}

} // namespace

void MoxFile::IteratorImpl::invoke(FunctionWithArgument function, std::uintptr_t argument) {
    (this->*function)(argument);
}

void MoxFile::IteratorImpl::invoke(Function function) {
    (this->*function)();
}

void MoxFile::IteratorImpl::initialize(std::uintptr_t defaultStorage) {
    mox::runBody(kInitialize, errorPending_, errorMessage_, [this, defaultStorage] {
        storage_ = mox::StoragePtr(reinterpret_cast<storage::IStorage*>(defaultStorage));
        if (!storage_) {
            return;
        }
        mox::check(storage_->enumElements(enumerator_));
        position_.clear();
        initialized_ = true;
        increamentImpl();
    });
}

// Reads ahead, up to an item that can't be read: the step that comes to it tells why.
void MoxFile::IteratorImpl::increamentImpl() {
    ahead_.clear();
    taken_ = 0;
    bool ended = false;
    bool failed = false;
    storage::ElementInfo child;
    while (ahead_.size() < kReadAhead && !failed) {
        Step step;
        mox::runBody(kIncreament, failed, step.failure, [&] { ended = !readNext(child, step); });
        if (ended) {
            break;
        }
        ahead_.push_back(std::move(step));
    }
    atEnd_ = !takeStep();
}

bool MoxFile::IteratorImpl::readNext(storage::ElementInfo& child, Step& step) {
    const bool resumes = !enumerator_;
    if (resumes) {
        mox::check(storage_->enumElements(enumerator_));
    }
    std::optional<std::uint16_t> number;
    while (!number) {
        if (!mox::nextNumbered(enumerator_, child)) {
            return false;
        }
        if (!resumes || comesAfter(child.name, position_)) {
            number = mox::numberOf(child.name);
        }
    }
    position_ = child.name;
    NvRecord record;
    const std::uint32_t read = mox::readItemData(storage_, child.name, record.data);
    record.id = *number;
    step.record = record;
    if (read < mox::kItemDataBytes) {
        throw Exception("Tried to read NV Item: " + std::to_string(*number) + ". Was only able to read " +
                        std::to_string(read) + " out of " + std::to_string(mox::kItemDataBytes));
    }
    return true;
}

bool MoxFile::IteratorImpl::takeStep() {
    if (taken_ == ahead_.size()) {
        return false;
    }
    const Step& step = ahead_[taken_++];
    if (step.record) {
        record_ = *step.record;
    }
    if (!step.failure.empty()) {
        errorPending_ = true;
        errorMessage_ = step.failure;
    }
    return true;
}

void MoxFile::IteratorImpl::copyIteratorImpl(std::uintptr_t other) {
    mox::runBody(kCopyIterator, errorPending_, errorMessage_, [this, other] {
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
        ahead_ = source.ahead_;
        taken_ = source.taken_;
    });
}

void MoxFile::IteratorImpl::cleanUpImpl() {
    mox::runBody(kCleanUp, errorPending_, errorMessage_, [this] {
        enumerator_.reset();
        storage_.reset();
    });
}

void MoxFile::IteratorImpl::isEqualImpl(std::uintptr_t other) {
    mox::runBody(kIsEqual, errorPending_, errorMessage_, [this, other] {
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

void MoxFile::IteratorImpl::throwIfFailed() const {
    if (std::exchange(errorPending_, false)) {
        throw Exception(errorMessage_);
    }
}

MoxFile::Iterator::Iterator() : threadManager_(*ComThreadManager::acquire()) {}

// Where these throw, the object has been made already, so that its destructor runs and lets go of what it holds.
MoxFile::Iterator::Iterator(storage::IStorage* defaultStorage) : Iterator() {
    threadManager_.executeFunction(*this, &Iterator::initialize, reinterpret_cast<std::uintptr_t>(defaultStorage),
                                   kernel::kInfinite);
    throwIfFailed();
}

MoxFile::Iterator::Iterator(const Iterator& other) : Iterator() {
    *this = other;
}

MoxFile::Iterator::~Iterator() {
    try {
        threadManager_.executeFunction(*this, &Iterator::cleanUpImpl, kernel::kInfinite);
        throwIfFailed();
    } catch (const std::exception& error) {
        kernel::logError(std::string("MoxFile::Iterator::~Iterator() - ") + error.what());
    }
    ComThreadManager::release();
}

MoxFile::Iterator& MoxFile::Iterator::operator=(const Iterator& other) {
    const IteratorImpl* const source = &other;
    threadManager_.executeFunction(*this, &Iterator::copyIteratorImpl, reinterpret_cast<std::uintptr_t>(source),
                                   kernel::kInfinite);
    throwIfFailed();
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
    if (!takeStep()) {
        threadManager_.executeFunction(*this, &Iterator::increamentImpl, kernel::kInfinite);
    }
    throwIfFailed();
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
    threadManager_.executeFunction(const_cast<Iterator&>(*this), &Iterator::isEqualImpl,
                                   reinterpret_cast<std::uintptr_t>(right), kernel::kInfinite);
    throwIfFailed();
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
