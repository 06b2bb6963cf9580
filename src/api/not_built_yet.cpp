// The calls whose capability is not built yet: they do nothing and return 0, their texts, arrays
// and objects come out null. docs/status.md lists them too.
#include "api/handles.h"

namespace kestr {
extern "C" {

// Closed camera libraries.
KESTR_API void KESTR_CALL cUnloadDLLs(uint8_t) {}

}  // extern "C"
}  // namespace kestr
