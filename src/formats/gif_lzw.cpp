#include "formats/gif_lzw.h"

#include <algorithm>
#include <bit>
#include <cstring>

namespace kestr {
namespace {

static_assert(std::endian::native == std::endian::little,
              "eight pixels or bytes are moved as one number");

constexpr int kMostWidth = 12;                     // bits of a code
constexpr size_t kChunk = 8;                       // pixels of a string that are held together
constexpr size_t kAhead = size_t{1} << 14;         // pixels that are unpacked in one go
constexpr size_t kSlack = kGIFMostCodes + kChunk;  // the longest string, rounded up to chunks

}  // namespace

CGIFDecoder::CGIFDecoder(std::span<const uint8_t> data, int pixelBits)
    : m_data(data),
      m_clearCode(1 << pixelBits),
      m_firstWidth(pixelBits + 1),
      m_pixels(kAhead + kSlack) {
    for (int code = 0; code < m_clearCode; ++code) {
        m_strings[static_cast<size_t>(code)] = {
            .tail = static_cast<uint8_t>(code), .length = 1, .first = static_cast<uint8_t>(code)};
    }
    Reset();  // a stream that begins without a clear code is read as if it had one
}

void CGIFDecoder::Reset() {
    m_width = m_firstWidth;
    m_nextCode = m_clearCode + 2;
    m_oldCode = -1;
}

size_t CGIFDecoder::Read(uint8_t* pixels, size_t count) {
    size_t done = 0;
    while (done < count) {
        if (m_start == m_end) {
            m_start = m_end = 0;
            if (!m_finished) Unpack();
            if (m_end == 0) break;
        }
        const size_t piece = std::min(count - done, m_end - m_start);
        std::memcpy(pixels + done, m_pixels.data() + m_start, piece);
        m_start += piece;
        done += piece;
    }
    std::memset(pixels + done, 0, count - done);
    return done;
}

// Makes m_bits hold a whole code; false at the end of the data.
bool CGIFDecoder::FillBits() {
    while (m_bitCount < m_width) {
        if (m_blockLeft == 0) {
            if (m_dataOver || m_data.empty() || m_data[0] == 0) {
                m_cutShort = m_cutShort || (!m_dataOver && m_data.empty());
                m_dataOver = true;
                return false;
            }
            m_blockLeft = m_data[0];
            m_data = m_data.subspan(1);
            m_blockLeft = std::min(m_blockLeft, m_data.size());
            continue;
        }
        if (m_blockLeft >= sizeof m_bits) {
            // As many whole bytes as there is room for; the bits of the next one that come along
            // are read once more with it.
            uint64_t next;
            std::memcpy(&next, m_data.data(), sizeof next);
            m_bits |= next << m_bitCount;
            const auto taken = static_cast<size_t>(63 - m_bitCount) / 8;
            m_bitCount += static_cast<int>(8 * taken);
            m_blockLeft -= taken;
            m_data = m_data.subspan(taken);
        } else {
            m_bits &= (uint64_t{1} << m_bitCount) - 1;
            m_bits |= uint64_t{m_data[0]} << m_bitCount;
            m_bitCount += 8;
            --m_blockLeft;
            m_data = m_data.subspan(1);
        }
    }
    return true;
}

// -1 when the data are over.
int CGIFDecoder::NextCode() {
    if (m_bitCount < m_width && !FillBits()) return -1;
    const auto code = static_cast<int>(m_bits & ((1u << m_width) - 1));
    m_bits >>= m_width;
    m_bitCount -= m_width;
    return code;
}

void CGIFDecoder::AddString(int prefix, uint8_t last) {
    if (m_nextCode >= kGIFMostCodes) return;
    const CString& old = m_strings[static_cast<size_t>(prefix)];
    CString& added = m_strings[static_cast<size_t>(m_nextCode)];
    const size_t inTail = (old.length - 1u) % kChunk + 1;
    if (inTail < kChunk) {
        added.tail = old.tail | uint64_t{last} << (8 * inTail);
        added.link = old.link;
    } else {
        added.tail = last;
        added.link = static_cast<uint16_t>(prefix);
    }
    added.length = static_cast<uint16_t>(old.length + 1);
    added.first = old.first;
    ++m_nextCode;
    if (m_nextCode >= 1 << m_width && m_width < kMostWidth) ++m_width;
}

// Whole chunks are written from the end of the string to its start; what the last one has too much
// is overwritten by the next string.
void CGIFDecoder::Emit(int code) {
    const CString* string = &m_strings[static_cast<size_t>(code)];
    uint8_t* out = m_pixels.data() + m_end;
    m_end += string->length;
    size_t offset = (string->length - 1u) / kChunk * kChunk;
    std::memcpy(out + offset, &string->tail, kChunk);
    while (offset != 0) {
        string = &m_strings[string->link];
        offset -= kChunk;
        std::memcpy(out + offset, &string->tail, kChunk);
    }
}

void CGIFDecoder::Unpack() {
    const int endCode = m_clearCode + 1;
    while (m_end < kAhead) {
        const int code = NextCode();
        if (code < 0 || (code == endCode && m_oldCode >= 0)) {
            m_finished = true;
            return;
        }
        if (code == m_clearCode) {
            Reset();
        } else if (m_oldCode < 0) {
            // Files with a wrong first code are about; it counts as 0.
            m_oldCode = code < m_clearCode ? code : 0;
            Emit(m_oldCode);
        } else if (code < m_nextCode) {
            Emit(code);
            AddString(m_oldCode, m_strings[static_cast<size_t>(code)].first);
            m_oldCode = code;
        } else {
            // The string that is about to be added; a code beyond it counts as 0 afterwards.
            const uint8_t first = m_strings[static_cast<size_t>(m_oldCode)].first;
            Emit(m_oldCode);
            m_pixels[m_end++] = first;
            const int added = m_nextCode;
            AddString(m_oldCode, first);
            m_oldCode = code == added ? code : 0;
        }
    }
}

CGIFEncoder::CGIFEncoder(int pixelBits, std::vector<uint8_t>& out)
    : m_out(out), m_clearCode(1 << pixelBits), m_firstWidth(pixelBits + 1), m_slots(kSlots) {
    m_width = m_firstWidth;
    m_nextCode = m_clearCode + 2;
    PutCode(m_clearCode);
}

void CGIFEncoder::Clear() {
    std::ranges::fill(m_slots, 0);
    m_nextCode = m_clearCode + 2;
    PutCode(m_clearCode);
    m_width = m_firstWidth;
}

void CGIFEncoder::Write(std::span<const uint8_t> pixels) {
    auto next = pixels.begin();
    if (m_prefix < 0 && next != pixels.end()) m_prefix = *next++;
    int prefix = m_prefix;
    for (; next != pixels.end(); ++next) {
        const auto key = static_cast<uint32_t>(prefix << 8 | *next);
        size_t slot = (key * 2654435761u) >> 18;  // the golden ratio's share of 2^32
        uint32_t entry = m_slots[slot];
        while (entry != 0 && entry >> kMostWidth != key) {
            slot = (slot + 1) & (kSlots - 1);
            entry = m_slots[slot];
        }
        if (entry != 0) {
            prefix = static_cast<int>(entry & (kGIFMostCodes - 1));
            continue;
        }
        PutCode(prefix);
        if (m_nextCode < kGIFMostCodes) {
            m_slots[slot] = key << kMostWidth | static_cast<uint32_t>(m_nextCode++);
        } else {
            Clear();
        }
        prefix = *next;
    }
    m_prefix = prefix;
}

void CGIFEncoder::Finish() {
    if (m_prefix >= 0) PutCode(m_prefix);
    PutCode(m_clearCode + 1);
    while (m_bitCount > 0) {
        PutByte(static_cast<uint8_t>(m_bits));
        m_bits >>= 8;
        m_bitCount -= 8;
    }
    if (m_block[0] != 0)
        m_out.insert(m_out.end(), m_block.begin(), m_block.begin() + m_block[0] + 1);
    m_out.push_back(0);
}

// A reader learns each string one code later than it is stored here: the width grows when the
// number that comes next no longer fits, after the code has gone out.
void CGIFEncoder::PutCode(int code) {
    m_bits |= static_cast<uint64_t>(code) << m_bitCount;
    m_bitCount += m_width;
    if (m_nextCode >= 1 << m_width && m_width < kMostWidth) ++m_width;
    while (m_bitCount >= 8) {
        PutByte(static_cast<uint8_t>(m_bits));
        m_bits >>= 8;
        m_bitCount -= 8;
    }
}

void CGIFEncoder::PutByte(uint8_t byte) {
    m_block[++m_block[0]] = byte;
    if (m_block[0] < 255) return;
    m_out.insert(m_out.end(), m_block.begin(), m_block.end());
    m_block[0] = 0;
}

}  // namespace kestr
