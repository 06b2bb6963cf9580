#include "image/image_bits.h"

namespace kestr {

bool CImageBits::TurnUpright(int readerAngle) {
    if (readerAngle != 0) {
        TurnQuarters(static_cast<int16_t>(readerAngle));
        return true;
    }
    if (!exif) return false;
    const uint16_t orientation = exif->Orientation.value_or(1);
    if (orientation < 2) return false;
    exif->Orientation = uint16_t{1};
    // Exif 2.3, tag 274. Orientations above 8 mean nothing.
    switch (orientation) {
        case 2:
            OpMirror(0);
            break;
        case 3:
            TurnQuarters(180);
            break;
        case 4:
            OpMirror(0);
            TurnQuarters(180);
            break;
        case 5:
            TurnQuarters(-90);
            OpMirror(0);
            break;
        case 6:
            TurnQuarters(90);
            break;
        case 7:
            TurnQuarters(90);
            OpMirror(0);
            break;
        case 8:
            TurnQuarters(-90);
            break;
        default:
            break;
    }
    return true;
}

}  // namespace kestr
