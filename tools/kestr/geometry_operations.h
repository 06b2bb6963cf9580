#pragma once

#include <span>
#include <string>

#include "operations.h"

namespace tool {

[[nodiscard]] std::span<const COperation> GeometryOperations();

/// The method of every --resize, 0 to 7 as the library numbers them; 6 (Lanczos) at first.
[[nodiscard]] bool SetResizeMethod(const std::string& value);

}  // namespace tool
