#include "profile_operations.h"

#include <filesystem>
#include <fstream>
#include <iterator>
#include <string_view>
#include <vector>

#include <kestr/kestr.h>

#include "session.h"

namespace tool {
namespace {

using Bytes = std::vector<char>;

constexpr uint32_t kPerceptual = 0;

void PutU32(Bytes& out, uint32_t value) {
    for (int shift = 24; shift >= 0; shift -= 8) out.push_back(static_cast<char>(value >> shift));
}

void PutText(Bytes& out, std::string_view text) {
    out.insert(out.end(), text.begin(), text.end());
}

// A number of 16 whole and 16 fraction bits.
void PutFixed(Bytes& out, double value) {
    PutU32(out, static_cast<uint32_t>(value * 65536 + 0.5));
}

struct CTag {
    std::string_view signature;
    Bytes data;
};

Bytes XYZ(double x, double y, double z) {
    Bytes data;
    PutText(data, "XYZ ");
    PutU32(data, 0);
    for (const double value : {x, y, z}) PutFixed(data, value);
    return data;
}

Bytes English(std::string_view text) {
    Bytes data;
    PutText(data, "mluc");
    for (const uint32_t value : {0u, 1u, 12u}) PutU32(data, value);  // one record of 12 bytes
    PutText(data, "enUS");
    PutU32(data, static_cast<uint32_t>(2 * text.size()));
    PutU32(data, 28);
    for (const char c : text) data.insert(data.end(), {'\0', c});
    data.resize((data.size() + 3) / 4 * 4);
    return data;
}

// IEC 61966-2-1: ((v + 0.055) / 1.055) ^ 2.4 from 0.04045 on, v / 12.92 below.
Bytes Curve() {
    Bytes data;
    PutText(data, "para");
    PutU32(data, 0);
    PutU32(data, 3 << 16);  // the function of that form
    for (const double value : {2.4, 1 / 1.055, 0.055 / 1.055, 1 / 12.92, 0.04045}) {
        PutFixed(data, value);
    }
    return data;
}

// The colour space of the web, as an ICC profile (ICC.1:2010). Primaries: those of IEC 61966-2-1
// adapted to D50 by the Bradford transform.
Bytes MakeSRGBProfile() {
    const CTag tags[] = {
        {"desc", English("sRGB")},
        {"cprt", English("No copyright, use freely.")},
        {"wtpt", XYZ(0.96420, 1.0, 0.82491)},
        {"rXYZ", XYZ(0.43607, 0.22249, 0.01392)},
        {"gXYZ", XYZ(0.38515, 0.71687, 0.09708)},
        {"bXYZ", XYZ(0.14307, 0.06061, 0.71410)},
        {"rTRC", Curve()},
        {"gTRC", Curve()},
        {"bTRC", Curve()},
    };
    Bytes table, data;
    PutU32(table, static_cast<uint32_t>(std::size(tags)));
    const size_t dataStart = 132 + 12 * std::size(tags);
    for (const CTag& tag : tags) {
        PutText(table, tag.signature);
        PutU32(table, static_cast<uint32_t>(dataStart + data.size()));
        PutU32(table, static_cast<uint32_t>(tag.data.size()));
        data.insert(data.end(), tag.data.begin(), tag.data.end());
    }
    Bytes profile;
    PutU32(profile, static_cast<uint32_t>(dataStart + data.size()));
    PutU32(profile, 0);
    PutU32(profile, 0x04200000);  // version 4.2
    PutText(profile, "mntrRGB XYZ ");
    profile.resize(36);
    PutText(profile, "acsp");
    profile.resize(68);
    for (const double value : {0.96420, 1.0, 0.82491}) PutFixed(profile, value);  // D50
    profile.resize(128);
    profile.insert(profile.end(), table.begin(), table.end());
    profile.insert(profile.end(), data.begin(), data.end());
    return profile;
}

bool Convert(HKESTRSESSION session, const Bytes& profile, std::string& error) {
    if (cImageHasICCProfile(session) == 0) {
        const Bytes assumed = MakeSRGBProfile();
        cLoadICCProfile(session, assumed.data(), static_cast<uint32_t>(assumed.size()));
    }
    if (cApplyICCProfile(session, profile.data(), static_cast<uint32_t>(profile.size()),
                         kPerceptual) != 0) {
        return true;
    }
    error = "failed: the profile does not fit the picture (gray or colour), or its own is unusable";
    return false;
}

}  // namespace

bool ConvertToProfile(HKESTRSESSION session, const std::string& file, std::string& error) {
    std::ifstream in(std::filesystem::path(std::u8string(file.begin(), file.end())),
                     std::ios::binary);
    const Bytes profile{std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>()};
    CText name;
    const bool opens =
        cGetICCProfileName(profile.data(), static_cast<uint32_t>(profile.size()), name.Out()) != 0;
    if (!opens) {
        error = "failed: " + file + " is no colour profile";
        return false;
    }
    return Convert(session, profile, error);
}

bool ConvertToSRGB(HKESTRSESSION session, const std::string&, std::string& error) {
    return cImageHasICCProfile(session) == 0 || Convert(session, MakeSRGBProfile(), error);
}

}  // namespace tool
