// Turning a file on disc.
#include "api/handles.h"
#include "image/rotate_file.h"

namespace kestr {
extern "C" {

KESTR_API uint16_t KESTR_CALL cRotateImageFileEx(const char* source, const char* destination,
                                                 uint32_t op, int32_t trim,
                                                 int32_t applyOrientation, int32_t resetOrientation,
                                                 BSTR* error) {
    return cRotateImageFileExW(WidePath(source).Get(), WidePath(destination).Get(), op, trim,
                               applyOrientation, resetOrientation, error);
}

KESTR_API uint16_t KESTR_CALL cRotateImageFileExW(const KESTR_CHAR* source,
                                                  const KESTR_CHAR* destination, uint32_t op,
                                                  int32_t trim, int32_t applyOrientation,
                                                  int32_t resetOrientation, BSTR* error) {
    constexpr uint16_t kTurned = 0xFFFF;
    Clear(error);
    std::string words;
    if (RotateImageFile({.source = source,
                         .destination = destination,
                         .op = op,
                         .trim = trim != 0,
                         .applyOrientation = applyOrientation != 0,
                         .resetOrientation = resetOrientation != 0},
                        words)) {
        return kTurned;
    }
    if (!words.empty()) Put(error, WideText(words));
    return 0;
}

}  // extern "C"
}  // namespace kestr
