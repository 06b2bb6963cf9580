// The cipher of Sony's raw files: their sensor data and their private directories.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <span>

namespace kestr {

class CSonyCipher {
public:
    explicit CSonyCipher(uint32_t key);

    /// Enciphers or deciphers big-endian words of 16 bits, going on where the call before ended: as
    /// many as `bytes` has and `words` has room for.
    void Words(std::span<const uint8_t> bytes, std::span<uint16_t> words);
    /// The same in place; a byte too many at the end stays as it is.
    void Apply(std::span<uint8_t> bytes);

private:
    // The cipher's numbers have 32 bits, but for the first ones their halves do not touch.
    static constexpr size_t kHistory = 2 * 127;  // halves that the next ones are made from
    static constexpr size_t kAhead = 8 * 126;    // halves that are made at a time

    void Refill();

    std::array<uint16_t, kHistory + kAhead> m_pad;
    size_t m_next = kHistory + kAhead;
};

}  // namespace kestr
