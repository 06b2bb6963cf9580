// Loads the bytes of a raw file through the interface.
#pragma once

#include "load_bytes.h"

namespace kestr::fuzz {

/// The picture by each method, or a thumbnail: the length of the bytes settles which, so that a run
/// develops one picture only.
inline void LoadRawBytes(const uint8_t* data, size_t size, const char* extension) {
    const std::string& path = ScratchFile(extension);
    std::ofstream(path, std::ios::binary | std::ios::trunc)
        .write(reinterpret_cast<const char*>(data), static_cast<std::streamsize>(size));
    const HKESTRSESSION session = cNewSession();
    cSetRawInterpolationMethod(session, static_cast<uint32_t>(size % 3));
    cSetGeneralRawParams(session, 1, static_cast<int32_t>(size / 3 % 2));
    cUseCIECAM02(session, 0);  // its table is built for each kind of light, which takes long
    const int32_t loaded = size / 6 % 4 == 0
                               ? cLoadThumbnailEx(session, path.c_str(), 20, 20, 0)
                               : cLoadImageEx(session, path.c_str(), 0, 0, nullptr, 0);
    if (loaded != 0) SumOfPixels(session);
    cDestroySession(session);
}

}  // namespace kestr::fuzz
