#pragma once

#include <cstddef>

namespace kestr {

/// Memory for picture stores. Large blocks are aligned to 2 MiB and backed by huge pages where the
/// system has them: the first touch of fresh 4 KiB pages costs three times a memcpy of the picture.
/// Content is undefined. Throws std::bad_alloc when the memory cannot be had.
void* AllocatePictureMemory(size_t bytes);

/// Gives back a block of AllocatePictureMemory; `bytes` is the size that was asked for.
void FreePictureMemory(void* block, size_t bytes) noexcept;

}  // namespace kestr
