#pragma once

#include <cstddef>
#include <cstdint>
#include <string_view>
#include <utility>
#include <vector>

namespace kestr::test {

/// Builds JPEG files with libjpeg's encoder, with any markers and any flavour.
class CJPEGBuilder {
public:
    CJPEGBuilder& Size(int width, int height) {
        m_width = width, m_height = height;
        return *this;
    }
    /// 1 gray, 3 colour, 4 inks; `transformed` inks are stored as YCCK.
    CJPEGBuilder& Components(int count, bool transformed = false) {
        m_components = count, m_transformed = transformed;
        return *this;
    }
    CJPEGBuilder& Progressive() { return m_progressive = true, *this; }
    CJPEGBuilder& Arithmetic() { return m_arithmetic = true, *this; }
    CJPEGBuilder& Sampling(int across, int down) {
        m_across = across, m_down = down;
        return *this;
    }
    CJPEGBuilder& AdobeMarker(bool write) { return m_adobe = write, *this; }
    CJPEGBuilder& Density(int unit, int x, int y) {
        m_unit = unit, m_xDensity = x, m_yDensity = y;
        return *this;
    }
    CJPEGBuilder& Marker(int marker, std::vector<uint8_t> data) {
        m_markers.emplace_back(marker, std::move(data));
        return *this;
    }
    CJPEGBuilder& Marker(int marker, std::string_view data) {
        return Marker(marker, std::vector<uint8_t>(data.begin(), data.end()));
    }
    [[nodiscard]] std::vector<uint8_t> File() const;

private:
    int m_width = 37;
    int m_height = 21;
    int m_components = 3;
    bool m_transformed = false;
    bool m_progressive = false;
    bool m_arithmetic = false;
    int m_across = 2;
    int m_down = 2;
    bool m_adobe = true;
    int m_unit = 0;
    int m_xDensity = 1;
    int m_yDensity = 1;
    std::vector<std::pair<int, std::vector<uint8_t>>> m_markers;
};

/// A picture as libjpeg gives it by itself, with fancy upsampling and the slow transform.
struct CPlainPicture {
    int width = 0, height = 0, channels = 0;
    std::vector<uint8_t> samples;  // rows top first: gray, red green blue, or inks
};
CPlainPicture DecodePlainly(const std::vector<uint8_t>& file, bool fast = false);

/// A marker of a file, by its second byte, with the data behind its length.
struct CMarkerOfFile {
    int marker = 0;
    std::vector<uint8_t> data;
    size_t offset = 0;  // of the data in the file
};
/// The markers up to the first SOS, that one included.
std::vector<CMarkerOfFile> MarkersOf(const std::vector<uint8_t>& file);

/// The data of an APP1 with an EXIF block that holds an orientation and nothing else.
std::vector<uint8_t> ExifOrientation(uint16_t orientation);

}  // namespace kestr::test
