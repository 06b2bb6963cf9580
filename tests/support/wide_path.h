// Paths and texts of tests, in the 16-bit form that the wide calls take.
#pragma once

#include <filesystem>
#include <string>
#include <string_view>
#include <type_traits>

#include <kestr/types.h>

#include "platform/code_page.h"

namespace kestr::test {

/// A UTF-16 literal, which is not of the character type of Windows.
inline WideString Wide(std::u16string_view text) {
    return {text.begin(), text.end()};
}

/// What the system calls a path that the wide calls take.
template <typename Path = std::filesystem::path>
Path SystemPathOf(const WideString& path) {
    if constexpr (std::is_same_v<typename Path::value_type, KESTR_CHAR>) {
        return Path(path);
    } else {
        return Path(WideToPath(path.c_str()));
    }
}

}  // namespace kestr::test
