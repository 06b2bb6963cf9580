// Every question to a file of any bytes, under the extension of each format in turn.
#include <array>

#include "load_bytes.h"
#include "platform/automation.h"

namespace {

constexpr std::array<const char*, 6> kExtensions{".jpg", ".tif", ".png", ".gif", ".bmp", ".psd"};

void Free(std::initializer_list<BSTR> texts) {
    for (BSTR text : texts) kestr::automation::FreeText(text);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    // The files of a process differ by their extensions alone.
    const std::string path = kestr::fuzz::ScratchFile("") + kExtensions[size % kExtensions.size()];
    std::ofstream(path, std::ios::binary | std::ios::trunc)
        .write(reinterpret_cast<const char*>(data), static_cast<std::streamsize>(size));
    int32_t typeId = 0;
    uint32_t width = 0, height = 0, pages = 0;
    uint8_t bits = 0;
    uint16_t mcuWidth = 0, mcuHeight = 0;
    BSTR description = nullptr, comment = nullptr, info = nullptr, date = nullptr, error = nullptr;
    CEXIF_Members* exif = nullptr;
    CIPTC_Members* iptc = nullptr;
    cGetImageFileInfoEx(path.c_str(), size % 3, 0, &typeId, &width, &height, &bits, &pages,
                        &description, &comment, &info, &date, &exif, &iptc, &mcuWidth, &mcuHeight,
                        &error);
    Free({description, comment, info, date, error});
    constexpr KESTR_CHAR kSeparator[] = {':', 0}, kEnd[] = {'\n', 0};
    BSTR text = nullptr;
    cIPTC_GetAsString(iptc, kSeparator, kEnd, &text);
    Free({text});
    cDestroyEXIF(exif);
    cDestroyIPTC(iptc);

    void* root = nullptr;
    cGetImageFileMetadataEx(path.c_str(), 0, 1, &exif, &iptc, &root);
    cDestroyEXIF(exif);
    cDestroyIPTC(iptc);
    cDestroyWicMetadataRoot(root);

    SAFEARRAY* bytes = nullptr;
    cGetImageFileXmp(path.c_str(), &bytes, nullptr);
    kestr::CSafeArray(bytes).reset();
    BSTR name = nullptr;
    cGetImageICCProfile_Info(path.c_str(), &name, &bytes, nullptr);
    kestr::CSafeArray(bytes).reset();
    Free({name});
    return 0;
}
