#include "raw/sony_cipher.h"

#include <algorithm>
#include <bit>

#include "base/byte_cursor.h"

namespace kestr {

CSonyCipher::CSonyCipher(uint32_t key) {
    // Number n of the pad is that of n - 127 xor that of n - 63; only the first 127 have a rule of
    // their own. They stand where Refill() takes them from, the high half first.
    std::array<uint32_t, kHistory / 2> first;
    for (size_t i = 0; i < 4; ++i) first[i] = key = key * 48828125 + 1;
    first[3] = first[3] << 1 | (first[0] ^ first[2]) >> 31;
    for (size_t i = 4; i < first.size(); ++i) {
        first[i] = (first[i - 4] ^ first[i - 2]) << 1 | (first[i - 3] ^ first[i - 1]) >> 31;
    }
    for (size_t i = 0; i < first.size(); ++i) {
        m_pad[kAhead + 2 * i] = static_cast<uint16_t>(first[i] >> 16);
        m_pad[kAhead + 2 * i + 1] = static_cast<uint16_t>(first[i]);
    }
}

void CSonyCipher::Refill() {
    std::copy(m_pad.end() - kHistory, m_pad.end(), m_pad.begin());
    for (size_t i = kHistory; i < m_pad.size(); ++i) m_pad[i] = m_pad[i - 254] ^ m_pad[i - 126];
    m_next = kHistory;
}

void CSonyCipher::Words(std::span<const uint8_t> bytes, std::span<uint16_t> words) {
    const uint8_t* in = bytes.data();
    uint16_t* out = words.data();
    for (size_t left = std::min(bytes.size() / 2, words.size()); left != 0;) {
        if (m_next == m_pad.size()) Refill();
        const size_t count = std::min(left, m_pad.size() - m_next);
        const uint16_t* pad = m_pad.data() + m_next;
        for (size_t i = 0; i < count; ++i) {
            out[i] = LoadNumber<uint16_t, std::endian::big>(in + 2 * i) ^ pad[i];
        }
        in += 2 * count;
        out += count;
        m_next += count;
        left -= count;
    }
}

void CSonyCipher::Apply(std::span<uint8_t> bytes) {
    std::array<uint16_t, 256> words;
    while (bytes.size() >= 2) {
        const size_t count = std::min(bytes.size() / 2, words.size());
        Words(bytes, std::span(words).first(count));
        for (size_t i = 0; i < count; ++i) {
            StoreNumber<uint16_t, std::endian::big>(bytes.data() + 2 * i, words[i]);
        }
        bytes = bytes.subspan(2 * count);
    }
}

}  // namespace kestr
