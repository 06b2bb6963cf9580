// Bitmaps in memory. The first byte chooses alpha and the call; the rest is a header and what
// follows it. cLoadDIBitmap trusts its caller for the memory behind both pointers, so the target
// gives it as much as the header can claim, as far as that is sensible.
#include <algorithm>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <vector>

#include <kestr/kestr.h>

#include "platform/automation.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    if (size < 1) return 0;
    const uint8_t choice = *data++;
    --size;
    const HKESTRSESSION session = cNewSession();
    if ((choice & 1) != 0) {
        const kestr::CSafeArray array = kestr::MakeByteArray({data, size});
        cLoadDIBArray(session, array.get(), choice & 2);
    } else if (size >= 40) {
        constexpr size_t kHeaderRoom = 124 + 12 + 1024;
        constexpr int64_t kMostSide = 300;
        std::vector<uint8_t> header(kHeaderRoom + 65536);
        std::memcpy(header.data(), data, std::min(size, kHeaderRoom));
        int32_t sides[2];
        std::memcpy(sides, header.data() + 4, sizeof sides);
        const bool sensible = sides[0] <= kMostSide && std::abs(int64_t{sides[1]}) <= kMostSide;
        // The profile of a long header must lie within what is there.
        for (const size_t field : {112, 116}) {
            uint32_t value = 0;
            std::memcpy(&value, header.data() + field, 4);
            value %= 32768;
            std::memcpy(header.data() + field, &value, 4);
        }
        std::vector<uint8_t> pixels(size_t{kMostSide} * kMostSide * 4 + 4096, 0x5A);
        if (sensible) cLoadDIBitmap(session, header.data(), pixels.data(), choice & 2, choice & 4);
    }
    uint8_t* bits = nullptr;
    cGetBitsPtr(session, &bits);
    cDestroySession(session);
    return 0;
}
