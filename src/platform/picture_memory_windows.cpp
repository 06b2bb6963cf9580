#include "platform/picture_memory.h"

#include <windows.h>
#include <new>

namespace kestr {
namespace {

constexpr size_t kLargeBlock = size_t{1} << 20;  // from here on the pages go straight back

}  // namespace

void* AllocatePictureMemory(size_t bytes) {
    if (bytes < kLargeBlock) return ::operator new (bytes, std::align_val_t{64});
    void* block = VirtualAlloc(nullptr, bytes, MEM_RESERVE | MEM_COMMIT, PAGE_READWRITE);
    if (block == nullptr) throw std::bad_alloc();
    return block;
}

void FreePictureMemory(void* block, size_t bytes) noexcept {
    if (bytes < kLargeBlock) {
        ::operator delete (block, std::align_val_t{64});
        return;
    }
    VirtualFree(block, 0, MEM_RELEASE);
}

}  // namespace kestr
