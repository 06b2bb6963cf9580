// TIFF files: load the first pages and a thumbnail, write back, load again.
#include "load_bytes.h"
#include "stated_size.h"

namespace {

void SaveAndLoad(HKESTRSESSION session, int32_t typeId) {
    const std::string path = kestr::fuzz::ScratchFile(".tif") + ".tif";
    if (cSave(session, path.c_str(), typeId, 0, nullptr, 0) == 0) return;
    const HKESTRSESSION again = cNewSession();
    cLoadImageEx(again, path.c_str(), 0, 0, nullptr, 0);
    kestr::fuzz::SumOfPixels(again);
    cDestroySession(again);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    using namespace kestr::fuzz;
    const std::string path = ScratchFile(".tif");
    std::ofstream(path, std::ios::binary | std::ios::trunc)
        .write(reinterpret_cast<const char*>(data), static_cast<std::streamsize>(size));
    for (int16_t page = 0; page < 3; ++page) {
        if (!StatesSmallPicture(path, page)) return 0;
        LoadBytes(data, size, ".tif", page, 0, [](HKESTRSESSION session) {
            for (const int32_t typeId : {18, 21, 24, 54}) SaveAndLoad(session, typeId);
        });
    }
    LoadBytes(data, size, ".tif", 0, 16);
    return 0;
}
