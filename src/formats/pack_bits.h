// PackBits: a signed byte n >= 0 stands before n + 1 bytes as they are; n from -1 to -127 before
// one byte that is repeated 1 - n times; -128 stands for nothing. Layout: Apple technical note
// TN1023.
#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <span>

namespace kestr {

/// A plane of samples, packed or plain, read from start to end in pieces of any size: packets may
/// go over from one piece into the next. What the data no longer holds is 0.
class CPlaneStream {
public:
    CPlaneStream() = default;
    CPlaneStream(std::span<const uint8_t> data, bool packed) : m_data(data), m_packed(packed) {}

    /// The next `count` bytes: where they lie in a plain plane, else written to `room`.
    const uint8_t* Read(size_t count, uint8_t* room);
    void Skip(uint64_t count);
    /// Whether all that follows is 0 for want of data.
    [[nodiscard]] bool Ended() const { return m_at >= m_data.size() && m_left == 0; }

private:
    bool NextPacket();
    uint8_t* ReadWholePackets(uint8_t* out, const uint8_t* end);

    std::span<const uint8_t> m_data;
    size_t m_at = 0;
    bool m_packed = false;
    size_t m_left = 0;  // bytes of the packet that are still to come
    bool m_isRun = false;
    uint8_t m_value = 0;  // of a run
};

/// Bytes at the start of `data` whose packets make `count` bytes; all of them when they are short.
/// A last packet that makes more counts whole.
[[nodiscard]] size_t PackedLength(std::span<const uint8_t> data, uint64_t count);

/// The same for rows whose packed lengths are known, 16 bits each, big-endian, if every row is
/// packed by itself and as long as it should be; else nothing.
[[nodiscard]] std::optional<size_t> LengthOfWholeRows(std::span<const uint8_t> data,
                                                      std::span<const uint8_t> lengths,
                                                      uint64_t rowBytes);

}  // namespace kestr
