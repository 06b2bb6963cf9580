// Text from a printf format.
#pragma once

#include <string>

namespace kestr {

[[gnu::format(printf, 1, 2)]] std::string FormatText(const char* format, ...);

}  // namespace kestr
