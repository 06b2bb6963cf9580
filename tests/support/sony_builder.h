#pragma once

#include <algorithm>
#include <array>
#include <cstdint>
#include <cstdlib>
#include <optional>
#include <string>
#include <vector>

#include "support/bit_writer.h"
#include "support/tiff_builder.h"

namespace kestr::test {

/// Builds the files of Sony's cameras around sensor values; every stated number can lie.
struct CSonyBuilder {
    using Bytes = std::vector<uint8_t>;
    using CEntry = CTIFFBuilder::CEntry;

    std::string model;
    uint32_t width = 0;  // stored columns and rows
    uint32_t height = 0;
    std::vector<uint16_t> values;
    std::optional<std::array<uint16_t, 3>> gains;  // red, green, blue
    Bytes jpeg;                                    // of the first directory; none when empty
    std::optional<Bytes> pattern;                  // of tag 33422

    /// The cipher word by word, as its description has it.
    static void Encipher(Bytes& bytes, size_t at, size_t length, uint32_t key) {
        std::array<uint32_t, 128> pad{};
        for (int i = 0; i < 4; ++i) pad[size_t(i)] = key = key * 48828125 + 1;
        pad[3] = pad[3] << 1 | (pad[0] ^ pad[2]) >> 31;
        for (size_t p = 4; p < 127; ++p) {
            pad[p] = (pad[p - 4] ^ pad[p - 2]) << 1 | (pad[p - 3] ^ pad[p - 1]) >> 31;
        }
        for (size_t i = 127; length >= 4; ++i, at += 4, length -= 4) {
            const uint32_t word = pad[i & 127] = pad[(i + 1) & 127] ^ pad[(i + 65) & 127];
            for (int k = 0; k < 4; ++k) bytes[at + size_t(k)] ^= uint8_t(word >> (24 - 8 * k));
        }
    }

    /// F828 and V3.
    Bytes SRF(size_t dataOffset) const {
        constexpr uint32_t kFirstKey = 0x1A2B3C4D, kSecondKey = 0x0BADCAFE, kSensorKey = 0x76543210;
        constexpr size_t kDirectory = 164600, kNext = 170000, kKeyByte = 200896;
        CTIFFBuilder b(false, 0);
        b.Patch32(4, b.Directory(First(b)));
        Bytes file = b.All();
        file.resize(dataOffset);
        const auto put = [&](size_t at, const Bytes& bytes) {
            std::copy(bytes.begin(), bytes.end(), file.begin() + ptrdiff_t(at));
        };
        file[kKeyByte] = 37;
        put(kKeyByte + 4 * 37, CTIFFBuilder(true).U32(kFirstKey));
        CTIFFBuilder keys;
        const uint32_t at = keys.Directory(
            {{0, 4, 1, b.U32(kSecondKey)}, {1, 4, 1, b.U32(kSensorKey)}}, gains ? kNext : 0);
        put(kDirectory, {keys.All().begin() + at, keys.All().end()});
        Encipher(file, kDirectory, 40, kFirstKey);
        if (gains) {
            CTIFFBuilder levels;
            const uint32_t start = levels.Directory({{0xC0, 4, 1, b.U32(1)},
                                                     {0xD0, 4, 1, b.U32((*gains)[0])},
                                                     {0xD1, 4, 1, b.U32((*gains)[1])},
                                                     {0xD2, 4, 1, b.U32((*gains)[2])}});
            put(kNext, {levels.All().begin() + start, levels.All().end()});
            Encipher(file, kNext, 4096, kSecondKey);
        }
        const Bytes data = Words(true);
        file.insert(file.end(), data.begin(), data.end());
        Encipher(file, dataOffset, data.size(), kSensorKey);
        return file;
    }

