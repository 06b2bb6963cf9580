#pragma once

#include <algorithm>
#include <array>
#include <bit>
#include <cstdint>
#include <cstdlib>
#include <functional>
#include <string>
#include <vector>

#include "support/bit_writer.h"
#include "support/tiff_builder.h"

namespace kestr::test {

/// Sensor values by place.
using CScene = std::function<uint16_t(uint32_t y, uint32_t x)>;

/// Raw files in the form of TIFF whose first directory describes the sensor: Olympus's and
/// Pentax's. Every stated number can lie.
class CPlainRawBuilder {
public:
    using Bytes = std::vector<uint8_t>;
    static constexpr uint32_t kExtraAt = 8;  // place of `extra` in the file

    std::string make = "OLYMPUS IMAGING CORP.";
    std::string model = "E-410";
    std::string magic = "RO";  // as a little-endian file has it
    bool bigEndian = false;
    uint32_t width = 0, height = 0, bits = 16, compression = 1, photometric = 1;
    Bytes data;
    uint32_t statedBytes = 0;  // 0 for the true number
    Bytes pattern;             // of EXIF; none when empty
    Bytes note;                // with its signature; none when empty
    Bytes extra;               // what the note tells the place of

    Bytes U16(uint32_t value) const { return CTIFFBuilder(bigEndian).U16(value); }
    Bytes U32(uint32_t value) const { return CTIFFBuilder(bigEndian).U32(value); }
    /// Values of 16 bits.
    Bytes Shorts(const std::vector<uint32_t>& values) const {
        Bytes bytes;
        for (const uint32_t value : values) {
            const Bytes one = U16(value);
            bytes.insert(bytes.end(), one.begin(), one.end());
        }
        return bytes;
    }
    Bytes Directory(const std::vector<CTIFFBuilder::CEntry>& entries) const {
        CTIFFBuilder b(bigEndian);
        b.Directory(entries);
        return {b.All().begin() + 8, b.All().end()};
    }

    void Words(const CScene& scene, int shift) {
        data.clear();
        for (uint32_t y = 0; y < height; ++y) {
            for (uint32_t x = 0; x < width; ++x) {
                const Bytes word = U16(uint32_t{scene(y, x)} << shift);
                data.insert(data.end(), word.begin(), word.end());
            }
        }
    }
    void Packed(const CScene& scene) {
        CBitWriter out;
        for (uint32_t y = 0; y < height; ++y) {
            for (uint32_t x = 0; x < width; ++x) out.Put(scene(y, x), 12);
        }
        out.Align(false);
        data = out.bytes;
    }

