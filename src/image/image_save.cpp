#include "base/callback.h"
#include "base/messages.h"
#include "image/image_bits.h"
#include "image/writer_registry.h"

namespace kestr {

constexpr char kNotEligible[] = "Format not eligible for saving.";

bool CImageBits::Save(const KESTR_CHAR* path, int32_t type, int32_t option, bool writeMetadata,
                      bool writeProfile, bool flag, CCallbackCls* progress) {
    if (!loaded) return false;
    grayChecked = false;
    NormalizeGray();
    session = progress;
    lastPercent = 0;
    bool saved = false;
    if (const CImageWriter writer = FindWriter(type)) {
        saved = writer(*this, {.path = path,
                               .typeId = type,
                               .option = option,
                               .writeMetadata = writeMetadata,
                               .writeProfile = writeProfile,
                               .flag = flag});
    } else {
        errorText = kNotEligible;
    }
    callback::SaveDone(progress, saved);
    return saved;
}

void CImageBits::ReportSaveProgress(uint32_t row) {
    if (Height() <= 0) return;
    ReportSavePercent(static_cast<uint32_t>(uint64_t{row} * 100 / static_cast<uint32_t>(Height())));
}

void CImageBits::ReportSavePercent(uint32_t percent) {
    if (percent == lastPercent) return;
    lastPercent = static_cast<uint16_t>(percent);
    callback::Percent(session, lastPercent);
}

void CImageBits::RemoveExtraInfo() {
    if (!loaded) return;
    bits16.clear();
    RemoveMetadata();
}

void CImageBits::RemoveMetadata() {
    if (!loaded) return;
    exif.reset();
    soundClip.clear();
    iptc = {};
    comment.clear();
}

}  // namespace kestr
