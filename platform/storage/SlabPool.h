#pragma once

#include <sys/mman.h>

#include <cstdlib>
#include <memory>
#include <new>
#include <type_traits>
#include <vector>

namespace storage {

// Memory for many objects of one plain type, which end together with the pool or are given back one by one. The first
// ones are allocated each by itself; beyond, they come in slabs on huge pages: a large file would meet a page fault for
// every block otherwise, which costs several times what reading the block does.
template <class T>
class SlabPool {
    static_assert(std::is_trivially_destructible_v<T>);

public:
    SlabPool() = default;
    SlabPool(const SlabPool&) = delete;
    SlabPool& operator=(const SlabPool&) = delete;

    // An object of undefined contents.
    T* take() {
        if (free_ != nullptr) {
            Free* place = free_;
            free_ = place->next;
            return new (static_cast<void*>(place)) T;
        }
        if (single_.size() < kSingle) {
            single_.push_back(std::unique_ptr<T>(new T));
            return single_.back().get();
        }
        if (slabs_.empty() || used_ == kPerSlab) {
            addSlab();
        }
        return new (slabs_.back().get() + used_++ * sizeof(T)) T;
    }
    void give(T* object) { free_ = new (static_cast<void*>(object)) Free{free_}; }

private:
    struct Free {
        Free* next;
    };
    struct Release {
        void operator()(std::byte* slab) const { std::free(slab); }
    };
    static constexpr std::size_t kSingle = 128;
    static constexpr std::size_t kSlabBytes = 2 * 1024 * 1024;
    static constexpr std::size_t kPerSlab = kSlabBytes / sizeof(T);

    void addSlab() {
        std::unique_ptr<std::byte, Release> slab(static_cast<std::byte*>(std::aligned_alloc(kSlabBytes, kSlabBytes)));
        if (slab == nullptr) {
            throw std::bad_alloc();
        }
        // Advice: without huge pages it works as well.
        (void)madvise(slab.get(), kSlabBytes, MADV_HUGEPAGE);
        slabs_.push_back(std::move(slab));
        used_ = 0;
    }

    Free* free_ = nullptr;
    std::vector<std::unique_ptr<T>> single_;
    std::vector<std::unique_ptr<std::byte, Release>> slabs_;
    // Of the last slab.
    std::size_t used_ = 0;
};

} // namespace storage
