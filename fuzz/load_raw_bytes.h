// Loads the bytes of a raw file through the interface.
#pragma once

#include "load_bytes.h"
#include "platform/code_page.h"
#include "readers/extension_table.h"
#include "readers/image_reader.h"
#include "readers/reader_registry.h"

namespace kestr::fuzz {

/// Whether the reader of this extension takes the file. Others would too, some of them for long,
/// and have targets of their own.
inline bool IsOfItsExtension(const std::string& path, const char* extension) {
    const auto reader = CreateReader(TypeIdOfExtension(extension), true, false, {});
    const bool opened = reader->Open(PathToWide(path.c_str()).c_str(), 0);
    reader->Close();
    return opened;
}

/// The picture by each method, or a thumbnail: `choice` settles which, so that a run develops one
/// picture only.
inline void LoadRawBytes(const uint8_t* data, size_t size, const char* extension, size_t choice) {
    const std::string path = ScratchFile(extension);
    std::ofstream(path, std::ios::binary | std::ios::trunc)
        .write(reinterpret_cast<const char*>(data), static_cast<std::streamsize>(size));
    const bool thumbnail = choice / 6 % 4 == 0;
    if (!IsOfItsExtension(path, extension)) return;
    const HKESTRSESSION session = cNewSession();
    cSetRawInterpolationMethod(session, static_cast<uint32_t>(choice % 3));
    cSetGeneralRawParams(session, 1, static_cast<int32_t>(choice / 3 % 2));
    cUseCIECAM02(session, 0);  // its table is built for each kind of light, which takes long
    const int32_t loaded = thumbnail ? cLoadThumbnailEx(session, path.c_str(), 20, 20, 0)
                                     : cLoadImageEx(session, path.c_str(), 0, 0, nullptr, 0);
    if (loaded != 0) SumOfPixels(session);
    cDestroySession(session);
}
inline void LoadRawBytes(const uint8_t* data, size_t size, const char* extension) {
    LoadRawBytes(data, size, extension, size);
}

}  // namespace kestr::fuzz