    Bytes File() const {
        CTIFFBuilder b(bigEndian, 0);
        b.Add(extra);
        std::vector<CTIFFBuilder::CEntry> exif{{33434, 5, 1, b.U32(b.Add(b.Rational(1, 60)))}};
        if (!note.empty()) exif.push_back({37500, 7, uint32_t(note.size()), b.U32(b.Add(note))});
        if (!pattern.empty()) exif.push_back({41730, 7, 8, b.U32(b.Add(pattern))});
        const uint32_t exifAt = b.Directory(exif);
        const auto text = [&](const std::string& words) {
            Bytes bytes = CTIFFBuilder::Text(words);
            bytes.push_back(0);
            return bytes.size() > 4 ? b.U32(b.Add(bytes)) : bytes;
        };
        const uint32_t stated = statedBytes != 0 ? statedBytes : uint32_t(data.size());
        const auto makeField = text(make), modelField = text(model);
        const uint32_t dataAt = b.Add(data);
        b.Patch32(4, b.Directory({{256, 4, 1, b.U32(width)},
                                  {257, 4, 1, b.U32(height)},
                                  {258, 3, 1, b.U16(bits)},
                                  {259, 3, 1, b.U16(compression)},
                                  {262, 3, 1, b.U16(photometric)},
                                  {271, 2, uint32_t(make.size() + 1), makeField},
                                  {272, 2, uint32_t(model.size() + 1), modelField},
                                  {273, 4, 1, b.U32(dataAt)},
                                  {279, 4, 1, b.U32(stated)},
                                  {34665, 4, 1, b.U32(exifAt)}}));
        Bytes file = b.All();
        if (!magic.empty()) {
            file[2] = uint8_t(bigEndian ? magic[1] : magic[0]);
            file[3] = uint8_t(bigEndian ? magic[0] : magic[1]);
        }
        return file;
    }
};

/// Olympus's codes, step by step as a camera makes them.
inline std::vector<uint8_t> CompressORF(uint32_t width, uint32_t height, const CScene& scene) {
    CBitWriter out;
    std::vector<int> values(size_t{width} * height);
    const auto at = [&](uint32_t y, uint32_t x) { return values[size_t{y} * width + x]; };
    for (uint32_t y = 0; y < height; ++y) {
        int carry[2][3] = {};
        for (uint32_t x = 0; x < width; ++x) {
            const int value = values[size_t{y} * width + x] = scene(y, x);
            int predicted = 0;
            if (y < 2) {
                if (x >= 2) predicted = at(y, x - 2);
            } else if (x < 2) {
                predicted = at(y - 2, x);
            } else {
                const int w = at(y, x - 2), n = at(y - 2, x), nw = at(y - 2, x - 2);
                if ((w < nw && nw < n) || (n < nw && nw < w)) {
                    const bool near = std::abs(w - nw) <= 32 && std::abs(n - nw) <= 32;
                    predicted = near ? (w + n) >> 1 : w + n - nw;
                } else {
                    predicted = std::abs(w - nw) > std::abs(n - nw) ? w : n;
                }
            }
            int* const a = carry[x & 1];
            const int i = a[2] < 3 ? 2 : 0;
            int nbits = 2 + i;
            while (uint16_t(a[0]) >> (nbits + i) != 0) ++nbits;
            const int difference = (value - predicted) >> 2;
            const int rest = difference - a[1];
            const int sign = rest < 0 ? -1 : 0;
            out.Put(uint32_t(-sign), 1);
            out.Put(uint32_t(value - predicted) & 3, 2);
            a[0] = rest ^ sign;
            const int high = a[0] >> nbits;
            if (high < 12) {
                out.Put(1, high + 1);
            } else {
                out.Put(0, 12);
                out.Put(uint32_t(high) << 1, 16 - nbits);
            }
            out.Put(uint32_t(a[0]) & ((1u << nbits) - 1), nbits);
            a[1] = (3 * difference + a[1]) >> 5;
            a[2] = a[0] > 16 ? 0 : a[2] + 1;
        }
    }
    out.Align(false);
    std::vector<uint8_t> bytes(7, 0xA5);
    bytes.insert(bytes.end(), out.bytes.begin(), out.bytes.end());
    return bytes;
}

/// Pentax's codes.
inline std::vector<uint8_t> CompressPEF(uint32_t width, uint32_t height, const CScene& scene) {
    constexpr std::array<uint8_t, 16> kCounts{0, 2, 3, 1, 1, 1, 1, 1, 1, 2};
    constexpr std::array<uint8_t, 13> kValues{3, 4, 2, 5, 1, 6, 0, 7, 8, 9, 10, 11, 12};
    const CDifferenceWriter codes(kCounts, kValues);
    CBitWriter out;
    int above[2][2] = {};
    for (uint32_t y = 0; y < height; ++y) {
        int left[2] = {above[y & 1][0], above[y & 1][1]};
        for (uint32_t x = 0; x < width; ++x) {
            const int value = scene(y, x);
            codes.Put(out, value - left[x & 1]);
            left[x & 1] = value;
            if (x < 2) above[y & 1][x] = value;
        }
    }
    out.Align(false);
    return out.bytes;
}

/// Minolta's files: blocks of a name and a length, and the sensor's data behind them.
struct CMRWBuilder {
    using Bytes = std::vector<uint8_t>;
    std::string cameraId = "27200001";
    uint32_t width = 0, height = 0;
    uint8_t storage = 0x59;
    uint32_t cfa = 1;
    std::array<uint32_t, 4> balance{438, 256, 256, 509};  // all 0 for no block
    Bytes tiff, data;

