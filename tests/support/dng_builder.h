#pragma once

#include <array>
#include <cmath>
#include <cstdint>
#include <functional>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "support/bit_writer.h"
#include "support/lossless_jpeg_builder.h"
#include "support/tiff_builder.h"

namespace kestr::test {

/// Builds DNG files. Every stated number can lie.
class CDNGBuilder {
public:
    using Bytes = std::vector<uint8_t>;
    using CEntry = CTIFFBuilder::CEntry;
    using Reals = std::vector<double>;
    using Numbers = std::vector<uint32_t>;

    bool bigEndian = false;
    std::optional<Bytes> version{{1, 1, 0, 0}};
    std::string make = "Kestr";
    std::string model = "Test";
    bool subDirectory = true;  // else all is in the first
    uint32_t width = 0;
    uint32_t height = 0;
    uint16_t bits = 16;
    uint32_t compression = 1;
    uint16_t photometric = 32803;
    uint16_t samplesPerPixel = 1;
    Bytes pattern{0, 1, 1, 2};
    Numbers repeat{2, 2};
    Bytes planeColors;
    uint16_t layout = 1;
    Numbers linearization;
    Reals black;
    Reals blackDeltaV, blackDeltaH;
    Numbers white;
    Numbers cropOrigin, cropSize;
    bool cropAsRationals = false;
    Reals scale, bestScale;
    Reals matrix1, matrix2, balance, neutral;
    std::array<Reals, 2> calibrations, reductions;
    uint32_t tileWidth = 0;  // 0 for strips
    uint32_t tileHeight = 0;
    uint32_t rowsPerStrip = 0;  // 0 for one strip
    std::vector<Bytes> tiles;   // or strips
    Bytes iptc;
    bool iptcAsLongs = false;
    Bytes preview;  // a last sub-directory
    uint32_t previewWidth = 0, previewHeight = 0;
    uint16_t previewCompression = 7, previewPhotometric = 6, previewSamples = 3;
    std::function<void(CTIFFBuilder&, std::vector<CEntry>&)> changeRaw, changeFirst;

    [[nodiscard]] uint32_t RowsPerTile() const {
        if (tileHeight != 0) return tileHeight;
        return rowsPerStrip != 0 ? rowsPerStrip : height;
    }
    [[nodiscard]] uint32_t ColumnsPerTile() const { return tileWidth != 0 ? tileWidth : width; }

    /// The samples of all tiles as they are before packing; the edges of a picture are repeated.
    std::vector<std::vector<uint16_t>> Cut(const std::vector<uint16_t>& samples) const {
        std::vector<std::vector<uint16_t>> all;
        for (uint32_t top = 0; top < height; top += RowsPerTile()) {
            for (uint32_t left = 0; left < width; left += ColumnsPerTile()) {
                std::vector<uint16_t>& one = all.emplace_back();
                const uint32_t bottom =
                    tileHeight != 0 ? top + tileHeight : std::min(height, top + RowsPerTile());
                for (uint32_t y = top; y < bottom; ++y) {
                    for (uint32_t x = left; x < left + ColumnsPerTile(); ++x) {
                        const size_t pixel =
                            size_t{std::min(y, height - 1)} * width + std::min(x, width - 1);
                        for (uint32_t c = 0; c < samplesPerPixel; ++c) {
                            one.push_back(samples[pixel * samplesPerPixel + c]);
                        }
                    }
                }
            }
        }
        return all;
    }
    CDNGBuilder& Plain(const std::vector<uint16_t>& samples) {
        tiles.clear();
        const size_t rowSamples = size_t{ColumnsPerTile()} * samplesPerPixel;
        for (const auto& cut : Cut(samples)) {
            CBitWriter out;
            for (size_t i = 0; i < cut.size(); ++i) {
                const bool swapped = bits == 16 && !bigEndian;
                out.Put(swapped ? uint16_t(cut[i] << 8 | cut[i] >> 8) : cut[i], bits);
                if (i % rowSamples == rowSamples - 1) out.Align(false);
            }
            tiles.push_back(out.bytes);
        }
        return *this;
    }
    /// As lossless JPEG of `components`, in rows `rowsToOne` times as long as those of the tile.
    CDNGBuilder& Compressed(const std::vector<uint16_t>& samples, CLosslessJPEGBuilder jpeg,
                            uint32_t rowsToOne = 1) {
        compression = 7;
        tiles.clear();
        for (const auto& cut : Cut(samples)) {
            const uint32_t rowSamples = ColumnsPerTile() * samplesPerPixel;
            jpeg.columns = rowSamples * rowsToOne / jpeg.components;
            jpeg.rows = uint32_t(cut.size()) / rowSamples / rowsToOne;
            tiles.push_back(jpeg.Encode(cut));
        }
        return *this;
    }

