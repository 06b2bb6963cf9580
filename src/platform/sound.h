#pragma once

#include <kestr/types.h>

namespace kestr {

/// Starts to play a WAV file and does not wait for its end. False when the system has no player.
[[nodiscard]] bool StartSound(const KESTR_CHAR* path);

}  // namespace kestr
