// Which file names go with which formats.
#pragma once

#include <cstdint>
#include <filesystem>
#include <string_view>

namespace tool {

/// Whether the picture that was found is a JPEG picture somewhere inside the file, such as the
/// preview in a file of a format that Kestr does not know.
[[nodiscard]] bool IsInside(const std::filesystem::path& path, int32_t typeId);

/// Whether the extension belongs to another format than the one that the file truly has. An
/// extension that no common format uses goes with all.
[[nodiscard]] bool IsWrongExtension(const std::filesystem::path& path, int32_t typeId);

/// The extensions that go with a format, parted by blanks; empty for one that is not common.
[[nodiscard]] std::string_view UsualExtensions(int32_t typeId);

}  // namespace tool
