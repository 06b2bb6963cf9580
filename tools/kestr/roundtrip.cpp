// kestr roundtrip: what of a file's metadata comes through a load and a save in each format.
#include <algorithm>
#include <cstdio>
#include <set>
#include <vector>

#include "command.h"
#include "metadata_blocks.h"
#include "progress.h"
#include "scratch_file.h"
#include "session.h"
#include "system.h"
#include "text.h"

namespace tool {
namespace {

struct CTarget {
    const char* name;
    const char* extension;
    int typeId;
};
constexpr CTarget kTargets[] = {
    {"JPEG", ".jpg", 4},  {"progressive JPEG", ".jpg", 5},
    {"TIFF", ".tif", 18}, {"TIFF, ZIP", ".tif", 54},
    {"PNG", ".png", 11},  {"Photoshop", ".psd", 31},
};

/// The maker note of a JPEG's or TIFF's EXIF block, and where it lies from the block's start.
struct CMakerNote {
    Bytes bytes;
    size_t offset = 0;
};

struct CMetadata {
    std::set<std::string> lines;  // EXIF and the like, as the library words them
    std::string comment;
    Bytes xmp;
    Bytes profile;
    CMakerNote note;
};

/// Walks the directories of a TIFF structure for tag 37500.
class CNoteSearch {
public:
    explicit CNoteSearch(const uint8_t* data, size_t size) : m_data(data), m_size(size) {
        m_little = size > 1 && data[0] == 'I';
    }
    CMakerNote Find() const { return InDirectory(U32(4), 0); }

private:
    uint32_t U16(size_t at) const {
        if (at + 2 > m_size) return 0;
        return m_little ? m_data[at] | m_data[at + 1] << 8 : m_data[at] << 8 | m_data[at + 1];
    }
    uint32_t U32(size_t at) const {
        return m_little ? U16(at) | U16(at + 2) << 16 : U16(at) << 16 | U16(at + 2);
    }
    CMakerNote InDirectory(size_t start, int depth) const {
        for (size_t i = 0; i < U16(start) && depth < 2; ++i) {
            const size_t entry = start + 2 + 12 * i;
            if (U16(entry) == 34665) return InDirectory(U32(entry + 8), depth + 1);
            if (U16(entry) != 37500) continue;
            const size_t count = U32(entry + 4), offset = U32(entry + 8);
            if (count < 5 || offset > m_size || count > m_size - offset) continue;
            return {Bytes(m_data + offset, m_data + offset + count), offset};
        }
        return {};
    }

    const uint8_t* m_data;
    size_t m_size;
    bool m_little = false;
};

CMakerNote NoteOf(const std::filesystem::path& path) {
    const Bytes file = ReadWhole(path);
    const bool isTIFF = file.size() > 8 && (file[0] == 'I' || file[0] == 'M') && file[0] == file[1];
    const Bytes block = isTIFF ? file : BlockInJPEG(file, CBlockKind::kExif);
    return block.size() < 8 ? CMakerNote{} : CNoteSearch(block.data(), block.size()).Find();
}

void AddLines(const std::string& text, std::set<std::string>& lines) {
    for (size_t start = 0; start < text.size();) {
        const size_t end = std::min(text.find("\r\n", start), text.size());
        if (end > start) lines.insert(text.substr(start, end - start));
        start = end + 2;
    }
}

// What the loaded picture and its file say.
CMetadata MetadataOf(const CSession& session, const std::filesystem::path& path) {
    CMetadata metadata;
    std::string error;
    if (const auto info = QueryFile(path, 0, error)) AddLines(info->cameraInfo, metadata.lines);
    CIPTC_Members* iptc = nullptr;
    if (cGetImageIPTC_Info(session.Handle(), &iptc) != 0) {
        constexpr KESTR_CHAR kSeparator[] = {':', 0}, kLineEnd[] = {'\r', '\n', 0};
        CText text;
        cIPTC_GetAsString(iptc, kSeparator, kLineEnd, text.Out());
        AddLines(text.Utf8(), metadata.lines);
        cDestroyIPTC(iptc);
    }
    CText comment;
    cGetImageComments(session.Handle(), comment.Out());
    metadata.comment = comment.Utf8();
    SAFEARRAY* bytes = nullptr;
    cGetImageXmp(session.Handle(), &bytes);
    metadata.xmp = TakeBytes(bytes);
    cGetImageICCProfile(session.Handle(), &bytes);
    metadata.profile = TakeBytes(bytes);
    metadata.note = NoteOf(path);
    return metadata;
}

template <typename Value>
void PrintWhole(const char* what, const Value& before, const Value& after) {
    const char* const fate = before.empty()    ? after.empty() ? nullptr : "new"
                             : after.empty()   ? "lost"
                             : before == after ? "kept"
                                               : "changed";
    if (fate != nullptr) std::printf("    %s: %s\n", what, fate);
}

void PrintDifferences(const CMetadata& before, const CMetadata& after) {
    size_t kept = 0;
    for (const std::string& line : before.lines) kept += after.lines.count(line);
    std::printf("    EXIF and IPTC: %u of %u lines kept\n", static_cast<unsigned>(kept),
                static_cast<unsigned>(before.lines.size()));
    for (const std::string& line : before.lines) {
        if (!after.lines.contains(line)) std::printf("      - %s\n", line.c_str());
    }
    for (const std::string& line : after.lines) {
        if (!before.lines.contains(line)) std::printf("      + %s\n", line.c_str());
    }
    PrintWhole("Comment", before.comment, after.comment);
    PrintWhole("XMP packet", before.xmp, after.xmp);
    PrintWhole("Colour profile", before.profile, after.profile);
    PrintWhole("Maker note", before.note.bytes, after.note.bytes);
    if (!before.note.bytes.empty() && before.note.bytes == after.note.bytes) {
        std::printf("    Maker note's offset: %s\n",
                    before.note.offset == after.note.offset ? "kept" : "changed");
    }
}

ExitCode RunRoundtrip(const CCommandLine& line) {
    if (line.files.empty()) {
        Complain("roundtrip needs a file");
        return kUsage;
    }
    ExitCode result = kDone;
    for (const std::filesystem::path& path : line.files) {
        CProgressBar progress("Working");
        CSession session;
        if (!session.Load(path, 0, progress)) {
            Complain(path, "the picture could not be loaded");
            result = kFailed;
            continue;
        }
        const CMetadata before = MetadataOf(session, path);
        std::printf("%s\n", Display(path).c_str());
        for (const CTarget& target : kTargets) {
            const CScratchFile scratch(target.extension);
            CSession again;
            const bool done = session.Save(scratch.path, target.typeId, 0, progress) &&
                              again.Load(scratch.path, 0, progress);
            std::printf("  %s%s\n", target.name, done ? "" : ": cannot hold this picture");
            if (done) PrintDifferences(before, MetadataOf(again, scratch.path));
        }
    }
    return result;
}

}  // namespace

const CCommand kRoundtripCommand{
    "roundtrip",
    "FILE...",
    "Save in each format that holds metadata and tell what comes through",
    {},
    &RunRoundtrip};

}  // namespace tool
