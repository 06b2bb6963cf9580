#include "raw/raw_color.h"

#include <algorithm>
#include <array>

#include "raw/raw_color_ciecam02.h"
#include "raw/raw_color_matrix.h"

namespace kestr {

void CRawColor3::Convert(uint16_t& r, uint16_t& g, uint16_t& b) const {
    std::array<uint16_t, 3> pixel{r, g, b};
    ConvertRow(pixel.data(), 1);
    b = pixel[0];
    g = pixel[1];
    r = pixel[2];
}

void CRawColor4::Convert(const uint16_t* in, uint16_t& r, uint16_t& g, uint16_t& b) const {
    std::array<uint16_t, 4> pixel;
    std::copy_n(in, 4, pixel.begin());
    ConvertRow(pixel.data(), 1);
    b = pixel[0];
    g = pixel[1];
    r = pixel[2];
}

std::unique_ptr<CRawColor3> CreateRawColor3(bool useCIECAM02, const CRawColorInputs& inputs) {
    if (useCIECAM02) return std::make_unique<CRawColor3CIECAM02>(inputs);
    return std::make_unique<CRawColor3MatrixRGB>(inputs);
}

std::unique_ptr<CRawColor4> CreateRawColor4(bool useCIECAM02, const CRawColorInputs& inputs) {
    if (useCIECAM02) return std::make_unique<CRawColor4CIECAM02>(inputs);
    return std::make_unique<CRawColor4MatrixRGB>(inputs);
}

}  // namespace kestr
