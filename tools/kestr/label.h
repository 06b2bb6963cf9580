// Lines of text in pictures.
#pragma once

#include <string_view>

#include <kestr/kestr.h>

namespace tool {

inline constexpr int kLabelHeight = 14;  // pixels from a line to the next

/// Writes a line of text in black, cut to a width, around a middle; a gap is above it.
void DrawLabel(HKESTRSESSION sheet, std::string_view text, int left, int top, int width);

}  // namespace tool
