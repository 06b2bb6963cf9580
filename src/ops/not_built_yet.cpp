// Steps of a load whose operations are not built yet.

#include "image/image_bits.h"

namespace kestr {

void CImageBits::ApplyReaderLevels(const CImageReader&) {}

}  // namespace kestr
