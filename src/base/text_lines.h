#pragma once

#include <string>
#include <string_view>

namespace kestr {

/// The text with each line end, be it CR, LF or CR LF, as CR LF.
[[nodiscard]] std::string WithCrLf(std::string_view text);

}  // namespace kestr
