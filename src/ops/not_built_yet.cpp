// Steps of a load whose operations are not built yet.

#include "image/image_bits.h"

namespace kestr {

bool CImageBits::TurnUpright(int) {
    return false;
}
void CImageBits::ApplyReaderLevels(const CImageReader&) {}
bool CImageBits::OpResizeExL(int32_t, uint32_t, uint8_t, bool, int) {
    return false;
}
bool CImageBits::LoadNextPage(std::span<int32_t, 4>, uint32_t) {
    return false;
}

}  // namespace kestr
