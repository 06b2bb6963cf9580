// Run lengths of bitmaps (BI_RLE8, BI_RLE4). A pair of bytes is a count and a value; a count of 0
// makes the second byte an escape: 0 ends the row, 1 the bitmap, 2 moves right and up by the next
// two bytes, more is a number of literal pixels, padded to an even number of bytes.

#include "formats/dib_run_length.h"

#include <algorithm>
#include <cstring>

namespace kestr {
namespace {

constexpr uint8_t kEndOfRow = 0;
constexpr uint8_t kEndOfBitmap = 1;
constexpr uint8_t kMove = 2;
constexpr size_t kLongestRun = 255;     // pixels, of a run or of a literal stretch
constexpr size_t kShortestStretch = 3;  // pixels worth a run, and the fewest literal ones

/// Where the next pixel goes. A run that leaves its row goes on in the one above; what leaves the
/// rows ends the picture.
template <int kPixelsPerByte>
class CRowWriter {
public:
    CRowWriter(std::span<uint8_t> rows, size_t rowBytes) : m_rows(rows), m_rowBytes(rowBytes) {}

    void NextRow() { m_x = 0, ++m_row; }
    void Move(uint8_t right, uint8_t up) { m_x += right, m_row += up; }

    /// `count` pixels of one byte's value (8 bits) or of its two nibbles in turn (4 bits).
    bool Run(uint8_t value, size_t count) {
        if constexpr (kPixelsPerByte == 1) {
            const uint64_t start = Start() + m_x;
            if (start >= m_rows.size()) return false;
            const size_t fits = std::min<size_t>(count, m_rows.size() - static_cast<size_t>(start));
            std::memset(m_rows.data() + start, value, fits);
            m_x += count;
            return fits == count;
        } else {
            for (size_t i = 0; i < count; ++i) {
                if (!Nibble(i % 2 == 0 ? value >> 4 : value & 15)) return false;
            }
            return true;
        }
    }

    bool Literal(std::span<const uint8_t> bytes, size_t count) {
        if constexpr (kPixelsPerByte == 1) {
            const uint64_t start = Start() + m_x;
            if (start >= m_rows.size()) return false;
            const size_t fits =
                std::min<size_t>(bytes.size(), m_rows.size() - static_cast<size_t>(start));
            std::memcpy(m_rows.data() + start, bytes.data(), fits);
            m_x += count;
            return fits == count;
        } else {
            for (size_t i = 0; i < std::min(count, 2 * bytes.size()); ++i) {
                if (!Nibble(i % 2 == 0 ? bytes[i / 2] >> 4 : bytes[i / 2] & 15)) return false;
            }
            return bytes.size() >= (count + 1) / 2;
        }
    }

private:
    [[nodiscard]] uint64_t Start() const { return m_row * m_rowBytes; }

    bool Nibble(int value) {
        const uint64_t position = Start() + m_x / 2;
        if (position >= m_rows.size()) return false;
        uint8_t& byte = m_rows[static_cast<size_t>(position)];
        byte = static_cast<uint8_t>(m_x % 2 == 0 ? (byte & 0x0F) | (value << 4)
                                                 : (byte & 0xF0) | value);
        ++m_x;
        return true;
    }

