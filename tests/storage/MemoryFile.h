#pragma once

#include "platform/storage/FileBytes.h"

#include <algorithm>
#include <functional>
#include <memory>
#include <stdexcept>

namespace storage::testing {

// A file in memory, which outlives the container on it; counts the calls that change it, and can fail or cut one.
struct MemoryImage {
    Buffer bytes;
    // The number of calls that change the file, of the write calls among them, and the bytes that those carried.
    unsigned changes = 0;
    unsigned writes = 0;
    std::uint64_t bytesWritten = 0;
    // The call (from 1 on) that fails, after this share of its bytes (in sixteenths) was written; whether the ones
    // after it fail, too.
    unsigned failAt = 0;
    unsigned sixteenthsWritten = 0;
    bool failsForGood = true;
    std::uint64_t limit = UINT64_MAX;
    bool readable = true;
    // Called after each call that changes the file, and after each flush.
    std::function<void()> onChange = [] {};
    std::function<void()> onFlush = [] {};

    bool failsNow() { return ++changes == failAt || (failsForGood && failAt != 0 && changes > failAt); }
};

class MemoryFile final : public FileBytes {
public:
    explicit MemoryFile(std::shared_ptr<MemoryImage> image) : image_(std::move(image)) {}

    std::uint64_t size() override { return image_->bytes.size(); }

    std::size_t read(std::uint64_t offset, std::span<std::uint8_t> out) override {
        if (!image_->readable) {
            throw Failure(kReadFault);
        }
        const std::uint64_t length = image_->bytes.size();
        if (offset >= length) {
            return 0;
        }
        const auto count = static_cast<std::size_t>(std::min<std::uint64_t>(out.size(), length - offset));
        std::copy_n(image_->bytes.begin() + static_cast<std::ptrdiff_t>(offset), count, out.begin());
        return count;
    }

    void write(std::uint64_t offset, ByteView bytes) override {
        const bool fails = image_->failsNow();
        if (fails) {
            bytes = bytes.first(image_->changes == image_->failAt ? bytes.size() * image_->sixteenthsWritten / 16 : 0);
        }
        if (offset + bytes.size() > image_->bytes.size()) {
            throw std::logic_error("a write lengthens the file");
        }
        ++image_->writes;
        image_->bytesWritten += bytes.size();
        std::copy(bytes.begin(), bytes.end(), image_->bytes.begin() + static_cast<std::ptrdiff_t>(offset));
        if (fails) {
            throw Failure(kWriteFault);
        }
        image_->onChange();
    }

    void resize(std::uint64_t newSize) override {
        if (newSize > image_->limit || image_->failsNow()) {
            throw Failure(kMediumFull);
        }
        image_->bytes.resize(newSize);
        image_->onChange();
    }

    void flush() override {
        if (image_->failsNow()) {
            throw Failure(kWriteFault);
        }
        image_->onFlush();
    }

private:
    std::shared_ptr<MemoryImage> image_;
};

} // namespace storage::testing
