// Loads the bytes of a raw file through the interface: the picture by each method, and a thumbnail.
#pragma once

#include "load_bytes.h"

namespace kestr::fuzz {

inline void LoadRawBytes(const uint8_t* data, size_t size, const char* extension) {
    const std::string& path = ScratchFile(extension);
    std::ofstream(path, std::ios::binary | std::ios::trunc)
        .write(reinterpret_cast<const char*>(data), static_cast<std::streamsize>(size));
    for (const bool thumbnail : {false, true}) {
        const HKESTRSESSION session = cNewSession();
        cSetRawInterpolationMethod(session, static_cast<int16_t>(size % 3));
        cUseCIECAM02(session, 0);  // its table is built for each kind of light, which takes long
        const int32_t loaded = thumbnail ? cLoadThumbnailEx(session, path.c_str(), 20, 20, 0)
                                         : cLoadImageEx(session, path.c_str(), 0, 0, nullptr, 0);
        if (loaded != 0) SumOfPixels(session);
        cDestroySession(session);
    }
}

}  // namespace kestr::fuzz
