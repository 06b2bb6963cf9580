// kestr meta: what a file says of its picture, in words or byte for byte.
#include <cstdio>
#include <fstream>
#include <optional>

#include "command.h"
#include "metadata_blocks.h"
#include "progress.h"
#include "scratch_file.h"
#include "session.h"
#include "text.h"

namespace tool {
namespace {

constexpr COption kOptions[] = {
    {"--exif", "", "the EXIF block"},
    {"--iptc", "", "the IPTC record"},
    {"--xmp", "", "the XMP packet"},
    {"--icc", "", "the colour profile"},
    {"-o", "OUT", "write the bytes of the one that is named there, rather than print it"},
};

constexpr std::string_view kBlocks[] = {"--exif", "--iptc", "--xmp", "--icc"};
constexpr const char* kNames[] = {"EXIF block", "IPTC record", "XMP packet", "colour profile"};
enum CBlock { kExif, kIptc, kXmp, kIcc };

/// EXIF and IPTC come byte for byte out of a JPEG file. Other formats spread them over tags of
/// their own: there they are what the library would write into a JPEG file.
Bytes FindBlock(const std::filesystem::path& path, const CFileInfo& info, CBlockKind kind) {
    if (info.IsJPEG()) {
        Bytes block = BlockInJPEG(ReadWhole(path), kind);
        if (!block.empty()) return block;
    }
    CSession session;
    CProgressBar progress("Reading");
    const CScratchFile scratch(".jpg");
    if (!session.LoadThumbnail(path, 64, 64) || !session.Save(scratch.path, 4, 0, progress)) {
        return {};
    }
    return BlockInJPEG(ReadWhole(scratch.path), kind);
}

Bytes BytesOf(const std::filesystem::path& path, const CFileInfo& info, CBlock block) {
    switch (block) {
        case kExif:
            return FindBlock(path, info, CBlockKind::kExif);
        case kIptc:
            return FindBlock(path, info, CBlockKind::kIptc);
        case kXmp:
            return QueryXmp(path);
        case kIcc:
            return QueryProfile(path).bytes;
    }
    return {};
}

ExitCode Extract(const std::filesystem::path& path, const CFileInfo& info, CBlock block,
                 const std::filesystem::path& target) {
    const Bytes bytes = BytesOf(path, info, block);
    if (bytes.empty()) {
        Complain(path, std::string("has no ") + kNames[block]);
        return kFailed;
    }
    std::ofstream out(target, std::ios::binary);
    out.write(reinterpret_cast<const char*>(bytes.data()),
              static_cast<std::streamsize>(bytes.size()));
    out.close();
    if (out) return kDone;
    Complain(target, "could not be written");
    return kFailed;
}

void Print(const char* title, const CLabelledTexts& texts) {
    if (texts.empty()) return;
    std::printf("%s\n", title);
    for (const auto& [label, value] : texts) {
        std::printf("  %s: %s\n", label.c_str(), value.c_str());
    }
}

void PrintPacket(const Bytes& packet) {
    std::fwrite(packet.data(), 1, packet.size(), stdout);
    if (!packet.empty()) std::puts("");
}

ExitCode PrintBlocks(const std::filesystem::path& path, const CFileInfo& info,
                     std::optional<CBlock> only) {
    const auto wanted = [&](CBlock block) { return !only || *only == block; };
    const Bytes packet = wanted(kXmp) ? QueryXmp(path) : Bytes();
    const CProfile profile = wanted(kIcc) ? QueryProfile(path) : CProfile();
    const bool exif = wanted(kExif) && !info.camera.empty();
    const bool iptc = wanted(kIptc) && !info.iptc.empty();
    if (exif) Print("EXIF", info.camera);
    if (iptc) Print("IPTC", info.iptc);
    if (!packet.empty()) {
        if (!only) std::printf("XMP\n");
        PrintPacket(packet);
    }
    if (!profile.bytes.empty()) {
        std::printf("Colour profile\n  %s, %u bytes\n", profile.name.c_str(),
                    static_cast<unsigned>(profile.bytes.size()));
    }
    if (exif || iptc || !packet.empty() || !profile.bytes.empty() || !only) return kDone;
    Complain(path, std::string("has no ") + kNames[*only]);
    return kFailed;
}

ExitCode RunMeta(const CCommandLine& line) {
    std::optional<CBlock> only;
    int named = 0;
    for (size_t i = 0; i < std::size(kBlocks); ++i) {
        if (!line.Has(kBlocks[i])) continue;
        only = static_cast<CBlock>(i);
        ++named;
    }
    const auto output = line.Value("-o");
    if (line.files.size() != 1 || named > 1 || (output && named == 0)) {
        Complain(line.files.size() != 1 ? "meta needs one file"
                                        : "-o goes with one of --exif, --iptc, --xmp and --icc");
        return kUsage;
    }
    const std::filesystem::path& path = line.files[0];
    std::string error;
    const auto info = QueryFile(path, 0, error);
    if (!info) {
        Complain(path, error);
        return kFailed;
    }
    return output ? Extract(path, *info, *only, *output) : PrintBlocks(path, *info, only);
}

}  // namespace

const CCommand kMetaCommand{"meta", "[OPTIONS] FILE",
                            "Tell what a file says of its picture, or take it out of the file",
                            kOptions, &RunMeta};

}  // namespace tool
