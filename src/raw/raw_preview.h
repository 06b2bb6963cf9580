#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <span>

#include "raw/raw_samples.h"
#include "readers/image_reader.h"

namespace kestr {

/// The smaller picture that a raw file carries, for a reader whose rows come from it. Nothing is
/// copied: the bytes must stay until Close().
class CRawPreview {
public:
    /// Starts to decode a JPEG stream with the settings of `owner`, scaled as its thumbnail request
    /// asks, and gives the owner its bitmap format. False, with nothing changed, when that fails.
    [[nodiscard]] bool OpenJPEG(CImageReader& owner, std::span<const uint8_t> stream);
    /// Takes red, green, blue of 8 bits, rows top-down and unpadded, of a picture of that many
    /// bytes.
    [[nodiscard]] bool OpenRGB(CImageReader& owner, std::span<const uint8_t> pixels, uint32_t width,
                               uint32_t height);
    /// The same with one byte a pixel, black first unless `inverted`.
    [[nodiscard]] bool OpenGray(CImageReader& owner, std::span<const uint8_t> pixels,
                                uint32_t width, uint32_t height, bool inverted);
    /// The picture's own size, before any reduction.
    [[nodiscard]] CRawBox FullSize(const CImageReader& owner) const;
    /// Whether there is one; still so after Close().
    [[nodiscard]] bool IsTaken() const { return m_taken; }
    /// The next row as the bitmap has it.
    [[nodiscard]] bool ReadLine(CImageReader& owner, uint8_t* destination);
    /// The reader of a JPEG stream, with what it gathered; null when there is none.
    [[nodiscard]] CImageReader* JPEG() { return m_jpeg.get(); }
    /// Lets go of the file's bytes.
    void Close();
    /// Makes it as new.
    void Drop();

private:
    std::unique_ptr<CImageReader> m_jpeg;
    std::span<const uint8_t> m_pixels;
    uint32_t m_nextRow = 0;
    bool m_taken = false;
};

}  // namespace kestr
