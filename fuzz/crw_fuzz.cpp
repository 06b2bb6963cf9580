// CRW and CR2 files through the interface: the preview whole and as a thumbnail, and a file query.
#include "load_bytes.h"
#include "platform/automation.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    kestr::fuzz::LoadBytes(data, size, ".crw");
    kestr::fuzz::LoadBytes(data, size, ".crw", 0, 20);
    BSTR info = nullptr, date = nullptr;
    cGetImageFileInfo(kestr::fuzz::ScratchFile(".crw").c_str(), 0, nullptr, nullptr, nullptr,
                      nullptr, nullptr, nullptr, nullptr, &info, &date, nullptr, nullptr, nullptr);
    kestr::automation::FreeText(info);
    kestr::automation::FreeText(date);
    return 0;
}