    /// R1: words in a directory of their own.
    Bytes SR2() const {
        CTIFFBuilder b(false, 0);
        const Bytes data = Words(true);
        const uint32_t at = b.Add(data);
        const uint32_t sensor = b.Directory({{256, 4, 1, b.U32(width)},
                                             {257, 4, 1, b.U32(height)},
                                             {258, 3, 1, b.U16(16)},
                                             {259, 3, 1, b.U16(1)},
                                             {273, 4, 1, b.U32(at)},
                                             {279, 4, 1, b.U32(uint32_t(data.size()))}});
        auto first = First(b, false);
        first.push_back({330, 4, 1, b.U32(sensor)});
        if (gains) first.push_back({50740, 1, 4, b.U32(Private(b, 29443))});
        return b.Finish(first);
    }

    /// A100, whose files state one column less than they have.
    Bytes A100() const {
        CTIFFBuilder b(false, 0);
        const uint32_t at = b.Add(ColumnCodes());
        auto first = First(b, false);
        // The camera's own picture is smaller than its sensor.
        first.push_back({256, 4, 1, b.U32(width - 9)});
        first.push_back({257, 4, 1, b.U32(height - 16)});
        first.push_back({330, 4, 1, b.U32(at)});
        Bytes blocks;
        const auto block = [&](const char* name, const Bytes& data) {
            blocks =
                b.Join({blocks, {0}, CTIFFBuilder::Text(name), b.U32(uint32_t(data.size())), data});
        };
        block("PRD", b.Join({CTIFFBuilder::Text("27730001"), b.U16(height), b.U16(width - 1),
                             b.U16(height), b.U16(width - 1), Bytes(8)}));
        if (gains) {
            const auto [r, g, bl] = *gains;
            block("WBG", b.Join({Bytes(4, 2), b.U16(r), b.U16(g), b.U16(g), b.U16(bl)}));
        }
        const uint32_t mri =
            b.Add(b.Join({{0}, CTIFFBuilder::Text("MRI"), b.U32(uint32_t(blocks.size())), blocks}));
        first.push_back({50740, 1, 4, b.U32(mri)});
        return b.Finish(first);
    }

    enum class CForm { kBlocks, k12Bits, kColumns };
    /// A700.
    Bytes ARW(CForm form) const {
        CTIFFBuilder b(false, 0);
        Bytes data = form == CForm::kBlocks   ? Blocks()
                     : form == CForm::k12Bits ? Packed()
                                              : ColumnCodes();
        const uint32_t at = b.Add(data);
        auto first = First(b);
        // Values in codes have eight rows more than is stated.
        if (form == CForm::kColumns) first[1].field = b.U32(height - 8);
        first.push_back({258, 3, 1, b.U16(form == CForm::kBlocks ? 8 : 12)});
        first.push_back({259, 3, 1, b.U16(32767)});
        first.push_back({273, 4, 1, b.U32(at)});
        first.push_back({279, 4, 1, b.U32(uint32_t(data.size()))});
        first.push_back(
            {28688, 3, 4,
             b.U32(b.Add(b.Join({b.U16(8000), b.U16(10400), b.U16(12900), b.U16(14100)})))});
        if (pattern) first.push_back({33422, 1, uint32_t(pattern->size()), *pattern});
        if (gains) first.push_back({50740, 1, 4, b.U32(Private(b, 29459))});
        return b.Finish(first);
    }

    /// Columns from the last, even rows before odd ones, as differences.
    Bytes ColumnCodes() const {
        CBitWriter out;
        int last = 0;
        for (uint32_t x = width; x-- > 0;) {
            for (uint32_t first = 0; first < 2; ++first) {
                for (uint32_t y = first; y < height; y += 2) {
                    const int value = values[size_t{y} * width + x];
                    PutDifference(out, value - last);
                    last = value;
                }
            }
        }
        out.Align(false);
        return out.bytes;
    }

private:
    std::vector<CEntry> First(CTIFFBuilder& b, bool withSize = true) const {
        std::vector<CEntry> entries;
        if (withSize) {
            entries.push_back({256, 4, 1, b.U32(width)});
            entries.push_back({257, 4, 1, b.U32(height)});
        }
        entries.push_back(b.TextEntry(271, "SONY"));
        entries.push_back(b.TextEntry(272, model));
        if (!jpeg.empty()) {
            entries.push_back({513, 4, 1, b.U32(b.Add(jpeg))});
            entries.push_back({514, 4, 1, b.U32(uint32_t(jpeg.size()))});
        }
        return entries;
    }

