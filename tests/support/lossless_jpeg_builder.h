#pragma once

#include <array>
#include <cstdint>
#include <vector>

#include "support/bit_writer.h"

namespace kestr::test {

/// A stream of lossless JPEG, written plainly from ITU-T T.81. Every stated number can lie.
struct CLosslessJPEGBuilder {
    uint32_t columns = 1;
    uint32_t rows = 1;
    uint32_t components = 1;
    int precision = 14;
    int predictor = 1;
    int pointTransform = 0;
    uint32_t restartRows = 0;
    bool bitsBehind16 = false;
    uint8_t frameMarker = 0xC3;
    uint8_t sampling = 0x11;
    uint8_t tableNumber = 1;
    uint32_t restartInterval = 0;  // stated instead of the true one when not 0
    // All categories; the long codes are as long as they may be.
    std::array<uint8_t, 16> counts{0, 1, 4, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 0};
    std::vector<uint8_t> values{3, 2, 4, 1, 5, 6, 0, 7, 8, 16, 9, 10, 15, 14, 13, 12, 11};

    /// The samples are those before the point transform's shift.
    std::vector<uint8_t> Encode(const std::vector<uint16_t>& samples) const {
        std::vector<uint8_t> out{0xFF, 0xD8};
        const auto segment = [&](uint8_t code, const std::vector<uint8_t>& data) {
            const size_t length = data.size() + 2;
            out.insert(out.end(), {0xFF, code, uint8_t(length >> 8), uint8_t(length)});
            out.insert(out.end(), data.begin(), data.end());
        };
        segment(0xFE, {'h', 'i'});
        std::vector<uint8_t> frame{uint8_t(precision),    uint8_t(rows >> 8), uint8_t(rows),
                                   uint8_t(columns >> 8), uint8_t(columns),   uint8_t(components)};
        std::vector<uint8_t> scan{uint8_t(components)};
        for (uint32_t c = 0; c < components; ++c) {
            frame.insert(frame.end(), {uint8_t(c + 1), sampling, 0});
            scan.insert(scan.end(), {uint8_t(c + 1), uint8_t(tableNumber << 4)});
        }
        scan.insert(scan.end(), {uint8_t(predictor), 0, uint8_t(pointTransform)});
        segment(frameMarker, frame);
        std::vector<uint8_t> table{tableNumber};
        table.insert(table.end(), counts.begin(), counts.end());
        table.insert(table.end(), values.begin(), values.end());
        segment(0xC4, table);
        const uint32_t interval = restartInterval != 0 ? restartInterval : restartRows * columns;
        if (interval != 0) segment(0xDD, {uint8_t(interval >> 8), uint8_t(interval)});
        segment(0xDA, scan);
        AddRows(samples, out);
        out.insert(out.end(), {0xFF, 0xD9});
        return out;
    }

private:
    void AddRows(const std::vector<uint16_t>& samples, std::vector<uint8_t>& out) const {
        const CDifferenceWriter codes(counts, values);
        CBitWriter bits(true);
        uint32_t top = 0;  // first row of the restart interval
        for (uint32_t y = 0; y < rows; ++y) {
            if (restartRows != 0 && y != 0 && y % restartRows == 0) {
                bits.Align();
                bits.bytes.insert(bits.bytes.end(),
                                  {0xFF, uint8_t(0xD0 + (y / restartRows - 1) % 8)});
                top = y;
            }
            for (uint32_t x = 0; x < columns; ++x) {
                for (uint32_t c = 0; c < components; ++c) {
                    const auto at = [&](uint32_t row, uint32_t column) {
                        return int(samples[(size_t{row} * columns + column) * components + c]);
                    };
                    int predicted = 0;
                    if (y == top) {
                        predicted = x == 0 ? 1 << (precision - pointTransform - 1) : at(y, x - 1);
                    } else if (x == 0) {
                        predicted = at(y - 1, 0);
                    } else {
                        const int a = at(y, x - 1), b = at(y - 1, x), d = at(y - 1, x - 1);
                        const int all[] = {
                            0,           a, b, d, a + b - d, a + ((b - d) >> 1), b + ((a - d) >> 1),
                            (a + b) >> 1};
                        predicted = all[predictor];
                    }
                    codes.Put(bits, int16_t(at(y, x) - predicted), bitsBehind16);
                }
            }
        }
        bits.Align();
        out.insert(out.end(), bits.bytes.begin(), bits.bytes.end());
    }
};

}  // namespace kestr::test
