/* The public header before the system's own ones, which declare the same names on Windows. */
#include <kestr/kestr.h>

#if __has_include(<windows.h>)
#include <windows.h>
#endif

void SystemTakesWhatKestrGives(HKESTRSESSION session);
void SystemTakesWhatKestrGives(HKESTRSESSION session) {
    BSTR text = NULL;
    SAFEARRAY* bytes = NULL;
    BITMAPINFO* info = NULL;
    if (cGetImageDescription(session, &text)) SysFreeString(text);
    if (cGetImageXmp(session, &bytes)) SafeArrayDestroy(bytes);
    if (cGetBITMAPINFOPtr(session, &info)) info->bmiHeader.biClrImportant = 0;
}
