// Filters and colour reductions for convert.
#pragma once

#include <span>

#include "operations.h"

namespace tool {

[[nodiscard]] std::span<const COperation> FilterOperations();

/// Whether colour reductions diffuse their errors; they do not at first.
void SetDither(bool dither);

}  // namespace tool
