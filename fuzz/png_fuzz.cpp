// PNG files: load, write back plain and interlaced, load again.
#include "load_bytes.h"
#include "stated_size.h"

namespace {

void SaveAndLoad(HKESTRSESSION session, int32_t typeId) {
    const std::string path = kestr::fuzz::ScratchFile(".png") + ".png";
    if (cSave(session, path.c_str(), typeId, 0, nullptr, 0) == 0) return;
    const HKESTRSESSION again = cNewSession();
    cLoadImageEx(again, path.c_str(), 0, 0, nullptr, 0);
    kestr::fuzz::SumOfPixels(again);
    cDestroySession(again);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    using namespace kestr::fuzz;
    const std::string path = ScratchFile(".png");
    std::ofstream(path, std::ios::binary | std::ios::trunc)
        .write(reinterpret_cast<const char*>(data), static_cast<std::streamsize>(size));
    if (!StatesSmallPicture(path, 0)) return 0;
    LoadBytes(data, size, ".png", 0, 0, [](HKESTRSESSION session) {
        for (const int32_t typeId : {11, 12}) SaveAndLoad(session, typeId);
    });
    return 0;
}
