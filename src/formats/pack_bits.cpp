#include "formats/pack_bits.h"

#include <algorithm>
#include <array>
#include <cstring>

namespace kestr {
namespace {

constexpr uint8_t kNothing = 128;
constexpr size_t kShort = 16;  // bytes

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
        if (m_left == 0 && !NextPacket()) {
            std::memset(out, 0, static_cast<size_t>(end - out));
            break;
        }
        const size_t piece = std::min(m_left, static_cast<size_t>(end - out));
        // Most packets are short: a copy of a fixed size is quicker, where there is room for it.
        const bool isShort = piece <= kShort && static_cast<size_t>(end - out) >= kShort;
        if (m_isRun) {
            if (isShort) {
                std::memset(out, m_value, kShort);
            } else {
                std::memset(out, m_value, piece);
            }
        } else {
            const uint8_t* const literals = m_data.data() + m_at;
            if (isShort && m_data.size() - m_at >= kShort) {
                std::memcpy(out, literals, kShort);
            } else {
                std::memcpy(out, literals, piece);
            }
            m_at += piece;
        }
        m_left -= piece;
        out += piece;
    }
    return room;
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
