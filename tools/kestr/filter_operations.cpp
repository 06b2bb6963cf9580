// Operations of convert on the neighbourhood of pixels and on their number of colours.

#include "filter_operations.h"

#include <filesystem>
#include <fstream>
#include <sstream>
#include <string>
#include <vector>

#include <kestr/kestr.h>

namespace tool {
namespace {

bool diffuse = false;  // the errors of colour reductions

/// Calls `action` with the number that `value` must be.
template <typename Action>
bool WithNumber(const std::string& value, int smallest, int largest, std::string& error,
                Action action) {
    const auto number = ParseNumber(value, smallest, largest);
    if (!number) {
        error =
            "takes a number from " + std::to_string(smallest) + " to " + std::to_string(largest);
        return false;
    }
    return action(*number) != 0;
}

bool Sharpen(HKESTRSESSION session, const std::string& value, std::string& error) {
    return WithNumber(value, 0, 100, error, [session](int strength) {
        return cOpSharpen(session, static_cast<int16_t>(strength));
    });
}

bool Soften(HKESTRSESSION session, const std::string& value, std::string& error) {
    return WithNumber(value, 0, 100, error, [session](int strength) {
        return cOpSoften(session, static_cast<int16_t>(strength));
    });
}

constexpr int kMostRadius = 1000;

bool Median(HKESTRSESSION session, const std::string& value, std::string& error) {
    return WithNumber(value, 0, kMostRadius, error,
                      [session](int radius) { return cOpMedianFilter(session, radius); });
}

bool Denoise(HKESTRSESSION session, const std::string& value, std::string& error) {
    return WithNumber(value, 0, kMostRadius, error,
                      [session](int radius) { return cOpReduceNoise(session, radius); });
}

bool OilPaint(HKESTRSESSION session, const std::string& value, std::string& error) {
    return WithNumber(value, 0, kMostRadius, error, [session](int radius) {
        return cOpOilPaint(session, static_cast<int16_t>(radius));
    });
}

bool Neon(HKESTRSESSION session, const std::string&, std::string&) {
    return cOpNeon(session) != 0;
}

// A text file with a row of the matrix on each line; "bias R G B" may stand on a line of its own.
bool Convolve(HKESTRSESSION session, const std::string& value, std::string& error) {
    std::ifstream file(std::filesystem::path(std::u8string(value.begin(), value.end())));
    if (!file) {
        error = "takes a file, and cannot read " + value;
        return false;
    }
    std::vector<int16_t> matrix;
    size_t width = 0;
    size_t height = 0;
    uint16_t bias[3] = {};
    for (std::string line; std::getline(file, line);) {
        std::istringstream words(line);
        if (line.starts_with("bias")) {
            words.ignore(4);
            for (uint16_t& channel : bias) words >> channel;
        } else {
            size_t count = 0;
            for (int16_t weight = 0; words >> weight; ++count) matrix.push_back(weight);
            if (count == 0 && words.eof()) continue;  // an empty line
            if (width == 0) width = count;
            if (count != width) words.setstate(std::ios::badbit);
            ++height;
        }
        if (words.bad() || !words.eof()) {
            error = "takes a file with rows of whole numbers; this line is none: " + line;
            return false;
        }
    }
    if (width != height || width == 0 || width % 2 == 0 || width > 255) {
        error = "takes a file with as many rows as columns, an odd number below 256";
        return false;
    }
    const auto side = static_cast<int16_t>(width);
    return cOpConvolveEx(session, side, side, matrix.data(), bias[0], bias[1], bias[2]) != 0;
}

/// The bits of a palette that holds so many colours.
constexpr int16_t BitsFor(int colours) {
    return colours <= 2 ? 1 : colours <= 16 ? 4 : 8;
}

bool Colors(HKESTRSESSION session, const std::string& value, std::string& error) {
    return WithNumber(value, 2, 256, error, [session](int colours) {
        return cOpReduceColors(session, static_cast<int16_t>(colours), BitsFor(colours), diffuse);
    });
}

// The form of the call that takes the system's own kind of path; the other one stays unused.
[[maybe_unused]] int32_t Match(HKESTRSESSION session, const char* path) {
    return cOpMatchToPalette(session, path, diffuse);
}
[[maybe_unused]] int32_t Match(HKESTRSESSION session, const KESTR_CHAR* path) {
    return cOpMatchToPaletteW(session, path, diffuse);
}
bool Palette(HKESTRSESSION session, const std::string& value, std::string& error) {
    const std::filesystem::path path(std::u8string(value.begin(), value.end()));
    if (Match(session, path.c_str()) != 0) return true;
    error = "takes a palette file of up to 256 colours, and no more than the picture has";
    return false;
}

bool StandardPalette(HKESTRSESSION session, const std::string& value, std::string& error) {
    if (value != "4" && value != "8") {
        error = "takes 4 or 8 bits";
        return false;
    }
    return cOpMatchStandardPalette(session, value == "4" ? 4 : 8, diffuse) != 0;
}

constexpr COperation kOperations[] = {
    {{"--sharpen", "N", "sharpen, 0 to 100"}, &Sharpen},
    {{"--soften", "N", "soften, 0 to 100"}, &Soften},
    {{"--median", "R", "median of the pixels around, up to R away"}, &Median},
    {{"--denoise", "R", "the same for each channel, without extremes"}, &Denoise},
    {{"--convolve", "FILE", "convolve with the matrix of a text file, a row a line"}, &Convolve},
    {{"--oil", "R", "paint in oil, with brushes of radius R"}, &OilPaint},
    {{"--neon", "", "let edges glow"}, &Neon},
    {{"--colors", "N", "reduce to N colours, 2 to 256"}, &Colors},
    {{"--palette", "FILE", "reduce to the colours of a palette file"}, &Palette},
    {{"--standard-palette", "BITS", "reduce to the standard palette of 4 or 8 bits"},
     &StandardPalette},
};

}  // namespace

std::span<const COperation> FilterOperations() {
    return kOperations;
}

void SetDither(bool dither) {
    diffuse = dither;
}

}  // namespace tool
