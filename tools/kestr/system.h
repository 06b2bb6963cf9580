// What differs between the systems: the entry with its arguments, the terminal, the owner of texts.
#pragma once

#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <filesystem>
#include <vector>

#include <kestr/types.h>

namespace tool {

/// The program behind the system's own entry; the arguments are those behind its name.
int Run(const std::vector<std::filesystem::path>& arguments);

[[nodiscard]] bool IsTerminal(std::FILE* stream);

void FreeText(BSTR text);
[[nodiscard]] size_t TextLength(BSTR text);  // units
/// The bytes of an array that the library gave out, which is freed; none for null.
[[nodiscard]] std::vector<uint8_t> TakeBytes(SAFEARRAY* array);

}  // namespace tool
