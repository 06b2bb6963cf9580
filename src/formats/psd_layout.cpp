#include "formats/psd_layout.h"

#include <algorithm>

#include "base/byte_cursor.h"
#include "base/inflate.h"
#include "formats/pack_bits.h"
#include "platform/vector_clones.h"

namespace kestr {
namespace {

constexpr uint32_t kFileSignature = 0x38425053;   // "8BPS"
constexpr uint32_t kBlockSignature = 0x3842494D;  // "8BIM"
constexpr uint32_t kNormalMode = 0x6E6F726D;      // "norm"
constexpr int kMostLayers = 500;
constexpr uint64_t kUnzippedForAny = 1 << 20;  // bytes of a channel
constexpr uint16_t kMostChannels = 24;
constexpr uint16_t kPackBits = 1;
constexpr uint16_t kZip = 2;
constexpr uint16_t kZipPredicted = 3;  // each sample as its difference from the one to its left

struct CStatedChannel {
    int16_t id = 0;
    uint32_t length = 0;
};

/// A record of the table without the data of its channels, whose lengths go to `stated`.
bool ParseRecord(CBigEndianCursor& in, CPSDLayer& layer, std::vector<CStatedChannel>& stated) {
    layer.top = in.I32();
    layer.left = in.I32();
    layer.bottom = in.I32();
    layer.right = in.I32();
    const uint16_t channels = in.U16();
    if (channels > kMostChannels) return false;
    for (uint16_t i = 0; i < channels; ++i) {
        const int16_t id = in.I16();
        stated.push_back({id, in.U32()});
    }
    if (in.U32() != kBlockSignature) return false;
    layer.skip = in.U32() != kNormalMode;
    layer.opacity = in.U8();
    in.U8();  // clipping
    layer.flags = in.U8();
    in.U8();  // filler
    const auto extra = in.Bytes(in.U32());
    if (CBigEndianCursor(extra).U32() != 0) layer.skip = true;  // a layer mask
    return in.Ok();
}

/// Unpacked rows of a channel; none when they are damaged or more than `limit` bytes.
std::vector<uint8_t> UnzipRows(std::span<const uint8_t> data, uint64_t width, size_t limit,
                               bool predicted) {
    std::vector<uint8_t> samples = Inflate(data, limit).value_or(std::vector<uint8_t>());
    for (size_t row = 0; predicted && row < samples.size(); row += width) {
        const size_t end = std::min<size_t>(samples.size(), row + width);
        for (size_t i = row + 1; i < end; ++i) {
            samples[i] = static_cast<uint8_t>(samples[i] + samples[i - 1]);
        }
    }
    return samples;
}

/// The samples of a layer's channel, read from its first row on. `unpacked` takes those that have
/// to be unpacked as a whole, at most `limit` bytes.
CPlaneStream StreamOf(const CPSDChannel& channel, uint64_t width, uint64_t rows, size_t limit,
                      std::vector<uint8_t>& unpacked) {
    const uint16_t compression = CBigEndianCursor(channel.data).U16();
    if (compression == kZip || compression == kZipPredicted) {
        unpacked = UnzipRows(SubRange(channel.data, 2), width, limit, compression == kZipPredicted);
        return {unpacked, false};
    }
    const bool packed = compression == kPackBits;
    // The lengths of the packed rows are passed over.
    return {SubRange(channel.data, packed ? 2 + 2 * rows : 2), packed};
}

/// dst = src - (src - dst) * (255 - a) / 255, truncating toward zero.
KESTR_VECTOR_CLONES
void BlendRow(const uint8_t* source, const uint8_t* alpha, size_t count, uint8_t* destination) {
    for (size_t x = 0; x < count; ++x) {
        const int src = source[x];
        const int through = 255 - alpha[x];
        destination[x] = static_cast<uint8_t>(src - (src - destination[x]) * through / 255);
    }
}

/// Lowers the levels of a transparency by a layer's opacity, truncating.
KESTR_VECTOR_CLONES
void ApplyOpacity(const uint8_t* levels, uint8_t opacity, size_t count, uint8_t* alpha) {
    for (size_t x = 0; x < count; ++x) alpha[x] = static_cast<uint8_t>(opacity * levels[x] / 255);
}

}  // namespace

std::optional<CPSDHeader> ParsePSDHeader(std::span<const uint8_t> file) {
    CBigEndianCursor in(file);
    if (in.U32() != kFileSignature || in.U16() != 1) return std::nullopt;
    in.Skip(6);
    CPSDHeader header;
    header.channels = in.U16();
    header.height = in.U32();
    header.width = in.U32();
    header.depth = in.U16();
    header.mode = in.U16();
    return in.Ok() ? std::optional(header) : std::nullopt;
}

CPSDSection ParsePSDSection(std::span<const uint8_t> file, uint64_t offset) {
    CPSDSection section;
    section.length = CBigEndianCursor(SubRange(file, offset, 4)).U32();
    section.dataStart = static_cast<size_t>(std::min<uint64_t>(offset + 4, file.size()));
    section.data = SubRange(file, offset + 4, section.length);
    section.end = offset + 4 + section.length;
    return section;
}

std::optional<std::vector<CPSDLayer>> ParsePSDLayers(std::span<const uint8_t> section) {
    CBigEndianCursor in(section);
    std::vector<CPSDLayer> layers;
    if (in.U32() == 0) return layers;  // the length of the layers' part
    // Negative when the first extra channel of the picture is its transparency.
    const int count = in.I16();
    const int layerCount = count < 0 ? -count : count;
    if (!in.Ok() || layerCount > kMostLayers) return std::nullopt;
    layers.resize(static_cast<size_t>(layerCount));
    std::vector<std::vector<CStatedChannel>> stated(layers.size());
    for (size_t i = 0; i < layers.size(); ++i) {
        if (!ParseRecord(in, layers[i], stated[i])) return std::nullopt;
    }
    uint64_t at = in.Position();
    for (size_t i = 0; i < layers.size(); ++i) {
        for (const CStatedChannel& channel : stated[i]) {
            layers[i].channels.push_back({channel.id, SubRange(section, at, channel.length)});
            at += channel.length;
        }
    }
    return layers;
}

void ComposePSDLayer(const CPSDLayer& layer, const CPSDHeader& header, CPixelBytes& planes) {
    const int64_t layerWidth = int64_t{layer.right} - layer.left;
    const int64_t layerHeight = int64_t{layer.bottom} - layer.top;
    const int64_t left = std::max<int64_t>(layer.left, 0);
    const int64_t right = std::min<int64_t>(layer.right, header.width);
    const int64_t top = std::max<int64_t>(layer.top, 0);
    const int64_t bottom = std::min<int64_t>(layer.bottom, header.height);
    if (left >= right || top >= bottom) return;

    const auto count = static_cast<size_t>(right - left);
    const auto before = static_cast<uint64_t>(left - layer.left);
    const auto behind = static_cast<uint64_t>(layer.right - right);
    const auto rowsBefore = static_cast<uint64_t>(top - layer.top);
    // Of channels with the same id the last one counts; every id that is no plane's means the
    // transparency.
    std::array<CPlaneStream, 4> colours;
    std::array<bool, 4> has{};
    CPlaneStream transparency;
    bool isOpaque = true;
    std::vector<std::vector<uint8_t>> unpacked(layer.channels.size());
    // What a layer may hold unpacked: its own samples, unless they are far more than the picture's.
    const auto area = static_cast<uint64_t>(layerWidth) * static_cast<uint64_t>(layerHeight);
    const uint64_t most = kUnzippedForAny + 4 * uint64_t{header.width} * header.height;
    const size_t limit = area > most ? 0 : static_cast<size_t>(area);
    for (const CPSDChannel& channel : layer.channels) {
        const auto plane = static_cast<size_t>(channel.id);
        const bool isPlane = channel.id >= 0 && plane < header.Planes();
        CPlaneStream& stream = isPlane ? colours[plane] : transparency;
        stream =
            StreamOf(channel, static_cast<uint64_t>(layerWidth), static_cast<uint64_t>(layerHeight),
                     limit, unpacked[static_cast<size_t>(&channel - layer.channels.data())]);
        stream.Skip(rowsBefore * static_cast<uint64_t>(layerWidth));  // both are below 2^32
        if (isPlane) has[plane] = true;
        if (!isPlane) isOpaque = false;
    }
    std::vector<uint8_t> room(count);
    std::vector<uint8_t> alpha(count, layer.opacity);
    for (auto y = static_cast<size_t>(top); y < static_cast<size_t>(bottom); ++y) {
        const uint8_t* levels = alpha.data();
        // Rows that a cut file lost are not laid over what is there.
        if (!isOpaque) {
            if (transparency.Ended()) return;
            transparency.Skip(before);
            levels = transparency.Read(count, alpha.data());
            transparency.Skip(behind);
            if (layer.opacity < 255) {
                ApplyOpacity(levels, layer.opacity, count, alpha.data());
                levels = alpha.data();
            }
        }
        for (size_t plane = 0; plane < header.Planes(); ++plane) {
            if (!has[plane] || colours[plane].Ended()) continue;
            colours[plane].Skip(before);
            const uint8_t* const samples = colours[plane].Read(count, room.data());
            colours[plane].Skip(behind);
            BlendRow(samples, levels, count,
                     planes.data() + (plane * header.height + y) * header.width +
                         static_cast<size_t>(left));
        }
    }
}

}  // namespace kestr
