// What the code below the interface may ask of and tell to the caller's session. A null pointer is
// legal everywhere; the functions of `callback` below answer for it.
#pragma once

#include <cstdint>

namespace kestr {

class CCallbackCls {
public:
    virtual ~CCallbackCls() = default;

    virtual bool GetAutoRotate() = 0;
    virtual bool GetUseCanonLibrary() = 0;
    virtual bool GetCanonApplyAdjust() = 0;
    virtual bool GetCanonCameraDefaults() = 0;
    virtual int16_t GetCanonAdjust1() = 0;
    virtual int16_t GetCanonAdjust2() = 0;
    virtual int16_t GetCanonAdjust3() = 0;
    virtual int16_t GetCanonAdjust4() = 0;
    virtual bool GetCanonLinearFlag() = 0;
    virtual bool GetUseCIECAM02() = 0;
    virtual uint8_t GetRawAutoLevels() = 0;
    virtual int16_t GetColorTemperature() = 0;
    virtual uint8_t* GetKodakPDCFlags() = 0;
    virtual double GetKodakPDCValue() = 0;
    virtual bool GetKeep16BitPrecision() = 0;
    virtual void OnLoadSucceeded() = 0;
    virtual void OnLoadFailed() = 0;
    virtual void OnSaveSucceeded() = 0;
    virtual void OnSaveFailed() = 0;
    virtual void ReportPercent(int32_t percent) = 0;
    /// Progress of pass `passIndex`, counted from 1, of `passCount` equal ones.
    virtual void ReportPassProgress(int32_t percent, int32_t passIndex, int32_t passCount) = 0;
    virtual void ReportOperationProgress(int32_t percent) = 0;
    virtual void OnOperationDone() = 0;
    virtual bool IsAbortRequested() = 0;
    virtual void NotifyUndoPush(bool isUndo) = 0;
};

namespace callback {

inline constexpr uint8_t kDefaultKodakPDCFlags = 0x43;

inline bool AutoRotate(CCallbackCls* session) {
    return session && session->GetAutoRotate();
}
inline bool UseCanonLibrary(CCallbackCls* session) {
    return !session || session->GetUseCanonLibrary();
}
inline bool CanonApplyAdjust(CCallbackCls* session) {
    return session && session->GetCanonApplyAdjust();
}
inline bool CanonCameraDefaults(CCallbackCls* session) {
    return session && session->GetCanonCameraDefaults();
}
inline int16_t CanonAdjust1(CCallbackCls* session) {
    return session ? session->GetCanonAdjust1() : int16_t{0};
}
inline int16_t CanonAdjust2(CCallbackCls* session) {
    return session ? session->GetCanonAdjust2() : int16_t{0};
}
inline int16_t CanonAdjust3(CCallbackCls* session) {
    return session ? session->GetCanonAdjust3() : int16_t{0};
}
inline int16_t CanonAdjust4(CCallbackCls* session) {
    return session ? session->GetCanonAdjust4() : int16_t{0};
}
inline bool CanonLinearFlag(CCallbackCls* session) {
    return session && session->GetCanonLinearFlag();
}
inline bool UseCIECAM02(CCallbackCls* session) {
    return !session || session->GetUseCIECAM02();
}
inline int16_t ColorTemperature(CCallbackCls* session) {
    return session ? session->GetColorTemperature() : int16_t{0};
}
inline uint8_t KodakPDCFlags(CCallbackCls* session) {
    return session ? *session->GetKodakPDCFlags() : kDefaultKodakPDCFlags;
}
inline double KodakPDCValue(CCallbackCls* session) {
    return session ? session->GetKodakPDCValue() : 0.0;
}
inline bool Keep16BitPrecision(CCallbackCls* session) {
    return !session || session->GetKeep16BitPrecision();
}
inline void LoadDone(CCallbackCls* session, bool succeeded) {
    if (session) succeeded ? session->OnLoadSucceeded() : session->OnLoadFailed();
}
inline void SaveDone(CCallbackCls* session, bool succeeded) {
    if (session) succeeded ? session->OnSaveSucceeded() : session->OnSaveFailed();
}
inline void Percent(CCallbackCls* session, int32_t percent) {
    if (session) session->ReportPercent(percent);
}
inline void PassProgress(CCallbackCls* session, int32_t percent, int32_t passIndex,
                         int32_t passCount) {
    if (session) session->ReportPassProgress(percent, passIndex, passCount);
}
inline void OperationProgress(CCallbackCls* session, int32_t percent) {
    if (session) session->ReportOperationProgress(percent);
}
inline void OperationDone(CCallbackCls* session) {
    if (session) session->OnOperationDone();
}
inline bool AbortRequested(CCallbackCls* session) {
    return session && session->IsAbortRequested();
}
inline void UndoPushed(CCallbackCls* session, bool isUndo) {
    if (session) session->NotifyUndoPush(isUndo);
}

}  // namespace callback
}  // namespace kestr