    // The private directory and its enciphered block; gives the former's offset.
    uint32_t Private(CTIFFBuilder& b, uint32_t levelsTag) const {
        constexpr uint32_t kKey = 0xC001D00D;
        const auto [r, g, bl] = *gains;
        const uint32_t at = b.Size();
        const bool grbg = levelsTag == 29443;
        const Bytes levels = grbg ? b.Join({b.U16(g), b.U16(r), b.U16(bl), b.U16(g)})
                                  : b.Join({b.U16(r), b.U16(g), b.U16(g), b.U16(bl)});
        CTIFFBuilder block;
        const uint32_t start = block.Directory({{levelsTag, 3, 4, b.U32(at + 18)}});
        block.Add(levels);
        Bytes bytes(block.All().begin() + start, block.All().end());
        bytes.resize((bytes.size() + 3) / 4 * 4);
        Encipher(bytes, 0, bytes.size(), kKey);
        b.Add(bytes);
        return b.Directory({{29184, 4, 1, b.U32(at)},
                            {29185, 4, 1, b.U32(uint32_t(bytes.size()))},
                            {29217, 4, 1, b.U32(kKey)}});
    }

    Bytes Words(bool bigEndian) const {
        Bytes bytes;
        for (const uint16_t v : values) {
            const uint8_t high = uint8_t(v >> 8), low = uint8_t(v);
            bytes.push_back(bigEndian ? high : low);
            bytes.push_back(bigEndian ? low : high);
        }
        return bytes;
    }

    Bytes Packed() const {
        Bytes bytes;
        for (size_t i = 0; i + 1 < values.size(); i += 2) {
            const uint32_t pair = values[i] | uint32_t(values[i + 1]) << 12;
            for (int k = 0; k < 3; ++k) bytes.push_back(uint8_t(pair >> 8 * k));
        }
        return bytes;
    }

    // The values before the curve, 11 bits each.
    Bytes Blocks() const {
        Bytes bytes;
        for (size_t pair = 0; pair + 32 <= values.size(); pair += 32) {
            for (size_t parity = 0; parity < 2; ++parity) {
                std::array<int, 16> v;
                for (size_t i = 0; i < 16; ++i) v[i] = values[pair + parity + 2 * i] & 2047;
                const auto most = size_t(std::max_element(v.begin(), v.end()) - v.begin());
                auto least = size_t(std::min_element(v.begin(), v.end()) - v.begin());
                if (least == most) least = most == 15 ? 0 : most + 1;
                int shift = 0;
                while (shift < 4 && v[most] - v[least] >= 128 << shift) ++shift;
                std::array<bool, 128> bits{};
                size_t at = 0;
                const auto put = [&](size_t value, int count) {
                    for (int i = 0; i < count; ++i) bits[at++] = (value >> i & 1) != 0;
                };
                put(size_t(v[most]), 11);
                put(size_t(v[least]), 11);
                put(most, 4);
                put(least, 4);
                for (size_t i = 0; i < 16; ++i) {
                    if (i != most && i != least) put(size_t((v[i] - v[least]) >> shift), 7);
                }
                for (size_t i = 0; i < 128; i += 8) {
                    uint8_t byte = 0;
                    for (size_t k = 0; k < 8; ++k) byte |= uint8_t(bits[i + k] << k);
                    bytes.push_back(byte);
                }
            }
        }
        return bytes;
    }

    static void PutDifference(CBitWriter& out, int difference) {
        int bits = 0;
        while (std::abs(difference) >> bits != 0) ++bits;
        if (bits == 0) {
            out.Put(0b011, 3);
        } else if (bits <= 2) {
            out.Put(bits == 1 ? 0b11 : 0b10, 2);
        } else if (bits == 3) {
            out.Put(0b010, 3);
        } else {
            out.Put(0, 2);
            out.Put(0, bits - 4);
            if (bits < 17) out.Put(1, 1);
        }
        out.Put(uint32_t(difference > 0 ? difference : difference + (1 << bits) - 1), bits);
    }
};

}  // namespace kestr::test
