#pragma once

#include <cstdint>
#include <string>

#include "platform/code_page.h"
#include "readers/reader_factory.h"

namespace kestr::fuzz {

/// Whether a file states a picture that a fuzzer has the memory and the time for. Larger ones may
/// be stated by a few bytes, and are rightly delivered.
inline bool StatesSmallPicture(const std::string& path, int page) {
    std::string words;
    const WideString wide = PathToWide(path.c_str());
    const auto reader = FindReader({.path = wide.c_str(), .headerOnly = true, .page = page}, words);
    if (!reader) return true;
    const uint64_t width = static_cast<uint32_t>(reader->m_bitmapInfo.Width());
    return width * static_cast<uint32_t>(reader->m_bitmapInfo.Height()) <= 1'000'000;
}

}  // namespace kestr::fuzz
