/* The public header after the system's own ones, which declare the same names on Windows. */
#if __has_include(<windows.h>)
#include <windows.h>
#endif

#include <kestr/kestr.h>

void FreeSystemText(BSTR text);
void FreeSystemText(BSTR text) {
    SysFreeString(text);
}

void KestrTakesWhatTheSystemGives(HKESTRSESSION session);
void KestrTakesWhatTheSystemGives(HKESTRSESSION session) {
    static const KESTR_CHAR kName[] = {'a', '.', 'b', 'm', 'p', 0};
    BSTR name = SysAllocString(kName);
    SAFEARRAY* bytes = SafeArrayCreateVector(VT_UI1, 0, 4);
    cLoadImageExW(session, name, 0, 0, NULL, 0);
    cLoadDIBArray(session, bytes, 0);
    SafeArrayDestroy(bytes);
    SysFreeString(name);
}
