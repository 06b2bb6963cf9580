#include "raw/sony_cipher.h"

#include <algorithm>
#include <bit>

#include "base/byte_cursor.h"

namespace kestr {

CSonyCipher::CSonyCipher(uint32_t key) {
    // Word n of the pad is that of n - 127 xor that of n - 63; only the first 127 words have a rule
    // of their own. They stand where Refill() takes them from.
    const auto first = m_pad.end() - kHistory;
    for (int i = 0; i < 4; ++i) first[i] = key = key * 48828125 + 1;
    first[3] = first[3] << 1 | (first[0] ^ first[2]) >> 31;
    for (size_t i = 4; i < kHistory; ++i) {
        first[i] = (first[i - 4] ^ first[i - 2]) << 1 | (first[i - 3] ^ first[i - 1]) >> 31;
    }
}

void CSonyCipher::Refill() {
    std::copy(m_pad.end() - kHistory, m_pad.end(), m_pad.begin());
    for (size_t i = kHistory; i < m_pad.size(); ++i) m_pad[i] = m_pad[i - 127] ^ m_pad[i - 63];
    m_next = kHistory;
}

void CSonyCipher::Apply(std::span<uint8_t> bytes) {
    size_t words = bytes.size() / 4;
    uint8_t* at = bytes.data();
    while (words != 0) {
        if (m_next == m_pad.size()) Refill();
        const size_t count = std::min(words, m_pad.size() - m_next);
        const uint32_t* pad = m_pad.data() + m_next;
        for (size_t i = 0; i < count; ++i) {
            const auto word = LoadNumber<uint32_t, std::endian::big>(at + 4 * i);
            StoreNumber<uint32_t, std::endian::big>(at + 4 * i, word ^ pad[i]);
        }
        at += 4 * count;
        m_next += count;
        words -= count;
    }
}

}  // namespace kestr
