// Texts and arrays of oleaut32, which <windows.h> brings along.
#include "platform/automation.h"

#include <windows.h>
#include <limits>

namespace kestr::automation {

BSTR NewText(const KESTR_CHAR* text, size_t units) {
    if (units > std::numeric_limits<UINT>::max() / sizeof(KESTR_CHAR)) return nullptr;
    return SysAllocStringLen(text, static_cast<UINT>(units));
}

BSTR NewTextBytes(const uint8_t* bytes, size_t size) {
    return SysAllocStringByteLen(reinterpret_cast<const char*>(bytes), static_cast<UINT>(size));
}

void FreeText(BSTR text) {
    SysFreeString(text);
}

size_t TextUnits(BSTR text) {
    return SysStringLen(text);
}

SAFEARRAY* NewArray(Element element, size_t count) {
    // The plain element type: VT_ARRAY added to it makes no difference to the array handed out, and
    // not every oleaut32 takes it.
    return SafeArrayCreateVector(element == Element::kByte ? VT_UI1 : VT_I4, 0,
                                 static_cast<ULONG>(count));
}

void FreeArray(SAFEARRAY* array) {
    SafeArrayDestroy(array);
}

void* Lock(SAFEARRAY* array, Element element, size_t& count) {
    const UINT elementBytes = element == Element::kByte ? 1 : 4;
    void* data = nullptr;
    if (!array || SafeArrayGetDim(array) != 1 || SafeArrayGetElemsize(array) != elementBytes ||
        FAILED(SafeArrayAccessData(array, &data))) {
        return nullptr;
    }
    count = array->rgsabound[0].cElements;
    return data;
}

void Unlock(SAFEARRAY* array) {
    SafeArrayUnaccessData(array);
}

}  // namespace kestr::automation
