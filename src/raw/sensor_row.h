#pragma once

#include <array>
#include <cstdint>
#include <span>

#include "raw/raw_sensor_image.h"

namespace kestr {

/// Stores sensor values of row `y` from column `left` on, each at the sample of its pixel that FC()
/// tells. Rows that the image does not have, and values behind its right edge, are dropped.
inline void StoreSensorRow(CRawSensorImage& image, uint32_t y, std::span<const uint16_t> values,
                           uint32_t left = 0) {
    CRawSamples& samples = image.samples;
    if (y >= samples.height || left >= samples.width) return;
    const size_t colors = samples.colors;
    std::array<size_t, 8> place;  // of a value, in samples from the first of eight pixels
    for (uint32_t x = 0; x < 8; ++x) place[x] = x * colors + image.FC(y, left + x);
    const size_t room = samples.width - left;
    const size_t count = values.size() < room ? values.size() : room;
    const uint16_t* in = values.data();
    uint16_t* out = samples.Pixel(y, left);
    size_t x = 0;
    for (; x + 8 <= count; x += 8, in += 8, out += 8 * colors) {
        for (size_t i = 0; i < 8; ++i) out[place[i]] = in[i];
    }
    for (size_t i = 0; x < count; ++x, ++i) out[place[i]] = in[i];
}

}  // namespace kestr
