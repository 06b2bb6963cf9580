#include "image/rotate_file.h"

#include <algorithm>
#include <array>
#include <memory>
#include <optional>
#include <vector>

#include "base/messages.h"
#include "image/image_bits.h"
#include "image/lossless_turn.h"
#include "metadata/jpeg_segments.h"
#include "platform/code_page.h"
#include "platform/files.h"
#include "platform/mapped_file.h"
#include "readers/reader_factory.h"
#include "readers/type_ids.h"

namespace kestr {
namespace {

constexpr char kLoadFailed[] = "Failed to load input file: ";
constexpr char kBadOp[] = "Invalid RotateOp parameter.";
constexpr char kMultipage[] = "Cannot rotate multipage image.";
constexpr char kTurnFailed[] = "JPEG rotation failure.";
constexpr char kRenameFailed[] = "File rename operation failed.";
constexpr char kCopyFailed[] = "File copy operation failed.";

constexpr uint32_t kOps = 4;
constexpr uint32_t kWhite = 0xFFFFFF;

// Types that are decoded, turned and written anew. TIFF files in JPEG or LZW form (23, 24) are left
// alone on purpose.
constexpr auto kDecodedTypes = std::to_array<CTypeId>({kTypeBMPRunLength,
                                                       kTypeBMPFieldMapped,
                                                       kTypeBMP,
                                                       kTypeDCX,
                                                       kTypePBM,
                                                       kTypePCX,
                                                       kTypePGM,
                                                       kTypePNG,
                                                       kTypePNGInterlaced,
                                                       kTypePPM,
                                                       kTypeSGI,
                                                       kTypeTarga,
                                                       kTypeTargaRunLength,
                                                       kTypeTIFF,
                                                       kTypeTIFFHuffman,
                                                       kTypeTIFFGroup3,
                                                       kTypeTIFFGroup4,
                                                       kTypeTIFFWordAligned,
                                                       kTypeTIFFPackBits,
                                                       kTypeTIFFMacintosh,
                                                       kTypeTIFFThunderScan,
                                                       kTypeSun,
                                                       kTypePICT,
                                                       kTypeIFF,
                                                       kTypeCALS,
                                                       kTypeWBMP,
                                                       kTypeXBM,
                                                       kTypeXPM,
                                                       kTypeXWD,
                                                       kTypeTIFFZip,
                                                       kTypeGIF,
                                                       kTypeGIFInterlaced});
static_assert(kDecodedTypes.size() == 32);

/// At most two turns, one after the other; none is a plain copy.
struct CTurns {
    std::optional<CTurn> first;
    std::optional<CTurn> second;
};

/// Stored orientation and wanted turn folded together. Rows: orientations 2 to 8; columns: turns.
constexpr CTurns Folded(uint16_t orientation, CTurn turn) {
    using enum CTurn;
    constexpr std::array<std::array<CTurns, kOps>, 7> kTable{{
        {{{kMirror, kClockwise}, {kMirror, kAnticlockwise}, {kMirror, kHalf}, {}}},
        {{{kAnticlockwise, {}}, {kClockwise, {}}, {}, {kHalf, kMirror}}},
        {{{kAnticlockwise, kMirrorUpDown},
          {kClockwise, kMirrorUpDown},
          {kMirror, {}},
          {kHalf, {}}}},
        {{{kMirrorUpDown, {}}, {kMirror, {}}, {kMirrorUpDown, {}}, {kAnticlockwise, {}}}},
        {{{kHalf, {}}, {}, {kAnticlockwise, {}}, {kClockwise, kMirror}}},
        {{{kMirror, {}}, {kMirrorUpDown, {}}, {kClockwise, kMirrorUpDown}, {kClockwise, {}}}},
        {{{}, {kHalf, {}}, {kClockwise, {}}, {kAnticlockwise, kMirror}}},
    }};
    return kTable[orientation - 2u][static_cast<uint32_t>(turn)];
}

using Path = std::basic_string<KESTR_CHAR>;

/// A file that is gone at the end, if it came to be.
class CTemporaryPath {
public:
    explicit CTemporaryPath(Path path) : m_path(std::move(path)) {}
    ~CTemporaryPath() { RemoveFile(m_path.c_str()); }
    CTemporaryPath(const CTemporaryPath&) = delete;
    CTemporaryPath& operator=(const CTemporaryPath&) = delete;

    [[nodiscard]] const KESTR_CHAR* Get() const { return m_path.c_str(); }
    /// Another one beside it. A dot alone would not do: Windows drops it from the end of a name.
    [[nodiscard]] CTemporaryPath Second() const {
        return CTemporaryPath(m_path + PathToWide(".2"));
    }

private:
    Path m_path;
};

/// What the header of the source says.
struct CSource {
    int32_t typeId = kTypeNone;
    int32_t pages = 1;
    std::unique_ptr<CEXIF_Members> exif;

