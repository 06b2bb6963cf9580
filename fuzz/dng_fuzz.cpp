// DNG files through the interface: the picture by each method, with and without its matrices, and a
// thumbnail.
#include "load_bytes.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    const std::string& path = kestr::fuzz::ScratchFile(".dng");
    std::ofstream(path, std::ios::binary | std::ios::trunc)
        .write(reinterpret_cast<const char*>(data), static_cast<std::streamsize>(size));
    const HKESTRSESSION session = cNewSession();
    cSetRawInterpolationMethod(session, static_cast<uint32_t>(size % 3));
    cSetGeneralRawParams(session, 1, static_cast<int32_t>(size % 2));
    cUseCIECAM02(session, 0);  // its table is built for each kind of light, which takes long
    if (cLoadImageEx(session, path.c_str(), 0, 0, nullptr, 0) != 0) {
        kestr::fuzz::SumOfPixels(session);
    }
    cDestroySession(session);
    kestr::fuzz::LoadBytes(data, size, ".dng", 0, 20);
    return 0;
}
