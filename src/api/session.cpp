#include "api/session.h"

#include <mutex>
#include <utility>
#include <vector>

namespace kestr {
namespace {

// An image keeps telling the handle under which its notification was registered, also after it was
// swapped into another one. The handles that took part in a swap are known here, so that none is
// told after its end.
struct CSwappedSessions {
    std::mutex lock;
    std::vector<CDLLSession*> sessions;
};

CSwappedSessions& SwappedSessions() {
    static CSwappedSessions swapped;
    return swapped;
}

}  // namespace

void CSessionSettings::SetKodakPDCParams(uint16_t mode, bool a, bool b, bool c, double value) {
    constexpr uint8_t kModeIsZero = 0x01, kC = 0x02, kMode = 0x1C, kA = 0x20, kB = 0x40;
    const auto assign = [this](uint8_t mask, bool on) {
        kodakPDCFlags = static_cast<uint8_t>(on ? kodakPDCFlags | mask : kodakPDCFlags & ~mask);
    };
    assign(kModeIsZero, mode == 0);
    if (mode != 0) {
        kodakPDCFlags = static_cast<uint8_t>((kodakPDCFlags & ~kMode) | ((mode - 1) << 2 & kMode));
    }
    assign(kC, c);
    assign(kA, a);
    assign(kB, b);
    kodakPDCValue = value;
}

CDLLSession::~CDLLSession() {
    if (!m_swapped) return;
    CSwappedSessions& swapped = SwappedSessions();
    const std::lock_guard guard(swapped.lock);
    std::erase(swapped.sessions, this);
    for (CDLLSession* other : swapped.sessions) {
        if (other->image->undoNotify == this) other->image->undoNotify = nullptr;
    }
}

std::unique_ptr<CDLLSession> CDLLSession::Duplicate() const {
    return WithImage(image->Copy(true));
}

std::unique_ptr<CDLLSession> CDLLSession::WithImage(std::unique_ptr<CImageBits> own) const {
    auto copy = std::make_unique<CDLLSession>();
    copy->settings = settings;
    copy->progressUser = progressUser;
    copy->image = std::move(own);
    return copy;
}

void CDLLSession::ReplaceImage() {
    image = std::make_unique<CImageBits>();
}

void CDLLSession::BeginLoad() {
    ReplaceImage();
    image->jpegQuality = settings.jpegQuality;
    image->jpegHighQuality = settings.jpegHighQuality;
    image->exactStart = settings.exactStart;
    image->psdFlattened = settings.psdFlattened;
    image->rawAutoLevels = settings.rawAutoLevels;
    image->rawLinearGamma = settings.rawLinearGamma;
    image->autoICCProfile = settings.autoICCProfile;
    image->rawInterpolationMethod = settings.rawInterpolationMethod;
}

void CDLLSession::BeginSave() {
    image->jpegQuality = settings.jpegQuality;
    image->jpegHighQuality = settings.jpegHighQuality;
    image->jpegRate = settings.jpegRate;
    image->jpegSampling = settings.jpegSampling;
}

void CDLLSession::SwapImages(CDLLSession& a, CDLLSession& b) {
    if (&a == &b) return;
    CSwappedSessions& swapped = SwappedSessions();
    const std::lock_guard guard(swapped.lock);
    for (CDLLSession* session : {&a, &b}) {
        if (!session->m_swapped) swapped.sessions.push_back(session);
        session->m_swapped = true;
    }
    std::swap(a.image, b.image);
    // Progress goes to the caller's own callback, which stands in the handle that a call names.
    for (CDLLSession* session : {&a, &b}) {
        if (session->image->session) session->image->session = session;
    }
}

void CDLLSession::ReportPercent(int32_t percent) {
    if (!progressCallback) return;
    const auto low = static_cast<uint16_t>(percent);
    if (low != lastProgress) progressCallback(progressUser, percent);
    lastProgress = low;
}

void CDLLSession::ReportPassProgress(int32_t percent, int32_t passIndex, int32_t passCount) {
    if (!progressCallback || passCount == 0) return;
    const auto low = static_cast<uint16_t>((passIndex * 100 + percent - 100) / passCount);
    if (low != lastProgress) progressCallback(progressUser, low);
    lastProgress = low;
}

void CDLLSession::ReportOperationProgress(int32_t percent) {
    if (progressCallback) progressCallback(progressUser, percent);
}

void CDLLSession::NotifyUndoPush(bool isUndo) {
    if (undoUser != 0 && undoCallback) undoCallback(undoUser, isUndo ? 1 : 0);
}

}  // namespace kestr
