#pragma once

#include <cstddef>
#include <cstdint>
#include <new>

#include "base/picture_size.h"
#include "base/pixel_buffer.h"

namespace kestr {

/// The last `depth` rows of something, found by their number in the picture: what a filter that
/// overwrites the picture from the top must remember of it. A row may be read `kSlack` samples
/// beyond its end, where the content is undefined.
template <typename T>
class CRowBand {
public:
    static constexpr size_t kSlack = 256;

    /// Throws std::bad_alloc when the memory cannot be had.
    CRowBand(int32_t depth, size_t rowSamples)
        : m_depth(depth), m_step((rowSamples + kSlack + 63) & ~size_t{63}) {
        const auto bytes = StoreBytes(uint64_t{m_step} * sizeof(T), static_cast<uint64_t>(depth));
        if (!bytes) throw std::bad_alloc();
        m_rows.ResizeZeroed(*bytes / sizeof(T));
    }

    [[nodiscard]] T* Row(int32_t y) {
        return m_rows.data() + static_cast<size_t>(y % m_depth) * m_step;
    }

private:
    int32_t m_depth;
    size_t m_step;  // samples from a row to the next
    CPixelBuffer<T> m_rows;
};

}  // namespace kestr
