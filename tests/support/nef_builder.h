#pragma once

#include <algorithm>
#include <array>
#include <cstdint>
#include <functional>
#include <optional>
#include <span>
#include <string>
#include <vector>

#include "support/bit_writer.h"
#include "support/tiff_builder.h"

namespace kestr::test {

/// Builds NEF files: a mosaic of sensor values, packed or compressed as the cameras do it. Every
/// stated number can lie.
class CNEFBuilder {
public:
    using Bytes = std::vector<uint8_t>;
    using CEntry = CTIFFBuilder::CEntry;
    struct CHuffmanTable {
        std::array<uint8_t, 16> counts;
        std::vector<uint8_t> values;
    };
    /// Value for each entry of a note, as offsets count from `base` bytes into the file.
    struct CNoteValue {
        uint32_t tag, type, count;
        Bytes data;
    };

    std::string make = "NIKON CORPORATION";
    std::string model = "NIKON D70";
    bool bigEndian = true;
    uint32_t width = 0;  // as stated
    uint32_t height = 0;
    uint16_t bits = 12;
    uint32_t compression = 1;
    uint16_t photometric = 32803;
    std::vector<uint16_t> repeat{2, 2};
    std::optional<Bytes> pattern;
    uint16_t orientation = 1;
    Bytes data;  // of the sensor
    std::vector<CNoteValue> note;
    bool oldNote = false;         // without a header of its own
    bool bigEndianNote = true;    // of one with a header
    Bytes jpeg;                   // in a directory before the sensor's; none when empty
    Bytes notePreview;            // behind tag 17
    uint32_t thumbnailWidth = 0;  // of red, green and blue bytes in the first directory
    Bytes thumbnail;

    /// Numbers as the note's order has them.
    Bytes NoteShorts(const std::vector<uint32_t>& values) const {
        Bytes bytes;
        for (const uint32_t v : values) {
            const Bytes one = CTIFFBuilder(NoteIsBigEndian()).U16(v);
            bytes.insert(bytes.end(), one.begin(), one.end());
        }
        return bytes;
    }
    bool NoteIsBigEndian() const { return oldNote ? bigEndian : bigEndianNote; }

    /// The samples of `stored` rows, 12 bits each.
    CNEFBuilder& Packed(const std::vector<uint16_t>& samples, bool interlaced = false,
                        bool padded = false) {
        CBitWriter out;
        const uint32_t rowWidth = uint32_t(samples.size() / height);
        for (uint32_t i = 0; i < height; ++i) {
            uint32_t y = i;
            if (interlaced) y = i < height / 2 ? 2 * i : 2 * (i - height / 2) + 1;
            for (uint32_t x = 0; x < rowWidth; ++x) {
                out.Put(samples[size_t{y} * rowWidth + x], 12);
                if (padded && x % 10 == 9) out.Put(0, 8);
            }
        }
        out.Align(false);
        data = out.bytes;
        return *this;
    }

    /// Encodes `values` (before the curve) by table `huffman`, and from row `split` on, if not 0,
    /// by the one behind it; puts what a decoder makes of them into `values`. The note gets the
    /// curve block of these two version bytes.
    CNEFBuilder& Compressed(std::vector<uint16_t>& values, uint8_t version, uint8_t form,
                            const std::vector<uint16_t>& curve, uint32_t huffman,
                            uint32_t split = 0, uint32_t curveTag = 150) {
        constexpr std::array<uint16_t, 4> kStart{1000, 1100, 1200, 1300};
        compression = 34713;
        data = Encode(values, kStart, huffman, split);
        Bytes block{version, form};
        if (version == 0x49 || form == 0x58) block.resize(2112);
        std::vector<uint32_t> numbers(kStart.begin(), kStart.end());
        numbers.push_back(uint32_t(curve.size()));
        numbers.insert(numbers.end(), curve.begin(), curve.end());
        const Bytes shorts = NoteShorts(numbers);
        block.insert(block.end(), shorts.begin(), shorts.end());
        if (split != 0) {
            block.resize(std::max<size_t>(block.size(), 564));
            const Bytes row = NoteShorts({split});
            std::copy(row.begin(), row.end(), block.begin() + 562);
        }
        note.push_back({curveTag, 7, uint32_t(block.size()), block});
        return *this;
    }

