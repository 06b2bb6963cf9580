#include "support/icc_builder.h"

#include <lcms2.h>

namespace kestr::test {
namespace {

void PutU32(std::vector<uint8_t>& out, size_t at, uint32_t value) {
    for (size_t i = 0; i < 4; ++i) out[at + i] = static_cast<uint8_t>(value >> (24 - 8 * i));
}

void SetText(cmsHPROFILE profile, cmsTagSignature tag, const std::string& text) {
    if (text.empty()) {
        cmsWriteTag(profile, tag, nullptr);
        return;
    }
    cmsMLU* const words = cmsMLUalloc(nullptr, 1);
    cmsMLUsetASCII(words, "en", "US", text.c_str());
    cmsWriteTag(profile, tag, words);
    cmsMLUfree(words);
}

std::vector<uint8_t> Finish(cmsHPROFILE profile) {
    cmsUInt32Number size = 0;
    cmsSaveProfileToMem(profile, nullptr, &size);
    std::vector<uint8_t> bytes(size);
    cmsSaveProfileToMem(profile, bytes.data(), &size);
    cmsCloseProfile(profile);
    return bytes;
}

cmsHPROFILE MakeRGB(double gamma) {
    const cmsCIExyY white{0.3127, 0.3290, 1.0};
    const cmsCIExyYTRIPLE primaries{{0.64, 0.33, 1.0}, {0.30, 0.60, 1.0}, {0.15, 0.06, 1.0}};
    cmsToneCurve* const curve = cmsBuildGamma(nullptr, gamma);
    cmsToneCurve* const curves[3] = {curve, curve, curve};
    const cmsHPROFILE profile = cmsCreateRGBProfile(&white, &primaries, curves);
    cmsFreeToneCurve(curve);
    return profile;
}

}  // namespace

CICCBuilder& CICCBuilder::Tag(uint32_t offset, uint32_t size) {
    m_rows.insert(m_rows.end(), {0x64657363, offset, size});
    if (m_rows.size() / 3 > m_tags) m_tags = static_cast<uint32_t>(m_rows.size() / 3);
    return *this;
}

CICCBuilder& CICCBuilder::StatedTags(uint32_t count) {
    m_tags = count;
    return *this;
}

std::vector<uint8_t> CICCBuilder::Bytes(size_t size) const {
    std::vector<uint8_t> bytes(132 + m_rows.size() * 4);
    PutU32(bytes, 128, m_tags);
    for (size_t i = 0; i < m_rows.size(); ++i) PutU32(bytes, 132 + i * 4, m_rows[i]);
    bytes.resize(size);
    return bytes;
}

std::vector<uint8_t> NamedProfile(const std::string& description, const std::string& model,
                                  const std::string& maker) {
    const cmsHPROFILE profile = MakeRGB(1.0);
    SetText(profile, cmsSigProfileDescriptionTag, description);
    SetText(profile, cmsSigDeviceModelDescTag, model);
    SetText(profile, cmsSigDeviceMfgDescTag, maker);
    return Finish(profile);
}

std::vector<uint8_t> GrayProfile(double gamma) {
    cmsToneCurve* const curve = cmsBuildGamma(nullptr, gamma);
    const cmsHPROFILE profile = cmsCreateGrayProfile(cmsD50_xyY(), curve);
    cmsFreeToneCurve(curve);
    return Finish(profile);
}

std::vector<uint8_t> RGBProfile(double gamma) {
    return Finish(MakeRGB(gamma));
}

}  // namespace kestr::test
