// What PNG reading and writing share: libpng's errors as exceptions and its memory under a budget.
#pragma once

#include <cstdint>

#include <png.h>

namespace kestr {

/// What libpng's fatal errors become. It passes libpng's own frames, which hold nothing that would
/// have to be released: the structures know their memory and are destroyed by the owner.
struct CPNGError {};

/// Raises CPNGError.
[[noreturn]] void RaisePNGError(png_structp png, png_const_charp words);
/// Warnings are of no interest: the picture is delivered.
void IgnorePNGWarning(png_structp png, png_const_charp words);

/// Bytes that one libpng structure may still take, so that a file of packed texts costs memory in
/// proportion to its size.
struct CPNGMemory {
    uint64_t left = 0;
};
/// Gives null once the CPNGMemory that the structure was made with is used up.
png_voidp AllocatePNGMemory(png_structp png, png_alloc_size_t bytes);
void FreePNGMemory(png_structp png, png_voidp block);

}  // namespace kestr
