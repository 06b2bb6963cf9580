// Steps of a load whose operations are not built yet.

#include "image/image_bits.h"

namespace kestr {

void CImageBits::ApplyReaderLevels(const CImageReader&) {}
bool CImageBits::LoadNextPage(std::span<int32_t, 4>, uint32_t) {
    return false;
}

}  // namespace kestr
