// The letters that a contact sheet is labelled with.
#pragma once

namespace tool {

inline constexpr int kGlyphWidth = 5;
inline constexpr int kGlyphHeight = 8;  // the last row is for descenders
inline constexpr int kGlyphStep = 6;    // from a letter to the next

/// Whether a pixel of a letter is set. What is no printable ASCII shows as a box.
[[nodiscard]] bool GlyphPixel(char letter, int column, int row);

}  // namespace tool
