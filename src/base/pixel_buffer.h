#pragma once

#include <cstddef>
#include <cstdint>
#include <cstring>
#include <limits>
#include <new>
#include <span>
#include <type_traits>
#include <utility>

#include "platform/picture_memory.h"

namespace kestr {

/// A vector of samples for picture stores: never zeroed unless asked, moved and swapped without a
/// copy, backed by picture memory. Throws std::bad_alloc when the memory cannot be had.
template <typename T>
class CPixelBuffer {
    static_assert(std::is_trivially_copyable_v<T>);

public:
    using value_type = T;

    CPixelBuffer() = default;
    CPixelBuffer(const CPixelBuffer& other) { Assign(other); }
    CPixelBuffer(CPixelBuffer&& other) noexcept { swap(other); }
    ~CPixelBuffer() { Release(); }

    CPixelBuffer& operator=(const CPixelBuffer& other) {
        if (this != &other) Assign(other);
        return *this;
    }
    CPixelBuffer& operator=(CPixelBuffer&& other) noexcept {
        CPixelBuffer taken(std::move(other));
        swap(taken);
        return *this;
    }

    /// `count` samples of undefined content; the old content is gone.
    void ResizeUninitialized(size_t count) {
        if (count == m_capacity) {
            m_size = count;
            return;
        }
        Release();
        if (count == 0) return;
        if (count > std::numeric_limits<size_t>::max() / sizeof(T)) throw std::bad_alloc();
        m_data = static_cast<T*>(AllocatePictureMemory(count * sizeof(T)));
        m_size = m_capacity = count;
    }

    /// `count` samples, all 0; the old content is gone.
    void ResizeZeroed(size_t count) {
        ResizeUninitialized(count);
        if (count != 0) std::memset(static_cast<void*>(m_data), 0, count * sizeof(T));
    }

    /// Keeps the first `count` samples, and all of the memory.
    void Truncate(size_t count) {
        if (count < m_size) m_size = count;
    }

    void Assign(std::span<const T> samples) {
        ResizeUninitialized(samples.size());
        if (!samples.empty()) std::memcpy(m_data, samples.data(), samples.size_bytes());
    }

    void clear() noexcept { Release(); }
    void swap(CPixelBuffer& other) noexcept {
        std::swap(m_data, other.m_data);
        std::swap(m_size, other.m_size);
        std::swap(m_capacity, other.m_capacity);
    }

    [[nodiscard]] bool empty() const { return m_size == 0; }
    [[nodiscard]] size_t size() const { return m_size; }
    [[nodiscard]] T* data() { return m_data; }
    [[nodiscard]] const T* data() const { return m_data; }
    T& operator[](size_t index) { return m_data[index]; }
    const T& operator[](size_t index) const { return m_data[index]; }
    T* begin() { return m_data; }
    T* end() { return m_data + m_size; }
    const T* begin() const { return m_data; }
    const T* end() const { return m_data + m_size; }

    friend bool operator==(const CPixelBuffer& a, const CPixelBuffer& b) {
        return a.m_size == b.m_size &&
               (a.m_size == 0 || std::memcmp(a.m_data, b.m_data, a.m_size * sizeof(T)) == 0);
    }

private:
    void Release() noexcept {
        if (m_data != nullptr) FreePictureMemory(m_data, m_capacity * sizeof(T));
        m_data = nullptr;
        m_size = m_capacity = 0;
    }

    T* m_data = nullptr;
    size_t m_size = 0;
    size_t m_capacity = 0;  // samples that the memory was taken for
};

using CPixelBytes = CPixelBuffer<uint8_t>;
using CPixelWords = CPixelBuffer<uint16_t>;

}  // namespace kestr
