// kestr histogram: how often each level occurs, as numbers or as a picture of four curves.
#include <algorithm>
#include <array>
#include <cstdio>
#include <fstream>
#include <string>
#include <vector>

#include "command.h"
#include "progress.h"
#include "session.h"
#include "text.h"

namespace tool {
namespace {

constexpr int kWidth = 512;  // pixels of the drawing, two a level
constexpr int kHeight = 256;
constexpr int kPngType = 11;

using CTable = std::array<uint32_t, 256>;

struct CCurve {
    const char* name;
    const char* svgColour;
    std::array<uint8_t, 3> bgr;
    CTable counts{};
};

using CCurves = std::array<CCurve, 4>;

CCurves Count(HKESTRSESSION session) {
    CCurves curves{{{"luminance", "#404040", {64, 64, 64}},
                    {"red", "#d02020", {32, 32, 208}},
                    {"green", "#209020", {32, 144, 32}},
                    {"blue", "#2040d0", {208, 64, 32}}}};
    cGetImageHistogram(session, curves[0].counts.data(), curves[1].counts.data(),
                       curves[2].counts.data(), curves[3].counts.data(), 1);
    return curves;
}

// The height of a count. The tallest fill the drawing; the ends, where clipped pixels gather, may
// be cut off by it.
class CScale {
public:
    explicit CScale(const CCurves& curves) {
        for (const CCurve& curve : curves) {
            const auto inner = std::max_element(curve.counts.begin() + 1, curve.counts.end() - 1);
            m_most = std::max(m_most, *inner);
        }
        if (m_most > 0) return;
        for (const CCurve& curve : curves)
            m_most = std::max(m_most, *std::ranges::max_element(curve.counts));
    }
    [[nodiscard]] int Height(uint32_t count) const {
        const uint64_t most = std::max(m_most, 1u);
        return static_cast<int>(
            std::min<uint64_t>(uint64_t{count} * (kHeight - 1) / most, kHeight - 1));
    }

private:
    uint32_t m_most = 0;
};

void PrintTable(const CCurves& curves) {
    std::printf("level\tluminance\tred\tgreen\tblue\n");
    for (size_t i = 0; i < 256; ++i) {
        std::printf("%zu\t%u\t%u\t%u\t%u\n", i, curves[0].counts[i], curves[1].counts[i],
                    curves[2].counts[i], curves[3].counts[i]);
    }
}

bool WriteSvg(const std::filesystem::path& path, const CCurves& curves) {
    const CScale scale(curves);
    std::ofstream out(path, std::ios::binary);
    out << "<svg xmlns=\"http://www.w3.org/2000/svg\" viewBox=\"0 0 " << kWidth << " " << kHeight
        << "\">\n<rect width=\"100%\" height=\"100%\" fill=\"white\"/>\n";
    for (const CCurve& curve : curves) {
        out << "<polyline fill=\"none\" stroke=\"" << curve.svgColour << "\" points=\"";
        for (size_t i = 0; i < 256; ++i) {
            out << 2 * i << "," << kHeight - 1 - scale.Height(curve.counts[i]) << " ";
        }
        out << "\"><title>" << curve.name << "</title></polyline>\n";
    }
    out << "</svg>\n";
    return out.flush().good();
}

// Each curve as steps two pixels wide; where they meet, the later one hides the earlier.
std::vector<uint8_t> Draw(const CCurves& curves) {
    const CScale scale(curves);
    std::vector<uint8_t> pixels(size_t{kWidth} * kHeight * 3, 255);
    for (const CCurve& curve : curves) {
        int before = scale.Height(curve.counts[0]);
        for (int x = 0; x < kWidth; ++x) {
            const int height = scale.Height(curve.counts[static_cast<size_t>(x / 2)]);
            for (int y = std::min(before, height); y <= std::max(before, height); ++y) {
                const auto pixel = static_cast<size_t>((kHeight - 1 - y) * kWidth + x);
                std::ranges::copy(curve.bgr, pixels.begin() + static_cast<ptrdiff_t>(3 * pixel));
            }
            before = height;
        }
    }
    return pixels;
}

bool WritePng(const std::filesystem::path& path, const CCurves& curves) {
    std::vector<uint8_t> pixels = Draw(curves);
    CSession picture;
    if (cLoadImage8(picture.Handle(), pixels.data(), static_cast<uint32_t>(pixels.size()), kWidth,
                    kHeight, 0, nullptr, 0) == 0) {
        return false;
    }
    CProgressBar progress("Saving");
    return picture.Save(path, kPngType, 0, progress);
}

ExitCode RunHistogram(const CCommandLine& line) {
    if (line.files.size() != 1) {
        Complain("histogram needs one file");
        return kUsage;
    }
    // As it was given, since a path may hold what text cannot.
    const auto output = line.Value("-o");
    const std::filesystem::path path =
        output ? std::filesystem::path(std::u8string(output->begin(), output->end()))
               : std::filesystem::path();
    const auto extension = path.extension();
    if (output && extension != ".svg" && extension != ".png") {
        Complain("-o takes a file name that ends in .svg or .png");
        return kUsage;
    }
    CSession session;
    bool loaded = false;
    {
        CProgressBar progress("Loading");
        loaded = session.Load(line.files[0], 0, progress);
    }
    if (!loaded) {
        std::string error;
        if (QueryFile(line.files[0], 0, error)) error = "the picture could not be loaded";
        Complain(line.files[0], error);
        return kFailed;
    }
    const CCurves curves = Count(session.Handle());
    if (!output) {
        PrintTable(curves);
    } else if (!(extension == ".svg" ? WriteSvg(path, curves) : WritePng(path, curves))) {
        Complain(path, "cannot be written");
        return kFailed;
    }
    return session.IsDamaged() ? kDamaged : kDone;
}

constexpr COption kOptions[] = {
    {"-o", "FILE", "draw the curves into a .svg or .png instead of printing numbers"},
};

}  // namespace

const CCommand kHistogramCommand{"histogram", "[-o OUT.svg|OUT.png] FILE",
                                 "Count the levels of luminance, red, green and blue", kOptions,
                                 &RunHistogram};

}  // namespace tool
