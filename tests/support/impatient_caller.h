#pragma once

#include <cstdint>

#include "base/callback.h"

namespace kestr::test {

/// Answers as a caller without settings; asks for an end at the n-th question.
class CImpatientCaller final : public CCallbackCls {
public:
    explicit CImpatientCaller(int patience) : m_patience(patience) {}
    int questions = 0;

    bool IsAbortRequested() override { return questions++ >= m_patience; }
    bool GetAutoRotate() override { return false; }
    bool GetUseCanonLibrary() override { return true; }
    bool GetCanonApplyAdjust() override { return false; }
    bool GetCanonCameraDefaults() override { return false; }
    int16_t GetCanonAdjust1() override { return 0; }
    int16_t GetCanonAdjust2() override { return 0; }
    int16_t GetCanonAdjust3() override { return 0; }
    int16_t GetCanonAdjust4() override { return 0; }
    bool GetCanonLinearFlag() override { return false; }
    bool GetUseCIECAM02() override { return false; }
    uint8_t GetRawAutoLevels() override { return 1; }
    int16_t GetColorTemperature() override { return 0; }
    uint8_t* GetKodakPDCFlags() override { return &m_flags; }
    double GetKodakPDCValue() override { return 0; }
    bool GetKeep16BitPrecision() override { return true; }
    void OnLoadSucceeded() override {}
    void OnLoadFailed() override {}
    void OnSaveSucceeded() override {}
    void OnSaveFailed() override {}
    void ReportPercent(int32_t) override {}
    void ReportPassProgress(int32_t, int32_t, int32_t) override {}
    void ReportOperationProgress(int32_t) override {}
    void OnOperationDone() override {}
    void NotifyUndoPush(bool) override {}

private:
    int m_patience;
    uint8_t m_flags = 0;
};

}  // namespace kestr::test
