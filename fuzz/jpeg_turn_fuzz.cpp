// Turns of JPEG files: every turn of any bytes leaves a file that can be turned again, or none. The
// length of the input chooses among turns and flags, so that seeds are plain files.
#include <filesystem>

#include "load_bytes.h"
#include "stated_size.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    namespace fs = std::filesystem;
    const std::string path = kestr::fuzz::ScratchFile(".jpg");
    const std::string turned = path + ".turned.jpg";
    std::ofstream(path, std::ios::binary | std::ios::trunc)
        .write(reinterpret_cast<const char*>(data), static_cast<std::streamsize>(size));
    if (!kestr::fuzz::StatesSmallPicture(path, 0)) return 0;
    const auto bit = [size](unsigned place) { return static_cast<int32_t>(size >> place & 1); };
    const uint32_t op = size & 3;
    if (cRotateImageFileEx(path.c_str(), turned.c_str(), op, bit(2), bit(3), bit(4), nullptr) !=
        0) {
        // A result is a file like any other, and its orientation may be carried out as well.
        cRotateImageFileEx(turned.c_str(), turned.c_str(), 3 - op, bit(4), 1, 1, nullptr);
    }
    if (fs::exists(turned + ".tmp") || fs::exists(turned + ".tmp.2")) __builtin_trap();
    std::error_code ignored;
    fs::remove(turned, ignored);
    return 0;
}
