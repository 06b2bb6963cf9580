#include "formats/png_support.h"

#include <cstdlib>

namespace kestr {

void RaisePNGError(png_structp, png_const_charp) {
    throw CPNGError();
}

void IgnorePNGWarning(png_structp, png_const_charp) {}

png_voidp AllocatePNGMemory(png_structp png, png_alloc_size_t bytes) {
    auto& memory = *static_cast<CPNGMemory*>(png_get_mem_ptr(png));
    if (bytes > memory.left) return nullptr;
    memory.left -= bytes;
    return std::malloc(bytes);  // NOLINT: libpng owns it, and frees it below
}

void FreePNGMemory(png_structp, png_voidp block) {
    std::free(block);  // NOLINT
}

}  // namespace kestr
