// Text between its 8-bit and 16-bit forms: the thread's ANSI code page on Windows, UTF-8 elsewhere.
//
// Texts and paths go different ways off Windows. A text from a file that is not valid UTF-8 is read
// as Latin-1, so that something legible comes out of it; a unit without its surrogate partner
// narrows to U+FFFD. A path must come back as the very bytes that name the file: a byte that is no
// part of valid UTF-8 becomes the unit U+DC80..U+DCFF (0xDC00 + byte), which no valid text holds,
// and narrows to that byte again. Any other unpaired surrogate of a wide path narrows to the three
// bytes that UTF-8 would give its number, so every wide path names some file, always the same.
#pragma once

#include <string>
#include <string_view>

#include <kestr/types.h>

namespace kestr {

using WideString = std::basic_string<KESTR_CHAR>;
using WideView = std::basic_string_view<KESTR_CHAR>;

/// 8-bit text, which may hold NULs, as UTF-16.
WideString TextToWide(std::string_view text);
/// UTF-16 text as 8-bit text; what the code page lacks is replaced.
std::string WideToText(WideView text);

/// A NUL-terminated path as UTF-16; empty for null.
WideString PathToWide(const char* path);
/// The bytes by which the system knows a NUL-terminated wide path; empty for null. On Windows this
/// is the name in the ANSI code page, for the calls that failed with the wide one.
std::string WideToPath(const KESTR_CHAR* path);
inline std::string NarrowPath(const KESTR_CHAR* path) {
    return WideToPath(path);
}

/// Each byte as the unit of equal number.
WideString Latin1ToWide(std::string_view text);

}  // namespace kestr
