#pragma once

#include <array>
#include <cstdint>
#include <memory>
#include <span>
#include <vector>

#include "raw/bit_reader.h"
#include "raw/difference_codes.h"

namespace kestr {

/// Decodes a stream of lossless JPEG (ITU-T T.81, annex H; SOF3): 2 to 16 bits, one scan of 1 to 4
/// components without subsampling, all predictors, point transform, restart intervals of whole
/// rows. Takes memory for two rows; a stream that ends early costs no more than what is there.
class CLosslessJPEG {
public:
    CLosslessJPEG(const CLosslessJPEG&) = delete;
    CLosslessJPEG& operator=(const CLosslessJPEG&) = delete;

    /// Reads up to the start of the scan; null when that is not there or not of this kind.
    /// @param stream  from the SOI on; bytes behind the end of the picture do not harm. It must
    ///                outlive the decoder.
    /// @param bitsBehind16  a difference of category 16 has 16 bits, as writers of DNG before
    ///                      version 1.1.0.0 have it; T.81 gives it none.
    static std::unique_ptr<CLosslessJPEG> Open(std::span<const uint8_t> stream,
                                               bool bitsBehind16 = false);

    [[nodiscard]] uint32_t Rows() const { return m_rows; }
    [[nodiscard]] uint32_t Columns() const { return m_columns; }
    [[nodiscard]] uint32_t Components() const { return m_components; }
    [[nodiscard]] int Precision() const { return m_precision; }  // bits a sample

    /// The next row, Columns() x Components() samples, those of a pixel adjacent; valid until the
    /// next call. Empty when the stream ended before its end, or is damaged there, and behind the
    /// last row.
    [[nodiscard]] std::span<const uint16_t> NextRow();

private:
    CLosslessJPEG() = default;

    // A code table as the stream defines it; no codes before that.
    struct CTable {
        std::array<uint8_t, 16> counts{};
        std::array<uint8_t, 256> values{};
        friend bool operator==(const CTable&, const CTable&) = default;
    };

    bool ReadHeaders(std::span<const uint8_t> stream, CCategoryForm form);
    bool ReadFrame(std::span<const uint8_t> segment);
    bool ReadTables(std::span<const uint8_t> segment);
    bool ReadScan(std::span<const uint8_t> segment, CCategoryForm form);
    bool MakeCodes(const std::array<uint8_t, 4>& tableOf, CCategoryForm form);
    [[nodiscard]] bool Restart();

    uint32_t m_rows = 0;
    uint32_t m_columns = 0;
    uint32_t m_components = 0;
    int m_precision = 0;
    int m_predictor = 0;
    int m_pointTransform = 0;
    uint32_t m_restartInterval = 0;  // pixels, whole rows of them; 0 for none
    uint32_t m_row = 0;              // of the picture, that comes next
    uint32_t m_intervalRow = 0;      // of the restart interval, or of the picture without one
    std::array<uint8_t, 4> m_componentIds{};
    std::array<CTable, 4> m_tables{};
    std::vector<CDifferenceCodes> m_codes;
    std::array<const CDifferenceCodes*, 4> m_codesOf{};  // by component, in m_codes
    CStuffedBitReader m_bits;
    std::vector<uint16_t> m_line;  // the last row, before the point transform
    std::vector<uint16_t> m_lineAbove;
    std::vector<uint16_t> m_shifted;  // the last row behind it; empty when there is none
};

}  // namespace kestr
