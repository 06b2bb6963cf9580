// kestr histogram: how often each level occurs, as numbers or as a picture of four curves.
#include <cstdio>
#include <fstream>
#include <string>
#include <vector>

#include "command.h"
#include "curves.h"
#include "progress.h"
#include "session.h"
#include "text.h"

namespace tool {
namespace {

constexpr int kWidth = 512;  // pixels of the drawing, two a level
constexpr int kHeight = 256;
constexpr int kPngType = 11;

void PrintTable(const CCurves& curves) {
    std::printf("level\tluminance\tred\tgreen\tblue\n");
    for (size_t i = 0; i < 256; ++i) {
        std::printf("%zu\t%u\t%u\t%u\t%u\n", i, curves[0].counts[i], curves[1].counts[i],
                    curves[2].counts[i], curves[3].counts[i]);
    }
}

bool WriteSvg(const std::filesystem::path& path, const CCurves& curves) {
    const CCurveScale scale(curves, kHeight);
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

bool WritePng(const std::filesystem::path& path, const CCurves& curves) {
    std::vector<uint8_t> pixels = DrawCurves(curves, kWidth, kHeight);
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
    const CCurves curves = CountLevels(session.Handle());
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
