#include "platform/triple_planes.h"

#include "platform/triples.h"
#include "platform/wide_vectors.h"

namespace kestr {
namespace {

#if defined(__x86_64__)

constexpr size_t kPixels = 32;  // a vector of each channel

KESTR_WIDE_VECTORS size_t SplitWide(const uint8_t* pixels, size_t count,
                                    const std::array<uint8_t*, 3>& planes) {
    size_t done = 0;
    for (; done + kPixels <= count; done += kPixels) {
        __m256i channels[3];
        LoadTriples(pixels + 3 * done, pixels + 3 * done + 48, channels);
        for (size_t i = 0; i < 3; ++i) {
            _mm256_storeu_si256(reinterpret_cast<__m256i*>(planes[i] + done), channels[i]);
        }
    }
    return done;
}

KESTR_WIDE_VECTORS size_t JoinWide(uint8_t* pixels, size_t count,
                                   const std::array<const uint8_t*, 3>& planes) {
    size_t done = 0;
    for (; done + kPixels <= count; done += kPixels) {
        __m256i channels[3];
        for (size_t i = 0; i < 3; ++i) {
            channels[i] = _mm256_loadu_si256(reinterpret_cast<const __m256i*>(planes[i] + done));
        }
        StoreTriples(pixels + 3 * done, pixels + 3 * done + 48, channels);
    }
    return done;
}

#else

size_t SplitWide(const uint8_t*, size_t, const std::array<uint8_t*, 3>&) {
    return 0;
}
size_t JoinWide(uint8_t*, size_t, const std::array<const uint8_t*, 3>&) {
    return 0;
}

#endif

}  // namespace

void SplitTriples(const uint8_t* pixels, size_t count, const std::array<uint8_t*, 3>& planes) {
    for (size_t i = HasWideVectors() ? SplitWide(pixels, count, planes) : 0; i < count; ++i) {
        for (size_t channel = 0; channel < 3; ++channel) {
            planes[channel][i] = pixels[3 * i + channel];
        }
    }
}

void JoinTriples(uint8_t* pixels, size_t count, const std::array<const uint8_t*, 3>& planes) {
    for (size_t i = HasWideVectors() ? JoinWide(pixels, count, planes) : 0; i < count; ++i) {
        for (size_t channel = 0; channel < 3; ++channel) {
            pixels[3 * i + channel] = planes[channel][i];
        }
    }
}

}  // namespace kestr
