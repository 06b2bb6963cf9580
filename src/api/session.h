#pragma once

#include <array>
#include <atomic>
#include <cstdint>
#include <memory>
#include <string>

#include <kestr/types.h>

#include "base/callback.h"
#include "image/image_bits.h"

namespace kestr {

/// What a caller sets and what outlives an image. Without a setter where none is named.
struct CSessionSettings {
    int32_t autoUndoRedo = 0;  // as the caller gave it; handed to every operation
    uint8_t kodakPDCFlags = callback::kDefaultKodakPDCFlags;  // see SetKodakPDCParams
    double kodakPDCValue = 0.0;
    bool useCanonLibrary = true;
    bool canonCameraDefaults = false;
    bool canonApplyAdjust = false;  // the negation of what the caller gave
    std::array<int16_t, 4> canonAdjust{};
    bool canonLinearFlag = false;
    bool autoRotate = false;
    bool keep16BitPrecision = true;  // no setter
    bool saveMetadata = true;        // no setter
    uint16_t jpegQuality = 75;
    double jpegRate = 0.1;
    bool jpegHighQuality = true;
    bool exactStart = false;
    bool psdFlattened = false;
    bool rawAutoLevels = true;
    bool rawLinearGamma = true;
    int16_t colorTemperature = 0;  // no setter
    bool verifyFormat = true;      // no setter
    bool saveICCProfile = true;
    uint16_t edgeFeather = 0;
    bool inverseSelect = false;
    std::string autoICCProfile;  // name of the display profile
    uint32_t backgroundColor = 0;
    bool saveFlag = false;                                   // no setter
    bool thumbnailFlag = false;                              // no setter
    std::array<uint16_t, 6> jpegSampling{2, 2, 1, 1, 1, 1};  // Y, Cb, Cr across and down; no setter
    uint32_t rawInterpolationMethod = 1;
    bool useCIECAM02 = true;

    /// Bit 0: mode is 0. Bits 2 to 4: mode - 1, as they were when mode is 0. Bit 1: c. Bit 5: a.
    /// Bit 6: b. Bit 7 stays.
    void SetKodakPDCParams(uint16_t mode, bool a, bool b, bool c, double value);
};

/// One image and the settings that outlive it. A handle is the address of one.
class CDLLSession final : public CCallbackCls {
public:
    CDLLSession() = default;
    ~CDLLSession() override;
    CDLLSession(const CDLLSession&) = delete;
    CDLLSession& operator=(const CDLLSession&) = delete;

    /// A handle of its own with a copy of the settings and of the image with its metadata.
    [[nodiscard]] std::unique_ptr<CDLLSession> Duplicate() const;
    /// A handle of its own with a copy of the settings and the given image.
    [[nodiscard]] std::unique_ptr<CDLLSession> WithImage(std::unique_ptr<CImageBits> own) const;

    /// Puts a new empty image in the place of the present one.
    void ReplaceImage();
    /// The same, with the settings that every load hands to its image.
    void BeginLoad();
    /// Hands the settings of a save to the image.
    void BeginSave();
    static void SwapImages(CDLLSession& a, CDLLSession& b);

    bool GetAutoRotate() override { return settings.autoRotate; }
    bool GetUseCanonLibrary() override { return settings.useCanonLibrary; }
    bool GetCanonApplyAdjust() override { return settings.canonApplyAdjust; }
    bool GetCanonCameraDefaults() override { return settings.canonCameraDefaults; }
    int16_t GetCanonAdjust1() override { return settings.canonAdjust[0]; }
    int16_t GetCanonAdjust2() override { return settings.canonAdjust[1]; }
    int16_t GetCanonAdjust3() override { return settings.canonAdjust[2]; }
    int16_t GetCanonAdjust4() override { return settings.canonAdjust[3]; }
    bool GetCanonLinearFlag() override { return settings.canonLinearFlag; }
    bool GetUseCIECAM02() override { return settings.useCIECAM02; }
    uint8_t GetRawAutoLevels() override { return settings.rawAutoLevels ? 1 : 0; }
    int16_t GetColorTemperature() override { return settings.colorTemperature; }
    uint8_t* GetKodakPDCFlags() override { return &settings.kodakPDCFlags; }
    double GetKodakPDCValue() override { return settings.kodakPDCValue; }
    bool GetKeep16BitPrecision() override { return settings.keep16BitPrecision; }
    void OnLoadSucceeded() override {}
    void OnLoadFailed() override {}
    void OnSaveSucceeded() override {}
    void OnSaveFailed() override {}
    void ReportPercent(int32_t percent) override;
    void ReportPassProgress(int32_t percent, int32_t passIndex, int32_t passCount) override;
    void ReportOperationProgress(int32_t percent) override;
    void OnOperationDone() override {}
    bool IsAbortRequested() override { return abortRequested.load(std::memory_order_relaxed); }
    void NotifyUndoPush(bool isUndo) override;

    std::unique_ptr<CImageBits> image = std::make_unique<CImageBits>();  // never null
    CSessionSettings settings;
    KESTR_PROGRESS_CALLBACK progressCallback = nullptr;  // set for the length of one call
    uintptr_t progressUser = 0;
    KESTR_UNDO_CALLBACK undoCallback = nullptr;
    uint16_t lastProgress = 0;                 // last percentage told, so that none is told twice
    uintptr_t undoUser = 0;                    // 0 switches the undo notification off
    std::atomic<bool> abortRequested = false;  // may be set from another thread
    bool nextPageLoaded = false;

private:
    bool m_swapped = false;  // an image that was here may point at this from another handle
};

/// Puts a progress callback into a session for the length of one call.
class CProgressScope {
public:
    CProgressScope(CDLLSession& session, KESTR_PROGRESS_CALLBACK function, uintptr_t user)
        : m_session(session) {
        session.progressCallback = function;
        session.progressUser = user;
    }
    CProgressScope(const CProgressScope&) = delete;
    CProgressScope& operator=(const CProgressScope&) = delete;
    ~CProgressScope() { m_session.progressCallback = nullptr; }

private:
    CDLLSession& m_session;
};

}  // namespace kestr
