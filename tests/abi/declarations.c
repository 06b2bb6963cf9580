/* The public header as C, alone: every declaration is there and can be called. */
#include <kestr/kestr.h>

typedef void (*CAnyFunction)(void);

#define KESTR_EXPORT(name) (CAnyFunction) & name,
const CAnyFunction kDeclaredInC[] = {
#include "exports.inc"
};
#undef KESTR_EXPORT
const size_t kDeclaredInCCount = sizeof kDeclaredInC / sizeof *kDeclaredInC;

void FreeSystemText(BSTR text);

/* What a C caller makes of the types. */
int32_t LengthOfDescription(HKESTRSESSION session);
int32_t LengthOfDescription(HKESTRSESSION session) {
    BSTR text = NULL;
    const int32_t found = cGetImageDescription(session, &text);
    const int32_t length = found && text ? *(const int32_t*)(const void*)((char*)text - 4) / 2 : -1;
    FreeSystemText(text);
    return length;
}
