// Text for the terminal, which is UTF-8 on every system.
#pragma once

#include <filesystem>
#include <string>
#include <string_view>

#include <kestr/types.h>

namespace tool {

/// UTF-16 as UTF-8; a unit without its surrogate partner becomes U+FFFD.
[[nodiscard]] std::string Utf8(std::basic_string_view<KESTR_CHAR> text);

/// A file name or argument as the terminal shows it.
[[nodiscard]] std::string Display(const std::filesystem::path& path);

/// One line to stderr, behind the program's name.
void Complain(std::string_view words);
/// The same about a file.
void Complain(const std::filesystem::path& path, std::string_view words);

}  // namespace tool
