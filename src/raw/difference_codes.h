// Prefix codes of sample differences, as lossless JPEG (ITU-T T.81, annexes F.1.2.1 and H.1.2.2)
// and the cameras' own formats have them: a code tells a category, the number of bits of the
// difference that follows it.
#pragma once

#include <array>
#include <cstdint>
#include <optional>
#include <span>

namespace kestr {

/// What the value of a code means.
enum class CCategoryForm {
    kPlain,         // 0..16; category 16 is -32768 and has no bits
    kBitsAtLast,    // 0..16; category 16 has 16 bits as the others have theirs
    kLowBitsShared  // low nibble: the category; high nibble: as many of its low bits are not
                    // stored, and the difference stands in the middle of those that it may be
};

class CDifferenceCodes {
public:
    /// @param counts  codes of 1 to 16 bits.
    /// @param values  one a code, by ascending length; those that are missing are 0.
    /// @return nothing when there are more codes than their lengths allow, or no code, or a value
    ///         that is no category.
    static std::optional<CDifferenceCodes> Make(std::span<const uint8_t, 16> counts,
                                                std::span<const uint8_t> values,
                                                CCategoryForm form);

    /// The next difference, which counts modulo 65536. Where no code fits, it takes one bit and
    /// sets `bad`.
    template <typename Bits>
    [[nodiscard]] int32_t Next(Bits& bits, bool& bad) const {
        bits.Fill();
        CEntry entry = m_table[bits.Peek(kTableBits)];
        if (entry.bits == kLongCode) [[unlikely]] {
            entry = LongCode(bits.Peek(kLongestCode));
            if (entry.bits == kNoCode) {
                bad = true;
                entry.bits = 0;
            }
        }
        bits.Skip(entry.skip);
        if (entry.bits == 0) [[likely]]
            return entry.difference;
        const uint32_t stored = bits.Peek(entry.bits);
        bits.Skip(entry.bits);
        return Difference(stored, entry.bits, entry.difference);
    }

private:
    // Most differences of a photograph come with their code in so many bits.
    static constexpr int kTableBits = 12;
    static constexpr int kLongestCode = 16;
    static constexpr uint8_t kLongCode = 255;
    static constexpr uint8_t kNoCode = 254;

    struct CEntry {
        int16_t difference;  // when bits follow: how many of its low bits are not stored
        uint8_t skip;        // bits of the code, and of the difference that came with it
        uint8_t bits;        // of the difference that follow; kLongCode or kNoCode
    };
    // The codes of one length, left-aligned in 16 bits: they are below `limit`.
    struct CLength {
        uint32_t first = 0;
        uint32_t limit = 0;
        uint32_t firstValue = 0;  // index of the first code's value
    };

    // T.81, figure F.12: the upper half of the values is positive, the lower one negative.
    static constexpr int32_t Difference(uint32_t stored, int bits, int notStored) {
        const int category = bits + notStored;
        auto value = static_cast<int32_t>(stored);
        if (notStored > 0) value = (2 * value + 1) << (notStored - 1);
        if (value < 1 << (category - 1)) value -= (1 << category) - (notStored == 0 ? 1 : 0);
        return value;
    }
    [[nodiscard]] CEntry EntryOf(uint8_t value, int codeLength) const;
    [[nodiscard]] CEntry LongCode(uint32_t next16) const;

    CCategoryForm m_form = CCategoryForm::kPlain;
    std::array<CEntry, 1 << kTableBits> m_table;
    std::array<CLength, kLongestCode + 1> m_lengths;  // by length; none has length 0
    std::array<uint8_t, 256> m_values{};
};

}  // namespace kestr
