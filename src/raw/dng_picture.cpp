// Tags and their defaults: Adobe's "Digital Negative (DNG) Specification", 1.1.0.0.

#include "raw/dng_picture.h"

#include <algorithm>
#include <cmath>

#include "base/byte_cursor.h"
#include "base/picture_size.h"
#include "raw/raw_sensor_image.h"

namespace kestr {
namespace {

namespace tag {
constexpr uint16_t kTileWidth = 322;
constexpr uint16_t kTileLength = 323;
constexpr uint16_t kTileOffsets = 324;
constexpr uint16_t kTileByteCounts = 325;
constexpr uint16_t kCFAPlaneColor = 50710;
constexpr uint16_t kCFALayout = 50711;
constexpr uint16_t kLinearizationTable = 50712;
constexpr uint16_t kBlackLevel = 50714;
constexpr uint16_t kBlackLevelDeltaH = 50715;
constexpr uint16_t kBlackLevelDeltaV = 50716;
constexpr uint16_t kWhiteLevel = 50717;
constexpr uint16_t kDefaultScale = 50718;
constexpr uint16_t kDefaultCropOrigin = 50719;
constexpr uint16_t kDefaultCropSize = 50720;
constexpr uint16_t kColorMatrix1 = 50721;
constexpr uint16_t kColorMatrix2 = 50722;
constexpr uint16_t kCameraCalibration1 = 50723;
constexpr uint16_t kReductionMatrix1 = 50725;
constexpr uint16_t kAnalogBalance = 50727;
constexpr uint16_t kAsShotNeutral = 50728;
constexpr uint16_t kBestQualityScale = 50780;
}  // namespace tag

constexpr uint16_t kMosaic = 32803;
constexpr uint16_t kStaggered = 2;
constexpr uint32_t kUncompressed = 1;
constexpr uint32_t kLosslessJPEG = 7;
constexpr uint32_t kUntoldEdge = 3;  // rows and columns cut off at each edge when no crop is told
constexpr uint32_t kFirstWithout16Bits = 0x01010000;  // DNGVersion
// Kelvin of the two matrices' lights; the file's own are not looked at.
constexpr uint16_t kIlluminant1 = 2850;
constexpr uint16_t kIlluminant2 = 6500;
// No code of lossless JPEG is shorter than a bit.
constexpr uint64_t kMostSamplesPerByte = 8;
constexpr uint32_t kWidestTile = 4096;    // pixels, of a picture that is smaller
constexpr uint64_t kMostGridPixels = 8;   // of a diagonal buffer, for each that is recorded
constexpr uint64_t kMostEnlargement = 8;  // pixels of the picture for each of the crop

/// Numbers of any type that TIFF has for them.
std::vector<double> Reals(const CRawDirectory& directory, uint16_t tag) {
    const auto integers = directory.Longs(tag);
    if (integers.empty()) return directory.Rationals(tag);
    return {integers.begin(), integers.end()};
}

double FirstReal(const CRawDirectory& directory, uint16_t tag, double otherwise) {
    const auto values = Reals(directory, tag);
    return values.empty() ? otherwise : values[0];
}

/// Two of them as pixels.
std::optional<std::array<uint32_t, 2>> Pixels(const CRawDirectory& directory, uint16_t tag) {
    const auto values = Reals(directory, tag);
    if (values.size() < 2) return std::nullopt;
    const auto rounded = [](double value) {
        return static_cast<uint32_t>(std::clamp(value, 0.0, 4e9) + 0.5);
    };
    return std::array{rounded(values[0]), rounded(values[1])};
}

bool ReadTiles(const CRawDirectory& raw, CDNGData& data) {
    const auto width = raw.Long(tag::kTileWidth);
    const auto height = raw.Long(tag::kTileLength);
    data.offsets = raw.Longs(tag::kTileOffsets);
    if (width && height && !data.offsets.empty()) {
        data.tiled = true;
        data.tileWidth = *width;
        data.tileHeight = *height;
        data.lengths = raw.Longs(tag::kTileByteCounts);
    } else {
        data.tileWidth = data.width;
        data.tileHeight = raw.Long(raw_tag::kRowsPerStrip).value_or(data.height);
        data.offsets = raw.Longs(raw_tag::kStripOffsets);
        data.lengths = raw.Longs(raw_tag::kStripByteCounts);
    }
    return !data.offsets.empty() && data.tileWidth != 0 && data.tileHeight != 0 &&
           data.tileWidth <= std::max(data.width, kWidestTile);
}

/// Where the samples lie and how.
std::optional<CDNGData> ReadData(const CRawDirectory& raw, uint32_t version, bool bigEndian,
                                 uint64_t fileBytes) {
    CDNGData data;
    const auto size = raw.Size();
    if (!size || size->width == 0 || size->height == 0 || size->width > kMostPictureSide ||
        size->height > kMostPictureSide) {
        return std::nullopt;
    }
    data.width = size->width;
    data.height = size->height;
    data.bigEndian = bigEndian;
    const auto compression = raw.Long(raw_tag::kCompression);
    if (compression != kUncompressed && compression != kLosslessJPEG) return std::nullopt;
    data.compressed = compression == kLosslessJPEG;
    data.bitsBehind16 = version < kFirstWithout16Bits;
    data.bitsPerSample = raw.Short(raw_tag::kBitsPerSample).value_or(0);
    if (data.bitsPerSample != 8 && data.bitsPerSample != 12 && data.bitsPerSample != 16) {
        return std::nullopt;
    }
    data.linear = raw.Short(raw_tag::kPhotometric) != kMosaic;
    data.staggered = !data.linear && raw.Short(tag::kCFALayout) == kStaggered;
    data.samplesPerPixel = raw.Short(raw_tag::kSamplesPerPixel).value_or(1);
    const uint32_t samples = data.samplesPerPixel;
    if (samples != 1 && (!data.linear || (samples != 3 && samples != 4))) return std::nullopt;
    if (uint64_t{data.width} * data.height / kMostSamplesPerByte > fileBytes) return std::nullopt;
    if (!ReadTiles(raw, data)) return std::nullopt;
    data.linearization = raw.Shorts(tag::kLinearizationTable);
    return data;
}

bool ReadPattern(const CRawDirectory& raw, CDNGPicture& picture) {
    const auto repeat = raw.Shorts(raw_tag::kCFARepeat);
    if (repeat.size() != 2) return false;
    picture.repeat = {repeat[0], repeat[1]};
    picture.pattern = raw.Bytes(raw_tag::kCFAPattern);
    if (picture.pattern.empty() ||
        picture.pattern.size() < uint64_t{picture.repeat[0]} * picture.repeat[1] ||
        picture.repeat[0] == 0 || picture.repeat[1] == 0) {
        return false;
    }
    const auto colors = raw.Bytes(tag::kCFAPlaneColor);
    if (colors.size() == 4) std::copy_n(colors.begin(), 4, picture.planeColors.emplace().begin());
    const bool fourth = std::ranges::find(picture.pattern, uint8_t{kCyan}) != picture.pattern.end();
    picture.planes = fourth ? 4 : 3;
    if (!picture.data.staggered) return true;
    // A diagonal buffer has a pattern of its own, and is of three planes.
    constexpr size_t kLastUsed = 5;
    const CStaggeredGrid grid(picture.data);
    const uint64_t recorded = uint64_t{picture.data.width} * picture.data.height;
    if (fourth || picture.pattern.size() <= kLastUsed || grid.bufferWidth == 0 ||
        grid.bufferWidth > kMostGridPixels * recorded / grid.bufferHeight) {
        return false;
    }
    const auto& bytes = picture.pattern;
    picture.pattern = {bytes[1], bytes[0], bytes[4], bytes[5]};
    picture.repeat = {2, 2};
    return true;
}

void ReadLevels(const CRawDirectory& raw, CDNGPicture& picture) {
    const auto rounded = [](double value) { return std::floor(value + 0.5); };
    const double black = rounded(FirstReal(raw, tag::kBlackLevel, 0)) +
                         rounded(FirstReal(raw, tag::kBlackLevelDeltaV, 0)) +
                         rounded(FirstReal(raw, tag::kBlackLevelDeltaH, 0));
    picture.black = static_cast<uint16_t>(std::clamp(black, 0.0, 65535.0));
    const auto& table = picture.data.linearization;
    const double largest =
        table.empty() ? (1 << picture.data.bitsPerSample) - 1 : *std::ranges::max_element(table);
    const double white = rounded(FirstReal(raw, tag::kWhiteLevel, 0));
    picture.whiteStated = white >= 1;
    picture.white =
        static_cast<uint16_t>(std::clamp(picture.whiteStated ? white : largest, 1.0, 65535.0));
    if (picture.white <= picture.black) picture.black = 0;
}

bool ReadCrop(const CRawDirectory& raw, CDNGPicture& picture) {
    const uint32_t width = picture.data.width, height = picture.data.height;
    CRawBox& crop = picture.crop;
    const auto size = Pixels(raw, tag::kDefaultCropSize);
    const auto origin = Pixels(raw, tag::kDefaultCropOrigin);
    const uint32_t edge = size ? 0 : kUntoldEdge;
    if (width <= 2 * edge || height <= 2 * edge) return false;
    crop.x = origin ? (*origin)[0] : edge;
    crop.y = origin ? (*origin)[1] : edge;
    if (crop.x >= width || crop.y >= height) return false;
    crop.width = std::min(size ? (*size)[0] : width - 2 * edge, width - crop.x);
    crop.height = std::min(size ? (*size)[1] : height - 2 * edge, height - crop.y);
    if (crop.width == 0 || crop.height == 0) return false;

    picture.pictureWidth = crop.width;
    picture.pictureHeight = crop.height;
    const auto scale = Reals(raw, tag::kDefaultScale);
    if (scale.size() < 2) return true;
    const double best = FirstReal(raw, tag::kBestQualityScale, 1);
    const double scaledWidth = std::floor(crop.width * scale[0] * best + 0.5);
    const double scaledHeight = std::floor(crop.height * scale[1] * best + 0.5);
    const double most = static_cast<double>(kMostEnlargement) * crop.width * crop.height;
    if (scaledWidth >= 1 && scaledHeight >= 1 && scaledWidth <= kMostPictureSide &&
        scaledHeight <= kMostPictureSide && scaledWidth * scaledHeight <= most) {
        picture.pictureWidth = static_cast<uint32_t>(scaledWidth);
        picture.pictureHeight = static_cast<uint32_t>(scaledHeight);
    }
    return true;
}

void ReadColors(const CRawDirectory& first, CDNGPicture& picture) {
    if (picture.IsGray()) return;
    CameraColorData& color = picture.color;
    color.colorMatrix1 = first.Rationals(tag::kColorMatrix1);
    if (color.colorMatrix1.size() != 9 && color.colorMatrix1.size() != 12) {
        color.colorMatrix1.clear();
        return;
    }
    color.colorMatrix2 = first.Rationals(tag::kColorMatrix2);
    color.illuminant1 = kIlluminant1;
    color.illuminant2 = kIlluminant2;
    if (color.colorMatrix2.size() != color.colorMatrix1.size()) {
        color.colorMatrix2 = color.colorMatrix1;
        color.illuminant2 = kIlluminant1;
    }
    for (uint16_t i = 0; i < 2; ++i) {
        color.calibration[i] = first.Rationals(static_cast<uint16_t>(tag::kCameraCalibration1 + i));
        color.reduction[i] = first.Rationals(static_cast<uint16_t>(tag::kReductionMatrix1 + i));
    }
    picture.analogBalance = first.Rationals(tag::kAnalogBalance);
    picture.neutral = Reals(first, tag::kAsShotNeutral);
    if (std::ranges::any_of(picture.neutral, [](double value) { return value <= 0; })) {
        picture.neutral.clear();
    }
    if (picture.neutral.size() == 3 && picture.BufferColors() == 4) picture.neutral.push_back(1.0);
}

}  // namespace

std::optional<uint32_t> DNGVersion(const CRawDirectory& first) {
    const auto bytes = first.Bytes(dng_tag::kVersion);
    if (bytes.size() < 4) return std::nullopt;
    return LoadNumber<uint32_t, std::endian::big>(bytes.data());
}

std::optional<CDNGPicture> ReadDNGPicture(const CRawDirectory& first, const CRawDirectory& raw,
                                          bool bigEndian, uint64_t fileBytes) {
    const auto version = DNGVersion(first);
    if (!version) return std::nullopt;
    auto data = ReadData(raw, *version, bigEndian, fileBytes);
    if (!data) return std::nullopt;
    CDNGPicture picture;
    picture.data = std::move(*data);
    picture.planes = picture.data.samplesPerPixel;
    if (!picture.data.linear && !ReadPattern(raw, picture)) return std::nullopt;
    ReadLevels(raw, picture);
    if (!ReadCrop(raw, picture)) return std::nullopt;
    ReadColors(first, picture);
    // Nothing is known of how four planes become three by matrices for three.
    if (picture.planes > picture.BufferColors()) return std::nullopt;
    return picture;
}

}  // namespace kestr
