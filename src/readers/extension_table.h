#pragma once

#include <cstdint>
#include <string>
#include <string_view>

#include <kestr/types.h>

namespace kestr {

/// The part of a path from its last dot on, each character cut to its low byte, in lower case; with
/// no dot in the path, a dot and the whole path.
[[nodiscard]] std::string ExtensionKey(const KESTR_CHAR* path);

/// The type id of files with an extension as ExtensionKey() gives it; 30 when it is not known.
[[nodiscard]] int32_t TypeIdOfExtension(std::string_view key);

/// Adds an extension, with or without its dot, to those that go to the system's own codecs. Without
/// a lock: to be called before loading starts.
void AddSystemCodecExtension(std::string_view extension);

/// Whether an extension as ExtensionKey() gives it was added by AddSystemCodecExtension().
[[nodiscard]] bool IsSystemCodecExtension(std::string_view key);

}  // namespace kestr
