#include "raw/sony_data.h"

#include <algorithm>
#include <bit>

#include "base/byte_cursor.h"
#include "raw/bit_reader.h"
#include "raw/demosaic.h"
#include "raw/raw_sensor_image.h"
#include "raw/sony_cipher.h"

namespace kestr {
namespace {

// --- Differences by column

constexpr int kTableBits = 12;

/// A code with all of its difference; `skip` 0 when they are longer than the table knows.
struct CColumnCode {
    int16_t difference = 0;
    uint8_t skip = 0;
};

/// The category of the next code, which is its difference's number of bits, and the bits of the
/// code itself: 11 1, 10 2, 011 0, 010 3, and from 001 on one more for each zero, up to 17.
struct CCategory {
    int bits, codeBits;
};
constexpr CCategory CategoryOf(uint32_t next32) {
    const int zeros = std::countl_zero(next32);
    if (zeros == 0) return {(next32 >> 30 & 1) != 0 ? 1 : 2, 2};
    if (zeros == 1) return {(next32 >> 29 & 1) != 0 ? 0 : 3, 3};
    if (zeros < 15) return {zeros + 2, zeros + 1};
    return {17, 15};
}

/// ITU-T T.81, figure F.12: the upper half of the values is positive, the lower one negative.
constexpr int32_t DifferenceOf(uint32_t stored, int bits) {
    if (bits == 0) return 0;
    const auto value = static_cast<int32_t>(stored);
    return value < 1 << (bits - 1) ? value - (1 << bits) + 1 : value;
}

constexpr auto kColumnCodes = [] {
    std::array<CColumnCode, 1 << kTableBits> table;
    for (uint32_t next = 0; next < table.size(); ++next) {
        // A code that the table's bits do not end takes zeros, and is too long.
        const auto [bits, codeBits] = CategoryOf(next << (32 - kTableBits));
        const int rest = kTableBits - codeBits - bits;
        if (rest < 0) continue;
        const uint32_t stored = next >> rest & ((1u << bits) - 1);
        table[next] = {static_cast<int16_t>(DifferenceOf(stored, bits)),
                       static_cast<uint8_t>(codeBits + bits)};
    }
    return table;
}();
static_assert(kColumnCodes[0b110000000000].difference == -1);
static_assert(kColumnCodes[0b101100000000].difference == 3);
static_assert(kColumnCodes[0b011000000000].skip == 3);
static_assert(kColumnCodes[0b000000000000].skip == 0);

inline int32_t NextDifference(CBitReader& bits) {
    bits.Fill();
    const CColumnCode code = kColumnCodes[bits.Peek(kTableBits)];
    if (code.skip != 0) [[likely]] {
        bits.Skip(code.skip);
        return code.difference;
    }
    const auto [category, codeBits] = CategoryOf(bits.Peek(32));
    bits.Skip(codeBits);
    const uint32_t stored = bits.Peek(category);
    bits.Skip(category);
    return DifferenceOf(stored, category);
}

constexpr uint32_t kColumnsAtOnce = 16;

/// Decodes a column into every kColumnsAtOnce-th place of `out`.
template <bool NearEnd>
CBitReader DecodeColumn(CBitReader bits, uint32_t height, uint32_t& sum, uint16_t* out) {
    for (uint32_t first = 0; first < 2; ++first) {
        for (uint32_t y = first; y < height; y += 2) {
            if (!NearEnd || !bits.Exhausted()) sum += static_cast<uint32_t>(NextDifference(bits));
            out[size_t{y} * kColumnsAtOnce] = static_cast<uint16_t>(sum);
        }
    }
    return bits;
}

// --- Blocks

constexpr size_t kBlockValues = 16;
constexpr size_t kBlockBytes = 16;
constexpr int kMostValue = 2047;

/// A block as a number of 128 bits, low byte first: 11 bits the largest value, 11 the smallest, 4
/// and 4 their places, then 7 bits for each other value.
void DecodeBlock(const uint8_t* block, const uint16_t* samples, uint16_t* out) {
    const auto low = LoadNumber<uint64_t, std::endian::little>(block);
    const auto high = LoadNumber<uint64_t, std::endian::little>(block + 8);
    const int largest = static_cast<int>(low & 0x7FF);
    const int smallest = static_cast<int>(low >> 11 & 0x7FF);
    const size_t largestAt = low >> 22 & 15;
    const size_t smallestAt = low >> 26 & 15;
    int shift = 0;
    while (shift < 4 && largest - smallest >= 128 << shift) ++shift;

    // Nine fields lie in the first 64 bits behind the places, five above them. When both places
    // are the same one, a fifteenth is asked for, which is 0.
    std::array<uint16_t, kBlockValues> fields;
    const uint64_t lowFields = low >> 30 | high << 34;
    const uint64_t highFields = high >> 29;
    for (int i = 0; i < 9; ++i) fields[i] = static_cast<uint16_t>(lowFields >> 7 * i & 127);
    for (int i = 0; i < 7; ++i) fields[9 + i] = static_cast<uint16_t>(highFields >> 7 * i & 127);
    for (size_t i = 0; i < kBlockValues; ++i) {
        const size_t before = (i > largestAt) + (i > smallestAt && smallestAt != largestAt);
        out[2 * i] = samples[std::min((fields[i - before] << shift) + smallest, kMostValue)];
    }
    out[2 * smallestAt] = samples[smallest];
    out[2 * largestAt] = samples[largest];
}

}  // namespace

bool ReadCipheredWords(std::span<const uint8_t> data, uint32_t key, uint32_t storedWidth,
                       const CSensorWindow& window, CRawSensorImage& image, CImageReader* reader,
                       uint32_t maskedColumns, uint16_t* maskedMean) {
    CSonyCipher cipher(key);
    std::vector<uint16_t> row(storedWidth);
    uint64_t masked = 0;
    const uint32_t rows = window.top + window.height;
    for (uint32_t y = 0; y < rows; ++y) {
        if (!StartRawRow(image, reader, y)) return false;
        const auto source =
            SubRange(data, uint64_t{y} * 2 * storedWidth, 2 * uint64_t{storedWidth});
        if (source.size() < 2 * row.size()) std::ranges::fill(row, uint16_t{0});
        cipher.Words(source, row);
        for (uint32_t x = 0; x < maskedColumns && x < storedWidth; ++x) masked += row[x];
        StoreWindowRow(image, window, y, row);
    }
    const uint64_t cells = uint64_t{rows} * std::min(maskedColumns, storedWidth);
    if (maskedMean != nullptr && cells != 0) *maskedMean = static_cast<uint16_t>(masked / cells);
    return true;
}

bool ReadColumnCodes(std::span<const uint8_t> data, uint32_t storedWidth, uint32_t storedHeight,
                     const CSensorWindow& window, CRawSensorImage& image, CImageReader* reader) {
    // Some columns at a time, so that the image is filled along its rows.
    std::vector<uint16_t> columns(size_t{kColumnsAtOnce} * storedHeight);
    CBitReader bits(data);
    uint32_t sum = 0;  // modulo 2^32; the values are its low 16 bits
    for (uint32_t left = storedWidth; left != 0;) {
        const uint32_t count = std::min(kColumnsAtOnce, left);
        const uint64_t done = storedWidth - left;
        const auto row = static_cast<uint32_t>(done * image.samples.height / storedWidth);
        if (!StartRawRow(image, reader, row)) return false;
        for (uint32_t i = count; i-- > 0;) {
            // While there are bytes enough for the longest codes, the end need not be looked for.
            constexpr size_t kMostBytes = 4;
            const bool plenty = bits.Rest().size() / kMostBytes >= storedHeight;
            const auto decode = plenty ? &DecodeColumn<false> : &DecodeColumn<true>;
            bits = decode(bits, storedHeight, sum, columns.data() + i);
        }
        left -= count;
        const uint32_t cut = left < window.left ? std::min(window.left - left, count) : 0;
        const uint32_t end = std::min(window.width + window.left, left + count);
        if (end <= left + cut) continue;
        for (uint32_t y = 0; y < window.height; ++y) {
            const uint16_t* values = columns.data() + (window.top + size_t{y}) * kColumnsAtOnce;
            StoreSensorPart(image, y, left + cut - window.left,
                            std::span(values + cut, end - left - cut));
        }
    }
    return true;
}

std::optional<std::vector<uint16_t>> BlockSamples(std::span<const uint16_t> bends) {
    if (bends.size() != 4) return std::nullopt;
    constexpr uint32_t kLast = 4095;
    std::array<uint32_t, 6> ends{0, 0, 0, 0, 0, kLast};
    for (size_t i = 0; i < 4; ++i) ends[i + 1] = bends[i] >> 2 & kLast;
    // From one bend to the next the curve is twice as steep.
    std::array<uint16_t, kLast + 1> curve{};
    for (size_t i = 0; i < 5; ++i) {
        for (uint32_t x = ends[i] + 1; x <= ends[i + 1]; ++x) {
            curve[x] = static_cast<uint16_t>(curve[x - 1] + (1 << i));
        }
    }
    std::vector<uint16_t> samples(kMostValue + 1);
    for (size_t i = 0; i < samples.size(); ++i) samples[i] = curve[2 * i] >> 2;
    return samples;
}

bool ReadValueBlocks(std::span<const uint8_t> data, std::span<const uint16_t> samples,
                     uint32_t storedWidth, const CSensorWindow& window, CRawSensorImage& image,
                     CImageReader* reader) {
    std::vector<uint16_t> row(storedWidth);
    for (uint32_t y = window.top; y < window.top + window.height; ++y) {
        if (!StartRawRow(image, reader, y - window.top)) return false;
        const auto source = SubRange(data, uint64_t{y} * storedWidth, storedWidth);
        const size_t pairs = source.size() / (2 * kBlockBytes);
        if (pairs * 2 * kBlockValues < storedWidth) std::ranges::fill(row, uint16_t{0});
        for (size_t i = 0; i < pairs; ++i) {
            const uint8_t* block = source.data() + i * 2 * kBlockBytes;
            uint16_t* out = row.data() + i * 2 * kBlockValues;
            DecodeBlock(block, samples.data(), out);
            DecodeBlock(block + kBlockBytes, samples.data(), out + 1);
        }
        StoreWindowRow(image, window, y, row);
    }
    return true;
}

}  // namespace kestr
