#include "formats/pack_bits.h"

#include <algorithm>
#include <array>
#include <cstring>

#include "base/byte_cursor.h"

namespace kestr {
namespace {

constexpr uint8_t kNothing = 128;
constexpr size_t kShort = 16;     // bytes
constexpr size_t kLongest = 128;  // bytes that a packet makes

using CShortPacket = uint8_t __attribute__((vector_size(kShort)));

struct CPacketSize {
    uint16_t taken = 0;  // bytes of the data, the head included
    uint16_t made = 0;
};
constexpr std::array<CPacketSize, 256> kPacketSizes = [] {
    std::array<CPacketSize, 256> sizes;
    for (int head = 0; head < 256; ++head) {
        sizes[static_cast<size_t>(head)] =
            head < kNothing
                ? CPacketSize{static_cast<uint16_t>(head + 2), static_cast<uint16_t>(head + 1)}
            : head == kNothing ? CPacketSize{1, 0}
                               : CPacketSize{2, static_cast<uint16_t>(257 - head)};
    }
    return sizes;
}();
static_assert(kPacketSizes[127].taken == 129 && kPacketSizes[129].made == 128 &&
              kPacketSizes[255].made == 2);

}  // namespace

size_t PackedLength(std::span<const uint8_t> data, uint64_t count) {
    size_t at = 0;
    for (uint64_t made = 0; made < count && at < data.size();) {
        const CPacketSize packet = kPacketSizes[data[at]];
        made += packet.made;
        at += packet.taken;
    }
    return std::min(at, data.size());
}

std::optional<size_t> LengthOfWholeRows(std::span<const uint8_t> data,
                                        std::span<const uint8_t> lengths, uint64_t rowBytes) {
    // Where a packet begins is known when the one before it is read: four rows at a time fill the
    // wait.
    constexpr size_t kRows = 4;
    size_t next = 0;
    for (size_t row = 0; row < lengths.size() / 2; row += kRows) {
        std::array<size_t, kRows> at{}, end{};
        std::array<uint64_t, kRows> made{};
        const size_t rows = std::min(kRows, lengths.size() / 2 - row);
        for (size_t k = 0; k < rows; ++k) {
            at[k] = next;
            next += LoadNumber<uint16_t, std::endian::big>(lengths.data() + 2 * (row + k));
            end[k] = next;
        }
        if (next > data.size()) return std::nullopt;
        const auto step = [&](size_t k) {
            const CPacketSize packet = kPacketSizes[data[at[k]]];
            made[k] += packet.made;
            at[k] += packet.taken;
        };
        while (at[0] < end[0] && at[1] < end[1] && at[2] < end[2] && at[3] < end[3]) {
            for (size_t k = 0; k < kRows; ++k) step(k);
        }
        for (size_t k = 0; k < rows; ++k) {
            while (at[k] < end[k]) step(k);
            if (at[k] != end[k] || made[k] != rowBytes) return std::nullopt;
        }
    }
    return next;
}

bool CPlaneStream::NextPacket() {
    while (m_at < m_data.size()) {
        const uint8_t head = m_data[m_at++];
        if (head == kNothing) continue;
        m_isRun = head > kNothing;
        if (!m_isRun) {
            m_left = std::min<size_t>(head + size_t{1}, m_data.size() - m_at);
        } else if (m_at < m_data.size()) {
            m_left = 257 - size_t{head};
            m_value = m_data[m_at++];
        }
        return m_left != 0;
    }
    return false;
}

const uint8_t* CPlaneStream::Read(size_t count, uint8_t* room) {
    if (!m_packed) {
        const size_t there = std::min(count, m_data.size() - m_at);
        const uint8_t* const bytes = m_data.data() + m_at;
        m_at += there;
        if (there == count) return bytes;
        if (there != 0) std::memcpy(room, bytes, there);
        std::memset(room + there, 0, count - there);
        return room;
    }
    uint8_t* out = room;
    uint8_t* const end = room + count;
    while (out != end) {
        if (m_left == 0) {
            out = ReadWholePackets(out, end);
            if (!NextPacket()) {
                std::memset(out, 0, static_cast<size_t>(end - out));
                break;
            }
        }
        const size_t piece = std::min(m_left, static_cast<size_t>(end - out));
        if (m_isRun) {
            std::memset(out, m_value, piece);
        } else {
            std::memcpy(out, m_data.data() + m_at, piece);
            m_at += piece;
        }
        m_left -= piece;
        out += piece;
    }
    return room;
}

/// The packets that lie so far from the end of the data and of the room that nothing has to be
/// tested. Most are short and come in no order: the first bytes are written without a branch, of
/// either kind.
uint8_t* CPlaneStream::ReadWholePackets(uint8_t* out, const uint8_t* end) {
    constexpr auto kMargin = static_cast<ptrdiff_t>(1 + kLongest + kShort);
    const uint8_t* from = m_data.data() + m_at;
    const uint8_t* const last = m_data.data() + m_data.size();
    while (end - out >= kMargin && last - from >= kMargin) {
        const uint8_t head = from[0];
        const bool isRun = head > kNothing;
        const CPacketSize packet = kPacketSizes[head];
        CShortPacket literals;
        std::memcpy(&literals, from + 1, kShort);
        const CShortPacket run = CShortPacket{} + from[1];
        const CShortPacket mask = CShortPacket{} - static_cast<uint8_t>(isRun);  // 0 or 255
        const CShortPacket bytes = (run & mask) | (literals & ~mask);
        std::memcpy(out, &bytes, kShort);
        if (packet.made > kShort) {
            const size_t rest = packet.made - kShort;
            if (isRun) {
                std::memset(out + kShort, from[1], rest);
            } else {
                std::memcpy(out + kShort, from + 1 + kShort, rest);
            }
        }
        from += packet.taken;
        out += packet.made;
    }
    m_at = static_cast<size_t>(from - m_data.data());
    return out;
}

void CPlaneStream::Skip(uint64_t count) {
    if (!m_packed) {
        m_at += static_cast<size_t>(std::min<uint64_t>(count, m_data.size() - m_at));
        return;
    }
    while (count != 0 && (m_left != 0 || NextPacket())) {
        const auto piece = static_cast<size_t>(std::min<uint64_t>(m_left, count));
        if (!m_isRun) m_at += piece;
        m_left -= piece;
        count -= piece;
    }
}

}  // namespace kestr
