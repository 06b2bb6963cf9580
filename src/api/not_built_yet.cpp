// The calls whose capability is not built yet: they do nothing and return 0, their texts, arrays
// and objects come out null. docs/status.md lists them too.
#include "api/handles.h"

namespace kestr {
extern "C" {

// Closed camera libraries.
KESTR_API void KESTR_CALL cUnloadDLLs(uint8_t) {}

// Turning files.
KESTR_API uint16_t KESTR_CALL cRotateImageFileEx(const char*, const char*, uint32_t, int32_t,
                                                 int32_t, int32_t, BSTR* error) {
    Clear(error);
    return 0;
}
KESTR_API uint16_t KESTR_CALL cRotateImageFileExW(const KESTR_CHAR*, const KESTR_CHAR*, uint32_t,
                                                  int32_t, int32_t, int32_t, BSTR* error) {
    Clear(error);
    return 0;
}

}  // extern "C"
}  // namespace kestr
