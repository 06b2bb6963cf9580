#pragma once

#include <array>
#include <cstddef>
#include <cstdint>

namespace kestr {

/// How often each value of `kBits` bits occurs in a window that slides over a picture, with the
/// value of a rank found from where it was before.
template <int kBits>
class CSlidingCounts {
public:
    void Add(uint32_t value) {
        ++m_counts[value];
        ++m_groups[value >> kGroupBits];
        m_below += value < m_at;
    }
    void Remove(uint32_t value) {
        --m_counts[value];
        --m_groups[value >> kGroupBits];
        m_below -= value < m_at;
    }

    /// Moves to the value of a rank, from 0; the window must hold more values than that.
    uint32_t MoveTo(uint32_t rank) {
        while (m_below > rank) {
            const uint32_t group = m_at >> kGroupBits;
            if (m_at % kGroup == 0 && m_below - m_groups[group - 1] > rank) {
                m_at -= kGroup;
                m_below -= m_groups[group - 1];
            } else {
                m_below -= m_counts[--m_at];
            }
        }
        while (m_below + m_counts[m_at] <= rank) {
            const uint32_t group = m_at >> kGroupBits;
            if (m_at % kGroup == 0 && m_below + m_groups[group] <= rank) {
                m_at += kGroup;
                m_below += m_groups[group];
            } else {
                m_below += m_counts[m_at++];
            }
        }
        return m_at;
    }

    /// Where MoveTo() led: how many values are less, and how many are equal.
    [[nodiscard]] uint32_t Below() const { return m_below; }
    [[nodiscard]] uint32_t Equal() const { return m_counts[m_at]; }
    [[nodiscard]] uint32_t Count(uint32_t value) const { return m_counts[value]; }

private:
    static constexpr int kGroupBits = kBits / 2;
    static constexpr uint32_t kGroup = 1u << kGroupBits;

    std::array<uint32_t, size_t{1} << kBits> m_counts{};
    std::array<uint32_t, size_t{1} << (kBits - kGroupBits)> m_groups{};
    uint32_t m_at = 0;
    uint32_t m_below = 0;  // values less than m_at
};

}  // namespace kestr
