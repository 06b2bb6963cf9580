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

    /// Enciphers or deciphers in place, going on where the call before ended. Works on whole words
    /// of four bytes: up to three bytes at the end stay as they are.
    void Apply(std::span<uint8_t> bytes);

private:
    static constexpr size_t kHistory = 127;  // words that the next one is made from
    static constexpr size_t kAhead = 504;    // words that are made at a time

    void Refill();

    std::array<uint32_t, kHistory + kAhead> m_pad;
    size_t m_next = kHistory + kAhead;
};

}  // namespace kestr
