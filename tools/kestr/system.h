// What differs between the systems: the entry with its arguments, the terminal, the owner of texts.
#pragma once

#include <cstddef>
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

}  // namespace tool
