#include "platform/picture_memory.h"

#include <algorithm>
#include <array>
#include <cstdint>
#include <mutex>
#include <new>
#include <sys/mman.h>
#include <utility>

namespace kestr {
namespace {

constexpr size_t kHugePage = size_t{2} << 20;
constexpr size_t kLargeBlock = size_t{4} << 20;  // from here on blocks are mapped by themselves

constexpr size_t RoundUp(size_t bytes) {
    return (bytes + kHugePage - 1) & ~(kHugePage - 1);
}

void* MapBlock(size_t size) {
    // A mapping has page alignment only: ask for one huge page more and cut both ends off.
    void* mapped =
        mmap(nullptr, size + kHugePage, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
    if (mapped == MAP_FAILED) throw std::bad_alloc();
    const auto start = reinterpret_cast<uintptr_t>(mapped);
    const uintptr_t aligned = (start + kHugePage - 1) & ~uintptr_t{kHugePage - 1};
    if (aligned != start) munmap(mapped, aligned - start);
    const uintptr_t tail = start + size + kHugePage - (aligned + size);
    // NOLINTBEGIN(performance-no-int-to-ptr): an aligned address is found by arithmetic
    if (tail != 0) munmap(reinterpret_cast<void*>(aligned + size), tail);
    void* block = reinterpret_cast<void*>(aligned);
    // NOLINTEND(performance-no-int-to-ptr)
#ifdef MADV_HUGEPAGE
    madvise(block, size, MADV_HUGEPAGE);
#endif
    return block;
}

/// A few freed blocks, kept because their pages need no clearing when they are used again. The
/// system is told that it may take the pages back at any time (MADV_FREE).
class CFreeBlocks {
public:
    void* Take(size_t size) {
        const std::lock_guard lock(m_mutex);
        const auto found = std::ranges::find(m_blocks, size, &CBlock::size);
        if (found == m_blocks.end()) return nullptr;
        m_bytes -= size;
        return std::exchange(*found, {}).address;
    }

    /// Keeps the block, or tells that there is no room for it.
    bool Keep(void* address, size_t size) {
        if (size > kMostBytes) return false;
        const std::lock_guard lock(m_mutex);
        if (m_bytes + size > kMostBytes) return false;
        const auto free = std::ranges::find(m_blocks, nullptr, &CBlock::address);
        if (free == m_blocks.end()) return false;
        if (madvise(address, size, MADV_FREE) != 0) return false;
        *free = {address, size};
        m_bytes += size;
        return true;
    }

private:
    static constexpr size_t kMostBytes = size_t{512} << 20;
    struct CBlock {
        void* address = nullptr;
        size_t size = 0;
    };
    std::mutex m_mutex;
    std::array<CBlock, 4> m_blocks;
    size_t m_bytes = 0;
};

CFreeBlocks& FreeBlocks() {
    static CFreeBlocks blocks;  // trivially destroyed: a static picture may outlive any order
    return blocks;
}

}  // namespace

void* AllocatePictureMemory(size_t bytes) {
    if (bytes < kLargeBlock) return ::operator new (bytes, std::align_val_t{64});
    if (bytes > SIZE_MAX - 2 * kHugePage) throw std::bad_alloc();
    const size_t size = RoundUp(bytes);
    if (void* block = FreeBlocks().Take(size)) return block;
    return MapBlock(size);
}

void FreePictureMemory(void* block, size_t bytes) noexcept {
    if (bytes < kLargeBlock) {
        ::operator delete (block, std::align_val_t{64});
        return;
    }
    const size_t size = RoundUp(bytes);
    if (!FreeBlocks().Keep(block, size)) munmap(block, size);
}

}  // namespace kestr