    Bytes File() const {
        CTIFFBuilder b(bigEndian, 0);
        std::vector<CEntry> sensor{{256, 4, 1, b.U32(width)},
                                   {257, 4, 1, b.U32(height)},
                                   {258, 3, 1, b.U16(bits)},
                                   {259, 3, 1, b.U16(compression)},
                                   {262, 3, 1, b.U16(photometric)}};
        sensor.push_back({273, 4, 1, b.U32(b.Add(data))});
        sensor.push_back({277, 3, 1, b.U16(1)});
        sensor.push_back({278, 4, 1, b.U32(height)});
        sensor.push_back({279, 4, 1, b.U32(uint32_t(data.size()))});
        Bytes cells;
        for (const uint16_t number : repeat) cells = b.Join({cells, b.U16(number)});
        sensor.push_back(
            {33421, 3, uint32_t(repeat.size()), cells.size() > 4 ? b.U32(b.Add(cells)) : cells});
        if (pattern) {
            sensor.push_back({33422, 1, uint32_t(pattern->size()),
                              pattern->size() > 4 ? b.U32(b.Add(*pattern)) : *pattern});
        }
        std::vector<uint32_t> children;
        if (!jpeg.empty()) {
            const uint32_t at = b.Add(jpeg);
            children.push_back(b.Directory({{259, 3, 1, b.U16(6)},
                                            {513, 4, 1, b.U32(at)},
                                            {514, 4, 1, b.U32(uint32_t(jpeg.size()))}}));
        }
        if (m_lastDirectory) m_lastDirectory(b, sensor);
        children.push_back(b.Directory(sensor));
        const uint32_t exif = AddExif(b);

        std::vector<CEntry> first;
        if (!thumbnail.empty()) {
            first.push_back({256, 4, 1, b.U32(thumbnailWidth)});
            first.push_back(
                {257, 4, 1, b.U32(uint32_t(thumbnail.size() / 3 / std::max(thumbnailWidth, 1u)))});
            first.push_back({258, 3, 3, b.U32(b.Add(b.Join({b.U16(8), b.U16(8), b.U16(8)})))});
            first.push_back({259, 3, 1, b.U16(1)});
            first.push_back({262, 3, 1, b.U16(2)});
        }
        first.push_back(b.TextEntry(271, make));
        first.push_back(b.TextEntry(272, model));
        if (!thumbnail.empty()) first.push_back({273, 4, 1, b.U32(b.Add(thumbnail))});
        first.push_back({274, 3, 1, b.U16(orientation)});
        uint32_t list = children[0];
        if (children.size() > 1) list = b.Add(b.Join({b.U32(children[0]), b.U32(children[1])}));
        first.push_back({330, 4, uint32_t(children.size()), b.U32(list)});
        first.push_back({34665, 4, 1, b.U32(exif)});
        b.Patch32(4, b.Directory(first));
        return b.All();
    }
    /// Changes the entries of the last directory, which may be given anything.
    CNEFBuilder& LastDirectory(std::function<void(CTIFFBuilder&, std::vector<CEntry>&)> change) {
        m_lastDirectory = std::move(change);
        return *this;
    }

