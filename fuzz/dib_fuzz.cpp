// Bitmap files: load, write back in each of the three forms, load again.
#include "load_bytes.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    using namespace kestr::fuzz;
    LoadBytes(data, size, ".bmp", 0, 0, [](HKESTRSESSION session) {
        uint32_t width = 0, height = 0;
        cGetImageInfo(session, &width, &height, nullptr, nullptr, nullptr, nullptr, nullptr,
                      nullptr, nullptr);
        if (uint64_t{width} * height > 100'000) return;
        for (int32_t typeId = 0; typeId <= 2; ++typeId) {
            const std::string path = ScratchFile(".bmp");
            if (cSave(session, path.c_str(), typeId, 0, nullptr, 0) == 0) continue;
            const HKESTRSESSION again = cNewSession();
            cLoadImageEx(again, path.c_str(), 0, 0, nullptr, 0);
            SumOfPixels(again);
            cDestroySession(again);
        }
    });
    return 0;
}
