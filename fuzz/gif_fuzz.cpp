// GIF files: load, play all frames and some more, write back, load again.
#include "load_bytes.h"
#include "stated_size.h"

namespace {

void SaveAndLoad(HKESTRSESSION session, int32_t typeId) {
    const std::string path = kestr::fuzz::ScratchFile(".gif") + ".gif";
    if (cSave(session, path.c_str(), typeId, 0, nullptr, 0) == 0) return;
    const HKESTRSESSION again = cNewSession();
    cLoadImageEx(again, path.c_str(), 0, 0, nullptr, 0);
    kestr::fuzz::SumOfPixels(again);
    cDestroySession(again);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    using namespace kestr::fuzz;
    const std::string path = ScratchFile(".gif");
    std::ofstream(path, std::ios::binary | std::ios::trunc)
        .write(reinterpret_cast<const char*>(data), static_cast<std::streamsize>(size));
    for (int page = 0; page < 20; ++page) {
        if (!StatesSmallPicture(path, page)) return 0;
    }
    LoadBytes(data, size, ".gif", 0, 0, [](HKESTRSESSION session) {
        for (const int32_t typeId : {66, 67}) SaveAndLoad(session, typeId);
        int32_t pages = 0;
        cGetImageInfo(session, nullptr, nullptr, nullptr, nullptr, nullptr, nullptr, &pages,
                      nullptr, nullptr);
        int32_t changed[4];
        for (int32_t i = 0; i < pages + 2 && i < 20; ++i) {
            cLoadNextAnimatedGIFPage(session, changed);
            SumOfPixels(session);
        }
    });
    return 0;
}
