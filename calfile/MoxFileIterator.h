#pragma once

#include "calfile/MoxFile.h"

#include <deque>
#include <memory>
#include <optional>

/// What an iterator does on the worker, and what it holds there.
class MoxFile::IteratorImpl : public ComThreadUser {
protected:
    IteratorImpl() = default;
    ~IteratorImpl() override = default;

    /// These run on the worker and record what fails. The argument is the address of an IStorage, or 0, for the first,
    /// and of an IteratorImpl for those that take `other`.
    void initialize(std::uintptr_t defaultStorage);
    void increamentImpl();
    void copyIteratorImpl(std::uintptr_t other);
    void cleanUpImpl();
    void isEqualImpl(std::uintptr_t other);

    /// What isEqualImpl() answers, where that does not depend on the storages.
    std::optional<bool> equalWithoutFile(const IteratorImpl& right) const;

    NvRecord record_;
    bool initialized_ = false;
    /// A comparison of const iterators leaves its outcome here.
    mutable bool equalResult_ = false;
    bool atEnd_ = true;

private:
    /// What one step of the walk finds: an item, and why it or something else of it could not be read.
    struct Step {
        std::optional<NvRecord> record;
        std::string failure;
    };

    void readSteps();
    Step readStep(std::u16string_view name, std::uint16_t number);

    std::shared_ptr<const std::deque<Step>> steps_; ///< shared by copies
    std::size_t taken_ = 0;                         ///< of the steps
    storage::ComPtr<storage::IStorage> storage_;    ///< used, and released, on the worker alone
};

/// Stands on one item of a calibration file. All items are read when the walk begins; what can't be read is a failure
/// of the step that comes to it. The iterator holds the file open, also past the MoxFile's cleanUp, until it is
/// destroyed.
///
/// Any thread may call it, one call at a time; what touches the file runs on the COM worker thread. Failures are
/// MoxFile::Exceptions, the use of an iterator that is not initialised (that of end(), or any of a file without a model
/// storage) among them. After an item that can't be read, a further ++ goes on behind it.
///
/// What is no item is passed over: elements whose names are not digits alone, streams, and names of numbers above
/// 65535, which no phone has.
class MoxFile::Iterator : public MoxFile::IteratorImpl {
public:
    /// The end of every file.
    Iterator() = default;
    /// Stands on the first item of a default storage; not initialised where that is null.
    explicit Iterator(storage::IStorage* defaultStorage);
    /// A copy stands where the other does, and goes on from there by itself.
    Iterator(const Iterator& other);
    /// Lets go of the file. A failure of that goes into the error log.
    ~Iterator() override;

    /// Becomes a copy of `other`; changes nothing where that is not initialised.
    virtual Iterator& operator=(const Iterator& other);
    virtual const NvRecord& operator*() const;
    virtual const NvRecord* operator->() const;
    virtual Iterator operator++(int);
    virtual Iterator& operator++();
    /// Whether both are past their last items, or stand on equal items of the same open file. Only the left one needs
    /// to be initialised.
    virtual bool operator==(const Iterator& rhs) const;
    virtual bool operator!=(const Iterator& rhs) const;

private:
    void requireInitialized(const char* operation) const;
};