    [[nodiscard]] uint16_t Orientation() const { return exif ? exif->Orientation.value_or(1) : 1; }
};

std::optional<CSource> ReadSource(const KESTR_CHAR* path, std::string& errorText) {
    errorText = Message(CanReadFile(path) ? message::kNoReader : message::kFileMissing);
    const auto reader = FindReader({.path = path, .headerOnly = true}, errorText);
    if (!reader) return std::nullopt;
    errorText.clear();
    return CSource{reader->m_typeId, std::max(reader->m_pageCount, 1), reader->TakeExif()};
}

bool TurnByDecoding(const CRotateRequest& request, int32_t typeId, const KESTR_CHAR* target,
                    std::string& errorText) {
    CImageBits image;
    if (!image.Load(request.source, 0, true, kWhite, nullptr, 0)) {
        errorText = kLoadFailed + image.errorText;
        return false;
    }
    switch (static_cast<CTurn>(request.op)) {
        case CTurn::kClockwise:
            image.TurnQuarters(90);
            break;
        case CTurn::kAnticlockwise:
            image.TurnQuarters(-90);
            break;
        case CTurn::kHalf:
            image.TurnQuarters(180);
            break;
        default:
            image.OpMirror(0);
            break;
    }
    if (!image.exif) image.exif = std::make_unique<CEXIF_Members>();
    image.exif->Orientation = uint16_t{1};
    if (image.Save(target, typeId, 0, true, true, false, nullptr)) return true;
    errorText = image.errorText;
    return false;
}

bool TurnWithoutLoss(const CRotateRequest& request, CSource& source, CLosslessTurn turn,
                     const CTemporaryPath& target, std::string& errorText) {
    const uint16_t orientation = source.Orientation();
    const bool fold = request.applyOrientation && orientation >= 2 && orientation <= 8;
    const auto op = static_cast<CTurn>(request.op);
    const CTurns turns = fold ? Folded(orientation, op) : CTurns{op, {}};
    bool turned = false;
    if (!turns.first) {
        turned = DuplicateFile(request.source, target.Get());
    } else if (!turns.second) {
        turned = turn(request.source, target.Get(), *turns.first, request.trim);
    } else {
        const CTemporaryPath between = target.Second();
        turned = turn(request.source, between.Get(), *turns.first, request.trim) &&
                 turn(between.Get(), target.Get(), *turns.second, request.trim);
    }
    if (!turned) {
        errorText = kTurnFailed;
        return false;
    }
    if (!request.resetOrientation || !source.exif) return true;
    source.exif->Orientation = uint16_t{1};
    const std::vector<uint8_t> block = source.exif->Serialise(true);
    if (block.empty()) return true;
    return MergeMarker(target.Get(), target.Get(),
                       {.data = block,
                        .markerToAdd = jpeg_marker::kAPP1,
                        .markerToDrop = jpeg_marker::kAPP1,
                        .dropExif = true},
                       errorText);
}

bool Place(const KESTR_CHAR* result, const CRotateRequest& request, std::string& errorText) {
    if (Path(request.source) != request.destination) {
        if (RenameFile(result, request.destination, true)) return true;
        errorText = kRenameFailed;
        return false;
    }
    CMappedFileImpl file;
    if (file.OpenRead(result) && OverwriteFile(request.destination, file.Bytes())) return true;
    errorText = kCopyFailed;
    return false;
}

}  // namespace

bool RotateImageFile(const CRotateRequest& request, std::string& errorText) {
    errorText.clear();
    std::optional<CSource> source = ReadSource(request.source, errorText);
    if (!source || request.destination == nullptr) {
        errorText = kLoadFailed + errorText;
        return false;
    }
    if (request.op >= kOps) {
        errorText = kBadOp;
        return false;
    }
    const CTemporaryPath temporary(Path(request.destination) + PathToWide(".tmp"));
    if (source->pages > 1) {
        errorText = kMultipage;
        return false;
    }
    const CLosslessTurn turn = FindLosslessTurn(source->typeId);
    bool turned = false;
    if (turn != nullptr) {
        turned = TurnWithoutLoss(request, *source, turn, temporary, errorText);
    } else if (std::ranges::find(kDecodedTypes, source->typeId) != kDecodedTypes.end()) {
        turned = TurnByDecoding(request, source->typeId, temporary.Get(), errorText);
    }
    return turned && Place(temporary.Get(), request, errorText);
}

}  // namespace kestr