    static const CHuffmanTable& Table(uint32_t index) {
        static const CHuffmanTable kTables[] = {
            {{0, 1, 5, 1, 1, 1, 1, 1, 1, 2}, {5, 4, 3, 6, 2, 7, 1, 0, 8, 9, 11, 10, 12}},
            {{0, 1, 5, 1, 1, 1, 1, 1, 1, 2}, {57, 90, 56, 39, 22, 5, 4, 3, 2, 1, 0, 11, 12, 12}},
            {{0, 1, 4, 2, 3, 1, 2}, {5, 4, 6, 3, 7, 2, 8, 1, 9, 0, 10, 11, 12}},
            {{0, 1, 4, 3, 1, 1, 1, 1, 1, 2}, {5, 6, 4, 7, 8, 3, 9, 2, 1, 0, 10, 11, 12, 13, 14}},
            {{0, 1, 5, 1, 1, 1, 1, 1, 1, 1, 2},
             {8, 92, 75, 58, 41, 7, 6, 5, 4, 3, 2, 1, 0, 13, 14}},
            {{0, 1, 4, 2, 2, 3, 1, 2}, {7, 6, 8, 5, 9, 4, 10, 3, 11, 12, 2, 0, 1, 13, 14}},
        };
        return kTables[index];
    }

private:
    Bytes Encode(std::vector<uint16_t>& values, const std::array<uint16_t, 4>& start,
                 uint32_t huffman, uint32_t split) const {
        CBitWriter out;
        int above[2][2] = {{start[0], start[1]}, {start[2], start[3]}};
        for (uint32_t y = 0; y < height; ++y) {
            const CHuffmanTable& table = Table(huffman + (split != 0 && y >= split ? 1 : 0));
            if (y == 0 || y == split) m_writer.emplace(table.counts, table.values);
            int left[2] = {};
            for (uint32_t x = 0; x < width; ++x) {
                uint16_t& value = values[size_t{y} * width + x];
                const int predicted = x < 2 ? above[y & 1][x] : left[x & 1];
                value = uint16_t(predicted + m_writer->PutNearest(out, value - predicted));
                left[x & 1] = value;
                if (x < 2) above[y & 1][x] = value;
            }
        }
        out.Align(false);
        return out.bytes;
    }

    // The EXIF directory with the note; the note's own offsets count from its header or the file.
    uint32_t AddExif(CTIFFBuilder& b) const {
        if (note.empty() && notePreview.empty()) {
            return b.Directory({{33434, 5, 1, b.U32(b.Add(b.Rational(1, 60)))}});
        }
        const uint32_t start = b.Size();
        const CTIFFBuilder order(NoteIsBigEndian());
        const uint32_t base = oldNote ? 0 : start + 10;
        Bytes bytes;
        if (!oldNote) {
            bytes = CTIFFBuilder::Text("Nikon");
            bytes.insert(bytes.end(), {0, 2, 16, 0, 0});
            bytes.insert(bytes.end(), order.All().begin(), order.All().end());
        }
        auto values = note;
        std::sort(values.begin(), values.end(),
                  [](const CNoteValue& a, const CNoteValue& c) { return a.tag < c.tag; });
        const size_t count = values.size() + (notePreview.empty() ? 0 : 1);
        const Bytes stated = order.U16(uint32_t(count));
        bytes.insert(bytes.end(), stated.begin(), stated.end());
        uint32_t at = start + uint32_t(bytes.size()) + uint32_t(12 * count) + 4;
        Bytes tail;
        const auto entry = [&](uint32_t tag, uint32_t type, uint32_t n, Bytes value) {
            Bytes field = value;
            if (value.size() > 4) {
                field = order.U32(at - base);
                tail.insert(tail.end(), value.begin(), value.end());
                at += uint32_t(value.size());
            }
            field.resize(4);
            const Bytes all = order.Join({order.U16(tag), order.U16(type), order.U32(n), field});
            bytes.insert(bytes.end(), all.begin(), all.end());
        };
        bool previewDone = notePreview.empty();
        const auto preview = [&] {
            if (previewDone) return;
            previewDone = true;
            const uint32_t directory = at - base;
            const uint32_t jpegAt = directory + 2 + 24 + 4;
            const Bytes inner =
                order.Join({order.U16(2), order.U16(513), order.U16(4), order.U32(1),
                            order.U32(jpegAt), order.U16(514), order.U16(4), order.U32(1),
                            order.U32(uint32_t(notePreview.size())), order.U32(0), notePreview});
            tail.insert(tail.end(), inner.begin(), inner.end());
            at += uint32_t(inner.size());
            entry(17, 4, 1, order.U32(directory));
        };
        for (const CNoteValue& value : values) {
            if (value.tag > 17) preview();
            entry(value.tag, value.type, value.count, value.data);
        }
        preview();
        bytes.insert(bytes.end(), 4, 0);
        bytes.insert(bytes.end(), tail.begin(), tail.end());
        b.Add(bytes);
        return b.Directory({{37500, 7, uint32_t(bytes.size()), b.U32(start)}});
    }

    std::function<void(CTIFFBuilder&, std::vector<CEntry>&)> m_lastDirectory;
    mutable std::optional<CDifferenceWriter> m_writer;
};

}  // namespace kestr::test
