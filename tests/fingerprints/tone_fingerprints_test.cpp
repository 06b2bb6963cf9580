// Tone operations on every kind of picture, whole and in a feathered rectangle.

#include <algorithm>
#include <array>
#include <memory>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "api/handles.h"
#include "support/fingerprint.h"
#include "support/picture.h"

namespace kestr::test {
namespace {

constexpr int kWidth = 53;
constexpr int kHeight = 31;

struct CKind {
    const char* name;
    std::unique_ptr<CImageBits> (*make)();
};

// Noise upon ramps: dark and light corners, so that values leave the range at both ends.
int Ramp(CNoise& noise, int x, int y, int limit) {
    const int slope = limit * (x + y) / (kWidth + kHeight - 2);
    return std::clamp(slope + static_cast<int>(noise() % 64) * limit / 256 - limit / 8, 0, limit);
}

const CKind kKinds[] = {
    {"24 bits",
     [] {
         CNoise noise(1);
         return Picture24(kWidth, kHeight, [&](int x, int y) {
             const auto channel = [&] { return static_cast<uint8_t>(Ramp(noise, x, y, 255)); };
             const uint8_t blue = channel(), green = channel();
             return std::array<uint8_t, 3>{blue, green, channel()};
         });
     }},
    {"8-bit gray",
     [] {
         CNoise noise(2);
         return PicturePalette(8, kWidth, kHeight, [&](int x, int y) {
             return static_cast<uint8_t>(Ramp(noise, x, y, 255));
         });
     }},
    {"4-bit palette",
     [] {
         CNoise noise(3);
         auto image = PicturePalette(4, kWidth, kHeight, [&](int x, int y) {
             return static_cast<uint8_t>(Ramp(noise, x, y, 15));
         });
         for (CRGBQuad& entry : image->bitmapInfo.Palette()) {
             const uint8_t blue = noise.Byte(), green = noise.Byte();
             entry = {blue, green, noise.Byte(), 0};
         }
         return image;
     }},
    {"48 bits",
     [] {
         CNoise noise(4);
         return Picture16(3, kWidth, kHeight, [&](int x, int y, int) {
             return static_cast<uint16_t>(Ramp(noise, x, y, 65535) ^ (noise.Byte() & 127));
         });
     }},
    {"16-bit gray",
     [] {
         CNoise noise(5);
         return Picture16(1, kWidth, kHeight, [&](int x, int y, int) {
             return static_cast<uint16_t>(Ramp(noise, x, y, 65535) ^ (noise.Byte() & 127));
         });
     }},
};

struct CSelection {
    const char* name;
    void (*select)(HKESTRSESSION);
};
const CSelection kSelections[] = {
    {"", [](HKESTRSESSION) {}},
    {", feathered", [](HKESTRSESSION session) { cSetOpRectangle(session, 7, 4, 44, 27, 6); }},
};

struct COperationCase {
    const char* name;
    void (*run)(HKESTRSESSION);
};

/// The same three levels for each channel, in the units of the picture's deeper store.
void AdjustLevels(HKESTRSESSION session, uint32_t low, uint32_t mid, uint32_t high) {
    const uint32_t unit = FromHandle(session)->image->Has16Bit() ? 256 : 1;
    const uint32_t levels[] = {low * unit, mid * unit, high * unit};
    cOpAdjustLevels(session, levels[0], levels[1], levels[2], levels[0], levels[1], levels[2],
                    levels[0], levels[1] + 9 * unit, levels[2]);
}

const COperationCase kOperations[] = {
    {"brightness 35", [](HKESTRSESSION session) { cOpBrightness(session, 35); }},
    {"brightness -40", [](HKESTRSESSION session) { cOpBrightness(session, -40); }},
    {"contrast 45", [](HKESTRSESSION session) { cOpContrast(session, 45); }},
    {"contrast -30", [](HKESTRSESSION session) { cOpContrast(session, -30); }},
    {"negative", [](HKESTRSESSION session) { cOpNegative(session); }},
    {"rgb 20 -15 60", [](HKESTRSESSION session) { cOpRGBAdjust(session, 20, -15, 60); }},
    {"hsv 30 40 -10", [](HKESTRSESSION session) { cOpHSVAdjust(session, 30, 40, -10); }},
    {"hsv -25 -50 25", [](HKESTRSESSION session) { cOpHSVAdjust(session, -25, -50, 25); }},
    {"gray scale", [](HKESTRSESSION session) { cOpGrayScale(session); }},
    {"gamma 1.7", [](HKESTRSESSION session) { cOpGammaAdjust(session, 1.7); }},
    {"gamma 0.45", [](HKESTRSESSION session) { cOpGammaAdjust(session, 0.45); }},
    {"power curve 2", [](HKESTRSESSION session) { cOpAdjustToPwrCurve(session, 2); }},
    {"levels 20 128 230", [](HKESTRSESSION session) { AdjustLevels(session, 20, 128, 230); }},
    {"levels 0 64 255", [](HKESTRSESSION session) { AdjustLevels(session, 0, 64, 255); }},
    {"gray point", [](HKESTRSESSION session) { cOpSetColorPoint(session, 1, 0x406080); }},
    {"black point", [](HKESTRSESSION session) { cOpSetColorPoint(session, 2, 0x102030); }},
    {"white point", [](HKESTRSESSION session) { cOpSetColorPoint(session, 3, 0xD0E0C0); }},
    {"pixel", [](HKESTRSESSION session) { cOpSetPixelColor(session, 9, 8, 200, 100, 50); }},
    {"red-eye", [](HKESTRSESSION session) { cOpRemoveRedEye(session, 10, 20, 30); }},
    {"auto levels 0.2", [](HKESTRSESSION session) { cOpAutoLevelEx(session, 0.2); }},
    {"auto contrast 0.2", [](HKESTRSESSION session) { cOpAutoContrastEx(session, 0.2); }},
};

/// Every operation on every kind of picture under every selection.
std::vector<CFingerprintCase> ToneCases() {
    std::vector<CFingerprintCase> cases;
    for (const CKind& kind : kKinds) {
        for (const CSelection& selection : kSelections) {
            for (const COperationCase& operation : kOperations) {
                cases.push_back(
                    {std::string("tone ") + operation.name + " on " + kind.name + selection.name,
                     [&](CHandle& handle) {
                         FromHandle(handle)->image = kind.make();
                         selection.select(handle);
                         operation.run(handle);
                     }});
            }
        }
    }
    return cases;
}

const CFingerprints kCases(ToneCases());

}  // namespace
}  // namespace kestr::test
