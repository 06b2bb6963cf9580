#pragma once

#include <algorithm>
#include <cstdint>
#include <cstdio>
#include <filesystem>
#include <memory>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "raw/dcraw_reader.h"
#include "readers/reader_registry.h"
#include "support/loaded_handle.h"
#include "support/test_data.h"

namespace kestr::test {

/// Sensor values, row by row.
struct CSensorValues {
    uint32_t width = 0, height = 0;
    std::vector<uint16_t> values;

    CSensorValues Part(uint32_t left, uint32_t top, uint32_t w, uint32_t h) const {
        CSensorValues part{w, h, {}};
        for (uint32_t y = 0; y < h; ++y) {
            const auto row = values.begin() + ptrdiff_t(size_t{top + y} * width + left);
            part.values.insert(part.values.end(), row, row + w);
        }
        return part;
    }
    friend bool operator==(const CSensorValues&, const CSensorValues&) = default;
};

/// A PGM of 16 bits without comments.
inline CSensorValues ReadPGM(const std::filesystem::path& path) {
    const auto bytes = ReadFile(path);
    CSensorValues image;
    int used = 0;
    std::string head(bytes.begin(),
                     bytes.begin() + std::min<ptrdiff_t>(40, ptrdiff_t(bytes.size())));
    if (std::sscanf(head.c_str(), "P5 %u %u 65535%n", &image.width, &image.height, &used) != 2) {
        ADD_FAILURE() << path;
        return {};
    }
    for (size_t i = size_t(used) + 1; i + 1 < bytes.size(); i += 2) {
        image.values.push_back(uint16_t(bytes[i] << 8 | bytes[i + 1]));
    }
    return image;
}

/// What the reader of a type makes of the sensor before anything is developed: the picture's values
/// with its margins of `margin` pixels.
inline CSensorValues ProbeSensor(int32_t typeId, const std::filesystem::path& path,
                                 uint32_t margin = 2) {
    const auto reader = CreateReader(typeId, true, false, {});
    auto* const raw = dynamic_cast<CDCRawReader*>(reader.get());
    if (raw == nullptr || !raw->Open(WidePath(path).c_str(), 0)) return {};
    raw->PrepareRawDecode();
    CRawSensorImage image;
    image.samples = CRawSamples(uint32_t(raw->m_bitmapInfo.Width()) + 2 * margin,
                                uint32_t(raw->m_bitmapInfo.Height()) + 2 * margin, 1);
    const bool read = raw->ReadSensorData(image);
    raw->Close();
    if (!read) return {};
    const size_t count = size_t{image.samples.width} * image.samples.height;
    return {image.samples.width,
            image.samples.height,
            {image.samples.Row(0), image.samples.Row(0) + count}};
}

/// How the camera answers to light without colour, as the file tells; empty when it does not.
inline std::vector<double> StatedNeutral(int32_t typeId, const std::filesystem::path& path) {
    struct CNeutral : CDCRawReader {
        static const std::vector<double>& Of(const CDCRawReader& reader) {
            return reader.*&CNeutral::m_asShotNeutral;
        }
    };
    const auto reader = CreateReader(typeId, true, false, {});
    auto* const raw = dynamic_cast<CDCRawReader*>(reader.get());
    if (raw == nullptr || !raw->Open(WidePath(path).c_str(), 0)) return {};
    raw->PrepareRawDecode();
    raw->Close();
    return CNeutral::Of(*raw);
}

/// A card that reflects all colours alike is gray in the middle, by each method and both routes,
/// and by the neutral that the file states: one that is estimated makes any card gray.
inline void ExpectGrayCard(const std::filesystem::path& path, int tolerance = 100) {
    for (const int16_t method : {0, 1, 2}) {
        for (const int16_t ciecam : {0, 1}) {
            SCOPED_TRACE(testing::Message()
                         << path << " method " << method << " ciecam " << ciecam);
            CHandle handle;
            cSetRawInterpolationMethod(handle, method);
            cSetGeneralRawParams(handle, 0, 1);
            cUseCIECAM02(handle, ciecam);
            ASSERT_TRUE(handle.Load(path)) << handle.ErrorText();
            const auto info = handle.Info();
            ASSERT_FALSE(StatedNeutral(info.typeId, path).empty());
            uint16_t red = 0, green = 0, blue = 0;
            cGetPixelColor(handle, int32_t(info.width / 2), int32_t(info.height / 2), &red, &green,
                           &blue);
            EXPECT_NEAR(red, green, tolerance);
            EXPECT_NEAR(blue, green, tolerance);
            EXPECT_GT(green, 8000);
            EXPECT_LT(green, 60000);
        }
    }
}

}  // namespace kestr::test
