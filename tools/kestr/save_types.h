#pragma once

#include <filesystem>
#include <optional>

namespace tool {

/// The type id that a file name asks for by its extension.
[[nodiscard]] std::optional<int> SaveTypeOf(const std::filesystem::path& path);

}  // namespace tool