    Bytes File() const {
        CTIFFBuilder b(bigEndian, 0);
        std::vector<CEntry> raw;
        Long(b, raw, 254, {0});
        Long(b, raw, 256, {width});
        Long(b, raw, 257, {height});
        Short(b, raw, 258, Numbers(samplesPerPixel, bits));
        Short(b, raw, 259, {compression});
        Short(b, raw, 262, {photometric});
        Numbers at, lengths;
        for (const Bytes& tile : tiles) {
            at.push_back(b.Add(tile));
            lengths.push_back(uint32_t(tile.size()));
        }
        if (tileWidth == 0) Long(b, raw, 273, at);
        Short(b, raw, 277, {samplesPerPixel});
        if (tileWidth == 0) {
            if (rowsPerStrip != 0) Long(b, raw, 278, {rowsPerStrip});
            Long(b, raw, 279, lengths);
        } else {
            Long(b, raw, 322, {tileWidth});
            Long(b, raw, 323, {tileHeight});
            Long(b, raw, 324, at);
            Long(b, raw, 325, lengths);
        }
        if (photometric == 32803) {
            Short(b, raw, 33421, repeat);
            Byte(b, raw, 33422, pattern);
            Byte(b, raw, 50710, planeColors);
            Short(b, raw, 50711, {layout});
        }
        Short(b, raw, 50712, linearization);
        Rational(b, raw, 50714, black);
        Rational(b, raw, 50715, blackDeltaH);
        Rational(b, raw, 50716, blackDeltaV);
        Long(b, raw, 50717, white);
        Rational(b, raw, 50718, scale);
        Crop(b, raw, 50719, cropOrigin);
        Crop(b, raw, 50720, cropSize);
        Rational(b, raw, 50780, bestScale);
        if (changeRaw) changeRaw(b, raw);

        std::vector<CEntry> first;
        if (!subDirectory) first = raw;
        Text(b, first, 271, make);
        Text(b, first, 272, model);
        if (subDirectory) {
            Numbers children{b.Directory(raw)};
            if (!preview.empty()) children.push_back(AddPreview(b));
            Long(b, first, 330, children);
        }
        if (!iptc.empty()) {
            const auto type = iptcAsLongs ? 4u : 7u;
            const auto count = uint32_t(iptcAsLongs ? iptc.size() / 4 : iptc.size());
            first.push_back({33723, type, count, b.U32(b.Add(iptc))});
        }
        first.push_back({34665, 4, 1, b.U32(AddExif(b))});
        if (version) Byte(b, first, 50706, *version);
        Rational(b, first, 50721, matrix1);
        Rational(b, first, 50722, matrix2);
        for (uint32_t i = 0; i < 2; ++i) Rational(b, first, 50723 + i, calibrations[i]);
        for (uint32_t i = 0; i < 2; ++i) Rational(b, first, 50725 + i, reductions[i]);
        Rational(b, first, 50727, balance, 5);
        Rational(b, first, 50728, neutral, 5);
        if (changeFirst) changeFirst(b, first);
        b.Patch32(4, b.Directory(first));
        return b.All();
    }

private:
    static void Put(CTIFFBuilder& b, std::vector<CEntry>& entries, uint32_t tag, uint32_t type,
                    size_t count, const Bytes& value) {
        if (count == 0) return;
        entries.push_back(
            {tag, type, uint32_t(count), value.size() > 4 ? b.U32(b.Add(value)) : value});
    }
    static void Byte(CTIFFBuilder& b, std::vector<CEntry>& e, uint32_t tag, const Bytes& bytes) {
        Put(b, e, tag, 1, bytes.size(), bytes);
    }
    static void Text(CTIFFBuilder& b, std::vector<CEntry>& e, uint32_t tag, std::string text) {
        text += '\0';
        Put(b, e, tag, 2, text.size(), CTIFFBuilder::Text(text));
    }
    static void Short(CTIFFBuilder& b, std::vector<CEntry>& e, uint32_t tag, const Numbers& n) {
        Bytes value;
        for (const uint32_t v : n) value = b.Join({value, b.U16(v)});
        Put(b, e, tag, 3, n.size(), value);
    }
    static void Long(CTIFFBuilder& b, std::vector<CEntry>& e, uint32_t tag, const Numbers& n) {
        Bytes value;
        for (const uint32_t v : n) value = b.Join({value, b.U32(v)});
        Put(b, e, tag, 4, n.size(), value);
    }
    static void Rational(CTIFFBuilder& b, std::vector<CEntry>& e, uint32_t tag, const Reals& reals,
                         uint32_t type = 10) {
        Bytes value;
        for (const double v : reals) {
            value = b.Join({value, b.Rational(uint32_t(std::lround(v * 10000)), 10000)});
        }
        Put(b, e, tag, type, reals.size(), value);
    }
    void Crop(CTIFFBuilder& b, std::vector<CEntry>& e, uint32_t tag, const Numbers& n) const {
        if (!cropAsRationals) return Long(b, e, tag, n);
        // Halves, which are rounded up.
        Bytes value;
        for (const uint32_t v : n) value = b.Join({value, b.Rational(2 * v - 1, 2)});
        Put(b, e, tag, 5, n.size(), value);
    }
    uint32_t AddPreview(CTIFFBuilder& b) const {
        std::vector<CEntry> e;
        Long(b, e, 254, {1});
        Long(b, e, 256, {previewWidth});
        Long(b, e, 257, {previewHeight});
        Short(b, e, 258, Numbers(previewSamples, 8));
        Short(b, e, 259, {previewCompression});
        Short(b, e, 262, {previewPhotometric});
        Long(b, e, 273, {b.Add(preview)});
        Short(b, e, 277, {previewSamples});
        Long(b, e, 278, {previewHeight});
        Long(b, e, 279, {uint32_t(preview.size())});
        return b.Directory(e);
    }
    static uint32_t AddExif(CTIFFBuilder& b) {
        std::vector<CEntry> e;
        Text(b, e, 36867, "2006:05:04 03:02:01");
        return b.Directory(e);
    }
};

}  // namespace kestr::test