    Bytes File() const {
        const CTIFFBuilder n(true);
        const auto block = [&](const char* name, const Bytes& bytes) {
            return n.Join({{0}, CTIFFBuilder::Text(name), n.U32(uint32_t(bytes.size())), bytes});
        };
        Bytes blocks = block("PRD", n.Join({CTIFFBuilder::Text(cameraId),
                                            n.U16(height),
                                            n.U16(width),
                                            n.U16(height),
                                            n.U16(width),
                                            {12, 12, storage, 0, 0, 0},
                                            n.U16(cfa)}));
        if (!tiff.empty()) blocks = n.Join({blocks, block("TTW", tiff)});
        if (balance[0] != 0) {
            Bytes values{2, 2, 2, 2};
            for (const uint32_t v : balance) values = n.Join({values, n.U16(v)});
            blocks = n.Join({blocks, block("WBG", values)});
        }
        return n.Join({block("MRM", blocks), data});
    }
};

/// Fujifilm's files: a header, a JPEG file, a directory and the sensor's data.
struct CRAFBuilder {
    using Bytes = std::vector<uint8_t>;
    std::string model = "FinePix S7000";
    uint32_t fullWidth = 0, fullHeight = 0;  // as the directory has them
    uint32_t usedWidth = 0, usedHeight = 0;
    uint8_t flags = 0x80;                                 // the first byte of the layout's tag
    std::array<uint32_t, 4> balance{384, 601, 384, 515};  // all 0 for none
    Bytes jpeg, data;

    /// Rows of `stride` words.
    void Words(uint32_t stride, uint32_t rows, const CScene& scene, bool bigEndian = false) {
        data.resize(size_t{2} * stride * rows);
        size_t at = 0;
        for (uint32_t y = 0; y < rows; ++y) {
            for (uint32_t x = 0; x < stride; ++x) {
                const uint16_t value = scene(y, x);
                data[at++] = uint8_t(bigEndian ? value >> 8 : value);
                data[at++] = uint8_t(bigEndian ? value : value >> 8);
            }
        }
    }
    Bytes File() const {
        const CTIFFBuilder n(true);
        Bytes file = CTIFFBuilder::Text("FUJIFILMCCD-RAW 0201FF392201");
        file.insert(file.end(), model.begin(), model.end());
        file.resize(84);
        Bytes directory = n.Join({n.U16(256),
                                  n.U16(4),
                                  n.U16(fullHeight),
                                  n.U16(fullWidth),
                                  n.U16(289),
                                  n.U16(4),
                                  n.U16(usedHeight),
                                  n.U16(usedWidth),
                                  n.U16(304),
                                  n.U16(4),
                                  {flags, 2, 1, 0}});
        if (balance[0] != 0) {
            directory = n.Join({directory, n.U16(0x2FF0), n.U16(8)});
            for (const uint32_t v : balance) directory = n.Join({directory, n.U16(v)});
        }
        directory = n.Join({n.U32(balance[0] != 0 ? 4 : 3), directory});
        const uint32_t jpegAt = 160, directoryAt = jpegAt + uint32_t(jpeg.size());
        const uint32_t dataAt = directoryAt + uint32_t(directory.size());
        file = n.Join({file, n.U32(jpegAt), n.U32(uint32_t(jpeg.size())), n.U32(directoryAt),
                       n.U32(uint32_t(directory.size())), n.U32(dataAt),
                       n.U32(uint32_t(data.size()))});
        file.resize(jpegAt);
        return n.Join({file, jpeg, directory, data});
    }
};

}  // namespace kestr::test
