// Steps of a load whose operations are not built yet.

#include "image/image_bits.h"

namespace kestr {

<<<<<<< HEAD
void CImageBits::ApplyReaderLevels(const CImageReader&) {}
=======
bool CImageBits::LoadNextPage(std::span<int32_t, 4>, uint32_t) {
    return false;
}
>>>>>>> 55679b4 (ops: tone, levels, red-eye, histogram, transparency, merging of pictures)

}  // namespace kestr