    std::span<uint8_t> m_rows;
    uint64_t m_rowBytes;
    uint64_t m_row = 0;  // from the bottom
    uint64_t m_x = 0;    // pixels
};

template <int kPixelsPerByte>
void Expand(std::span<const uint8_t> packed, std::span<uint8_t> rows, size_t rowBytes) {
    CRowWriter<kPixelsPerByte> out(rows, rowBytes);
    size_t at = 0;
    while (packed.size() - at >= 2) {
        const uint8_t count = packed[at];
        const uint8_t value = packed[at + 1];
        at += 2;
        if (count != 0) {
            if (!out.Run(value, count)) return;
        } else if (value == kEndOfRow) {
            out.NextRow();
        } else if (value == kEndOfBitmap) {
            return;
        } else if (value == kMove) {
            if (packed.size() - at < 2) return;
            out.Move(packed[at], packed[at + 1]);
            at += 2;
        } else {
            const size_t bytes = (value + size_t{kPixelsPerByte} - 1) / kPixelsPerByte;
            const size_t there = std::min(bytes, packed.size() - at);
            if (!out.Literal(packed.subspan(at, there), value)) return;
            at = std::min(at + bytes + bytes % 2, packed.size());
        }
    }
}

/// Packs one row. `pixel(i)` is a pixel's value, `runValue(v)` the value byte of a run of v and
/// `putLiterals(first, count)` appends literal pixels, padded.
template <typename PixelAt, typename RunValue, typename PutLiterals>
void PackRow(size_t width, std::vector<uint8_t>& packed, PixelAt pixel, RunValue runValue,
             PutLiterals putLiterals) {
    const auto runLength = [&](size_t start, size_t end) {
        size_t length = 1;
        while (start + length < end && pixel(start + length) == pixel(start)) ++length;
        return length;
    };
    const auto putRun = [&](size_t start, size_t length) {
        while (length != 0) {
            const size_t count = std::min(length, kLongestRun);
            packed.push_back(static_cast<uint8_t>(count));
            packed.push_back(runValue(pixel(start)));
            length -= count;
        }
    };
    // Literal pixels from `start` to `end`; what is left over below the fewest goes as runs.
    const auto putStretch = [&](size_t start, size_t end) {
        while (end - start >= kShortestStretch) {
            const size_t count = std::min(end - start, kLongestRun);
            packed.push_back(0);
            packed.push_back(static_cast<uint8_t>(count));
            putLiterals(start, count);
            start += count;
        }
        while (start != end) {
            const size_t length = runLength(start, end);
            putRun(start, length);
            start += length;
        }
    };
    size_t stretch = 0;  // first pixel not written yet
    for (size_t x = 0; x < width;) {
        const size_t length = runLength(x, width);
        if (length >= kShortestStretch) {
            putStretch(stretch, x);
            putRun(x, length);
            stretch = x + length;
        }
        x += length;
    }
    putStretch(stretch, width);
    packed.push_back(0);
    packed.push_back(kEndOfRow);
}

}  // namespace

void ExpandRLE8(std::span<const uint8_t> packed, std::span<uint8_t> rows, size_t rowBytes) {
    Expand<1>(packed, rows, rowBytes);
}

void ExpandRLE4(std::span<const uint8_t> packed, std::span<uint8_t> rows, size_t rowBytes) {
    Expand<2>(packed, rows, rowBytes);
}

void PackRLE8Row(const uint8_t* row, size_t width, std::vector<uint8_t>& packed) {
    PackRow(
        width, packed, [row](size_t x) { return row[x]; }, [](uint8_t value) { return value; },
        [&](size_t start, size_t count) {
            packed.insert(packed.end(), row + start, row + start + count);
            if (count % 2 != 0) packed.push_back(0);
        });
}

void PackRLE4Row(const uint8_t* row, size_t width, std::vector<uint8_t>& packed) {
    const auto pixel = [row](size_t x) {
        return static_cast<uint8_t>(x % 2 == 0 ? row[x / 2] >> 4 : row[x / 2] & 15);
    };
    PackRow(
        width, packed, pixel,
        [](uint8_t value) { return static_cast<uint8_t>(value << 4 | value); },
        [&](size_t start, size_t count) {
            const size_t end = start + count;
            size_t bytes = 0;
            for (size_t x = start; x < end; x += 2, ++bytes) {
                const uint8_t right = x + 1 < end ? pixel(x + 1) : uint8_t{0};
                packed.push_back(static_cast<uint8_t>(pixel(x) << 4 | right));
            }
            if (bytes % 2 != 0) packed.push_back(0);
        });
}

}  // namespace kestr
