#include "raw/packed_samples.h"

#include <vector>

#include <gtest/gtest.h>

#include "raw/raw_sensor_image.h"

namespace kestr {
namespace {

std::vector<uint16_t> Unpacked(const CPackedLayout& layout, const std::vector<uint8_t>& bytes,
                               size_t count) {
    std::vector<uint16_t> row(count, 0xEEEE);
    UnpackRow(bytes, layout, row);
    return row;
}

// Bytes and values worked out by hand.
TEST(PackedSamples, UnpacksEachForm) {
    using enum CSamplePacking;
    const std::vector<uint8_t> bytes{0x12, 0x34, 0x56, 0x78, 0x9A, 0xBC};
    using Values = std::vector<uint16_t>;
    EXPECT_EQ(Unpacked({.packing = kLittleWords}, bytes, 3), (Values{0x3412, 0x7856, 0xBC9A}));
    EXPECT_EQ(Unpacked({.packing = kBigWords, .shift = 4}, bytes, 3),
              (Values{0x0123, 0x0567, 0x09AB}));
    EXPECT_EQ(Unpacked({.packing = k12HighFirst}, bytes, 4), (Values{0x123, 0x456, 0x789, 0xABC}));
    EXPECT_EQ(Unpacked({.packing = k12LowFirst}, bytes, 4), (Values{0x412, 0x563, 0xA78, 0xBC9}));
    // What is cut off counts as 0.
    EXPECT_EQ(Unpacked({.packing = k12HighFirst}, {0x12, 0x34}, 3), (Values{0x123, 0x400, 0}));
    EXPECT_EQ(Unpacked({.packing = k12LowFirst}, {}, 3), (Values{0, 0, 0}));
}

TEST(PackedSamples, SkipsTheByteBehindTenValues) {
    for (const auto packing : {CSamplePacking::k12HighFirst, CSamplePacking::k12LowFirst}) {
        std::vector<uint8_t> bytes(15, 0);
        bytes.push_back(0xFF);
        bytes.insert(bytes.end(), {0x21, 0x43, 0x65});
        const auto row = Unpacked({.packing = packing, .padded = true}, bytes, 12);
        EXPECT_EQ(row[9], 0);
        EXPECT_EQ(row[10], packing == CSamplePacking::k12HighFirst ? 0x214 : 0x321);
        EXPECT_EQ(PackedRowBytes({.packing = packing, .padded = true}, 12), bytes.size());
    }
}

// Rows 0, 2, 4 from the start and rows 1, 3 from a place of their own, with unused bytes at the
// end of each row; a height that is odd has a row less in its second field.
TEST(PackedSamples, PlacesFieldsAndRows) {
    std::vector<uint8_t> data(100, 0xEE);
    const auto put = [&](size_t at, uint8_t value) {
        data[at] = value;
        data[at + 1] = 0;
    };
    for (size_t row = 0; row < 3; ++row) put(row * 5, static_cast<uint8_t>(2 * row + 1));
    for (size_t row = 0; row < 2; ++row) put(40 + row * 5, static_cast<uint8_t>(2 * row + 2));
    CRawSensorImage image;
    image.samples = CRawSamples(1, 5, 1);
    ASSERT_TRUE(ReadPackedSamples(
        data,
        {.packing = CSamplePacking::kLittleWords, .rowBytes = 5, .fieldRows = 6, .secondField = 40},
        image, nullptr));
    for (uint32_t y = 0; y < 5; ++y) EXPECT_EQ(*image.samples.Pixel(y, 0), y + 1);
}

}  // namespace
}  // namespace kestr
