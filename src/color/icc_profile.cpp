#include "color/icc_profile.h"

#include <bit>
#include <new>
#include <string_view>
#include <vector>

#include "base/byte_cursor.h"
#include "color/lcms_handles.h"
#include "platform/code_page.h"

namespace kestr {
namespace {

constexpr size_t kTagCountOffset = 128;  // behind the fixed header
constexpr size_t kTagTableOffset = 132;
constexpr size_t kLongestModel = 30;  // characters; a longer one names its maker itself
constexpr size_t kSameMaker = 8;      // characters

std::string ProfileText(cmsHPROFILE profile, cmsInfoType which) {
    const cmsUInt32Number bytes = cmsGetProfileInfo(profile, which, "en", "US", nullptr, 0);
    std::vector<wchar_t> text(bytes / sizeof(wchar_t));
    if (text.empty()) return {};
    cmsGetProfileInfo(profile, which, "en", "US", text.data(), bytes);
    WideString units;
    for (const wchar_t unit : text) {
        if (unit == 0) break;
        // The engine keeps UTF-16 units in a wchar_t of any width. From the 8-bit text of an old
        // profile a byte above 127 may come out with its sign spread over the bits above it.
        const auto value = static_cast<uint32_t>(unit);  // NOLINT(bugprone-signed-char-misuse)
        units += static_cast<KESTR_CHAR>(value > 0xFFFF ? value & 0xFF : value);
    }
    return WideToText(units);
}

}  // namespace

CColorContext MakeColorContext() {
    CColorContext context(cmsCreateContext(nullptr, nullptr));
    if (!context) throw std::bad_alloc();
    return context;
}

CColorProfile OpenColorProfile(const CColorContext& context, std::span<const uint8_t> bytes) {
    if (bytes.size() > UINT32_MAX) return nullptr;
    return CColorProfile(cmsOpenProfileFromMemTHR(context.get(), bytes.data(),
                                                  static_cast<cmsUInt32Number>(bytes.size())));
}

bool IsValidICCProfile(std::span<const uint8_t> profile) {
    if (profile.data() == nullptr || profile.size() < kTagTableOffset) return false;
    CBigEndianCursor in(profile, kTagCountOffset);
    const uint32_t tags = in.U32();
    const uint64_t tableEnd = (uint64_t{tags} * 3 + 33) * 4;
    if (tableEnd > profile.size()) return false;
    for (uint32_t i = 0; i < tags; ++i) {
        in.Skip(4);  // the tag's signature
        const uint32_t offset = in.U32();
        const uint32_t size = in.U32();
        if (offset < tableEnd || offset > profile.size()) return false;
        if (size > profile.size() - offset || size > UINT32_MAX - offset) return false;
    }
    return true;
}

bool OpensAsICCProfile(std::span<const uint8_t> profile) {
    if (!IsValidICCProfile(profile)) return false;
    const CColorContext context = MakeColorContext();
    return OpenColorProfile(context, profile) != nullptr;
}

std::string ICCProfileName(std::span<const uint8_t> profile) {
    if (!IsValidICCProfile(profile)) return {};
    const CColorContext context = MakeColorContext();
    const CColorProfile opened = OpenColorProfile(context, profile);
    if (!opened) return {};
    const std::string maker = ProfileText(opened.get(), cmsInfoManufacturer);
    std::string model = ProfileText(opened.get(), cmsInfoModel);
    if (maker.empty() && model.empty()) return ProfileText(opened.get(), cmsInfoDescription);
    const bool namesMaker = std::string_view(model).substr(0, kSameMaker) ==
                            std::string_view(maker).substr(0, kSameMaker);
    if (maker.empty() || namesMaker || model.size() > kLongestModel) return model;
    return model + " - " + maker;
}

}  // namespace kestr
