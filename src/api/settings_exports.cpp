// Settings: most of them reach the image at its next load or save.
#include "api/handles.h"
#include "base/process_settings.h"
#include "platform/system_codec.h"
#include "readers/extension_table.h"

namespace kestr {
namespace {

// Runs `change` with the settings of a session, if there is one.
template <typename Change>
void OnSettings(HKESTRSESSION session, Change change) {
    if (CDLLSession* const s = FromHandle(session)) change(s->settings);
}

}  // namespace

extern "C" {

KESTR_API void KESTR_CALL cEnableAutoUndoRedo(HKESTRSESSION session, int32_t flag) {
    OnSettings(session, [=](CSessionSettings& s) { s.autoUndoRedo = flag; });
}

KESTR_API void KESTR_CALL cSetAutoRotate(HKESTRSESSION session, int32_t flag) {
    OnSettings(session, [=](CSessionSettings& s) { s.autoRotate = flag != 0; });
}

KESTR_API void KESTR_CALL cSetJPEGParams(HKESTRSESSION session, uint16_t quality, double rate,
                                         int32_t highQuality, int32_t exactStart) {
    OnSettings(session, [=](CSessionSettings& s) {
        s.jpegQuality = quality;
        s.jpegRate = rate;
        s.jpegHighQuality = highQuality != 0;
        s.exactStart = exactStart != 0;
    });
}

KESTR_API void KESTR_CALL cSetPSDParams(HKESTRSESSION session, int32_t flattened) {
    OnSettings(session, [=](CSessionSettings& s) { s.psdFlattened = flattened != 0; });
}

KESTR_API void KESTR_CALL cSetCanonCRWParams(HKESTRSESSION session, int32_t useLibrary,
                                             int32_t cameraDefaults, int32_t keepWhiteBalance,
                                             int16_t p0, int16_t p1, int16_t p2, int16_t p3,
                                             int32_t linear) {
    OnSettings(session, [=](CSessionSettings& s) {
        s.useCanonLibrary = useLibrary != 0;
        s.canonCameraDefaults = cameraDefaults != 0;
        s.canonApplyAdjust = keepWhiteBalance == 0;
        s.canonAdjust = {p0, p1, p2, p3};
        s.canonLinearFlag = linear != 0;
    });
}

KESTR_API void KESTR_CALL cSetKodakPDCParams(HKESTRSESSION session, const char* name, uint16_t mode,
                                             int32_t a, int32_t b, int32_t c, double value) {
    cSetKodakPDCParamsW(session, WideArgument(name).Get(), mode, a, b, c, value);
}

KESTR_API void KESTR_CALL cSetKodakPDCParamsW(HKESTRSESSION session, const KESTR_CHAR* name,
                                              uint16_t mode, int32_t a, int32_t b, int32_t c,
                                              double value) {
    OnSettings(session, [=](CSessionSettings& s) {
        SetKodakPDCName(NarrowArgument(name));
        s.SetKodakPDCParams(mode, a != 0, b != 0, c != 0, value);
    });
}

KESTR_API void KESTR_CALL cSetGeneralRawParams(HKESTRSESSION session, int32_t autoLevels,
                                               int32_t linearGamma) {
    OnSettings(session, [=](CSessionSettings& s) {
        s.rawAutoLevels = autoLevels != 0;
        s.rawLinearGamma = linearGamma != 0;
    });
}

KESTR_API void KESTR_CALL cSetRawInterpolationMethod(HKESTRSESSION session, uint32_t method) {
    OnSettings(session, [=](CSessionSettings& s) { s.rawInterpolationMethod = method; });
}

KESTR_API void KESTR_CALL cUseCIECAM02(HKESTRSESSION session, int32_t flag) {
    OnSettings(session, [=](CSessionSettings& s) { s.useCIECAM02 = flag != 0; });
}

KESTR_API void KESTR_CALL cSetProcessingGamma(double gamma) {
    SetProcessingGamma(gamma);
}

KESTR_API void KESTR_CALL cSaveICCProfileEnabled(HKESTRSESSION session, int32_t flag) {
    OnSettings(session, [=](CSessionSettings& s) { s.saveICCProfile = flag != 0; });
}

KESTR_API void KESTR_CALL cSetAutoICCProfile(HKESTRSESSION session, const char* name) {
    cSetAutoICCProfileW(session, WideArgument(name).Get());
}

KESTR_API void KESTR_CALL cSetAutoICCProfileW(HKESTRSESSION session, const KESTR_CHAR* name) {
    OnSession(session, [=](CDLLSession& s) {
        s.settings.autoICCProfile = NarrowArgument(name);
        s.image->autoICCProfile = s.settings.autoICCProfile;
        s.image->DropDisplayCaches();
    });
}

KESTR_API void KESTR_CALL cSetEdgeFeatherValue(HKESTRSESSION session, uint16_t feather) {
    OnSettings(session, [=](CSessionSettings& s) { s.edgeFeather = feather; });
}

KESTR_API void KESTR_CALL cSetBackgroundColor(HKESTRSESSION session, uint32_t colour) {
    OnSession(session, [=](CDLLSession& s) {
        s.settings.backgroundColor = colour;
        s.image->backgroundColor = colour;
    });
}

KESTR_API void KESTR_CALL cSetInverseSelect(HKESTRSESSION session, int32_t flag) {
    OnSession(session, [=](CDLLSession& s) {
        s.settings.inverseSelect = flag != 0;
        if (s.image->loaded) s.image->inverseSelect = flag != 0;
    });
}

KESTR_API void KESTR_CALL cAddWicFileType(const char* extension) {
    if (extension && HasSystemCodecs()) AddSystemCodecExtension(extension);
}

KESTR_API void KESTR_CALL cRegisterPushUndoRedoCallback(HKESTRSESSION session,
                                                        KESTR_UNDO_CALLBACK function,
                                                        uintptr_t user) {
    OnSession(session, [=](CDLLSession& s) {
        s.undoCallback = function;
        s.undoUser = user;
        s.image->undoNotify = &s;
    });
}

}  // extern "C"
}  // namespace kestr
