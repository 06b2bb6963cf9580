#pragma once

#include <cstddef>
#include <cstdint>
#include <span>
#include <vector>

namespace kestr {

/// Which of several candidates with equal keys a Shell sort (gaps n/2, n/4 .. 1, an element moving
/// back while the one before it in its chain is strictly greater) puts at a rank.
///
/// Each pass is a stable sort of the chains of every gap-th element. Where the elements equal to
/// one key come to lie then depends only on which elements are less and which are greater, so these
/// two need not be told apart among themselves, and a pass only counts.
class CShellOrder {
public:
    static constexpr int32_t kLess = -1;
    static constexpr int32_t kGreater = -2;

    /// `elements` holds the candidates in the order of collection, each kLess, kGreater or, when
    /// its key is the wanted one, a number from 0; it is overwritten. The result is the number of
    /// the one at `rank`, where an equal candidate must lie.
    int32_t AtRank(std::span<int32_t> elements, size_t rank) {
        const size_t count = elements.size();
        if (count < 2) return elements[0];
        for (size_t gap = count / 2; gap > 1; gap /= 2) {
            for (size_t chain = 0; chain < gap; ++chain) SortChain(elements, chain, gap);
        }
        // The last pass has one chain of all elements: only its equal ones have to be counted.
        size_t before = 0;
        for (const int32_t element : elements) before += element == kLess;
        for (const int32_t element : elements) {
            if (element >= 0 && before++ == rank) return element;
        }
        return elements[0];
    }

private:
    void SortChain(std::span<int32_t> elements, size_t first, size_t gap) {
        m_equal.clear();
        size_t less = 0;
        for (size_t i = first; i < elements.size(); i += gap) {
            if (elements[i] == kLess) {
                ++less;
            } else if (elements[i] != kGreater) {
                m_equal.push_back(elements[i]);
            }
        }
        size_t i = first;
        for (; less > 0; --less, i += gap) elements[i] = kLess;
        for (const int32_t element : m_equal) {
            elements[i] = element;
            i += gap;
        }
        for (; i < elements.size(); i += gap) elements[i] = kGreater;
    }

    std::vector<int32_t> m_equal;
};

}  // namespace kestr
