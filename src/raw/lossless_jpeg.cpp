// Lossless JPEG. Big-endian segments; ITU-T T.81, annex B for their layout, annex H for the
// samples.

#include "raw/lossless_jpeg.h"

#include <algorithm>
#include <utility>

#include "base/byte_cursor.h"

namespace kestr {
namespace {

namespace marker {
constexpr uint8_t kSOF0 = 0xC0;
constexpr uint8_t kSOF3 = 0xC3;  // lossless, Huffman
constexpr uint8_t kDHT = 0xC4;
constexpr uint8_t kSOF15 = 0xCF;
constexpr uint8_t kJPG = 0xC8;
constexpr uint8_t kDAC = 0xCC;
constexpr uint8_t kRST0 = 0xD0;
constexpr uint8_t kRST7 = 0xD7;
constexpr uint8_t kSOI = 0xD8;
constexpr uint8_t kEOI = 0xD9;
constexpr uint8_t kSOS = 0xDA;
constexpr uint8_t kDRI = 0xDD;
}  // namespace marker

bool IsFrame(uint8_t code) {
    return code >= marker::kSOF0 && code <= marker::kSOF15 && code != marker::kDHT &&
           code != marker::kJPG && code != marker::kDAC;
}

// T.81, table H.1. `a` is the sample to the left, `b` the one above, `c` the one left of that.
template <int Predictor>
int32_t Predict(int32_t a, int32_t b, int32_t c) {
    if constexpr (Predictor == 1) return a;
    if constexpr (Predictor == 2) return b;
    if constexpr (Predictor == 3) return c;
    if constexpr (Predictor == 4) return a + b - c;
    if constexpr (Predictor == 5) return a + ((b - c) >> 1);
    if constexpr (Predictor == 6) return b + ((a - c) >> 1);
    if constexpr (Predictor == 7) return (a + b) >> 1;
}

struct CRowJob {
    const CDifferenceCodes* const* codes;  // by component
    const uint16_t* above;                 // not read in the first row
    uint16_t* row;
    size_t columns;
    std::array<uint16_t, 4> first;  // prediction of the first pixel
};

/// Decodes a row; false when a code was none.
template <int Components, int Predictor>
bool DecodeRow(CStuffedBitReader& stream, const CRowJob& job) {
    CStuffedBitReader bits = stream;  // kept in registers
    bool bad = false;
    std::array<const CDifferenceCodes*, Components> codes;
    std::array<int32_t, Components> left;
    std::array<int32_t, Components> aboveLeft{};
    uint16_t* out = job.row;
    const uint16_t* above = job.above;
    for (int c = 0; c < Components; ++c) {
        codes[c] = job.codes[c];
        left[c] = static_cast<uint16_t>(job.first[c] + codes[c]->Next(bits, bad));
        *out++ = static_cast<uint16_t>(left[c]);
        if constexpr (Predictor > 1) aboveLeft[c] = *above++;
    }
    for (size_t x = 1; x < job.columns; ++x) {
        for (int c = 0; c < Components; ++c) {
            int32_t b = 0;
            if constexpr (Predictor > 1) b = *above++;
            const int32_t predicted = Predict<Predictor>(left[c], b, aboveLeft[c]);
            left[c] = static_cast<uint16_t>(predicted + codes[c]->Next(bits, bad));
            aboveLeft[c] = b;
            *out++ = static_cast<uint16_t>(left[c]);
        }
    }
    stream = bits;
    return !bad;
}

using RowDecoder = bool (*)(CStuffedBitReader&, const CRowJob&);

template <int Components, int... Predictors>
constexpr std::array<RowDecoder, sizeof...(Predictors)> DecodersOf(
    std::integer_sequence<int, Predictors...>) {
    return {&DecodeRow<Components, Predictors + 1>...};
}

/// By components - 1 and predictor - 1.
using Predictors = std::make_integer_sequence<int, 7>;
constexpr std::array<std::array<RowDecoder, 7>, 4> kDecoders{
    DecodersOf<1>(Predictors{}), DecodersOf<2>(Predictors{}), DecodersOf<3>(Predictors{}),
    DecodersOf<4>(Predictors{})};

}  // namespace

std::unique_ptr<CLosslessJPEG> CLosslessJPEG::Open(std::span<const uint8_t> stream,
                                                   bool bitsBehind16) {
    std::unique_ptr<CLosslessJPEG> decoder(new CLosslessJPEG);
    const auto form = bitsBehind16 ? CCategoryForm::kBitsAtLast : CCategoryForm::kPlain;
    if (!decoder->ReadHeaders(stream, form)) return {};
    return decoder;
}

bool CLosslessJPEG::ReadHeaders(std::span<const uint8_t> stream, CCategoryForm form) {
    CBigEndianCursor in(stream);
    if (in.U8() != 0xFF || in.U8() != marker::kSOI) return false;
    for (;;) {
        if (in.U8() != 0xFF) return false;
        uint8_t code = in.U8();
        while (in.Ok() && code == 0xFF) code = in.U8();  // fill bytes
        const uint16_t length = in.U16();
        if (!in.Ok() || length < 2 || in.Remaining() < length - 2u) return false;
        const auto segment = in.Bytes(length - 2u);
        if (code == marker::kSOF3) {
            if (!ReadFrame(segment)) return false;
        } else if (IsFrame(code) || code == marker::kSOI || code == marker::kEOI) {
            return false;
        } else if (code == marker::kDHT) {
            if (!ReadTables(segment)) return false;
        } else if (code == marker::kDRI) {
            m_restartInterval = CBigEndianCursor(segment).U16();
        } else if (code == marker::kSOS) {
            m_bits = CStuffedBitReader(stream.subspan(in.Position()));
            return ReadScan(segment, form);
        }
    }
}

bool CLosslessJPEG::ReadFrame(std::span<const uint8_t> segment) {
    CBigEndianCursor in(segment);
    m_precision = in.U8();
    m_rows = in.U16();
    m_columns = in.U16();
    m_components = in.U8();
    if (m_precision < 2 || m_precision > 16 || m_rows == 0 || m_columns == 0) return false;
    if (m_components < 1 || m_components > m_componentIds.size()) return false;
    for (uint32_t i = 0; i < m_components; ++i) {
        m_componentIds[i] = in.U8();
        const uint8_t sampling = in.U8();
        in.U8();  // quantisation, which there is none of
        if (m_components > 1 && sampling != 0x11) return false;
    }
    return in.Ok();
}

bool CLosslessJPEG::ReadTables(std::span<const uint8_t> segment) {
    CBigEndianCursor in(segment);
    while (in.Remaining() > 0) {
        const uint8_t number = in.U8();  // class 0 in the high nibble
        if (number >= m_tables.size()) return false;
        CTable table;
        size_t count = 0;
        for (uint8_t& ofLength : table.counts) count += ofLength = in.U8();
        if (count > table.values.size()) return false;
        std::ranges::copy(in.Bytes(count), table.values.begin());
        if (!in.Ok()) return false;
        m_tables[number] = table;
    }
    return true;
}

bool CLosslessJPEG::ReadScan(std::span<const uint8_t> segment, CCategoryForm form) {
    CBigEndianCursor in(segment);
    if (m_components == 0 || in.U8() != m_components) return false;
    std::array<uint8_t, 4> tableOf{};
    for (uint32_t i = 0; i < m_components; ++i) {
        if (in.U8() != m_componentIds[i]) return false;
        tableOf[i] = in.U8() >> 4;
        if (tableOf[i] >= m_tables.size()) return false;
    }
    m_predictor = in.U8();
    in.U8();  // end of a spectral selection
    m_pointTransform = in.U8() & 15;
    if (!in.Ok() || m_predictor < 1 || m_predictor > 7) return false;
    if (m_pointTransform >= m_precision) return false;
    if (m_restartInterval % m_columns != 0) return false;
    if (!MakeCodes(tableOf, form)) return false;
    const size_t samples = size_t{m_columns} * m_components;
    m_line.resize(samples);
    m_lineAbove.resize(samples);
    if (m_pointTransform > 0) m_shifted.resize(samples);
    return true;
}

/// Components with the same table share its codes, which then stay in the nearest cache.
bool CLosslessJPEG::MakeCodes(const std::array<uint8_t, 4>& tableOf, CCategoryForm form) {
    m_codes.reserve(m_components);
    for (uint32_t i = 0; i < m_components; ++i) {
        const CTable& table = m_tables[tableOf[i]];
        for (uint32_t j = 0; j < i && m_codesOf[i] == nullptr; ++j) {
            if (m_tables[tableOf[j]] == table) m_codesOf[i] = m_codesOf[j];
        }
        if (m_codesOf[i] != nullptr) continue;
        auto codes = CDifferenceCodes::Make(table.counts, table.values, form);
        if (!codes) return false;
        m_codesOf[i] = &m_codes.emplace_back(std::move(*codes));
    }
    return true;
}

std::span<const uint16_t> CLosslessJPEG::NextRow() {
    if (m_row == m_rows) return {};
    const uint32_t rowsOfInterval = m_restartInterval / m_columns;
    if (rowsOfInterval != 0 && m_intervalRow == rowsOfInterval) {
        if (!Restart()) return {};
        m_intervalRow = 0;
    }
    m_line.swap(m_lineAbove);
    CRowJob job{.codes = m_codesOf.data(),
                .above = m_lineAbove.data(),
                .row = m_line.data(),
                .columns = m_columns,
                .first = {}};
    const bool first = m_intervalRow == 0;
    for (uint32_t c = 0; c < m_components; ++c) {
        job.first[c] = first ? static_cast<uint16_t>(1u << (m_precision - m_pointTransform - 1))
                             : m_lineAbove[c];
    }
    const auto& decoders = kDecoders[m_components - 1];
    const auto decode = decoders[first ? 0 : static_cast<size_t>(m_predictor - 1)];
    if (!decode(m_bits, job) || m_bits.Overrun()) {
        m_row = m_rows;
        return {};
    }
    ++m_row;
    ++m_intervalRow;
    if (m_pointTransform == 0) return m_line;
    std::ranges::transform(m_line, m_shifted.begin(), [&](uint16_t sample) {
        return static_cast<uint16_t>(sample << m_pointTransform);
    });
    return m_shifted;
}

/// Goes behind the next restart marker. What is left of an interval's data is passed over.
bool CLosslessJPEG::Restart() {
    const auto rest = m_bits.Rest();
    for (size_t i = 0; i + 1 < rest.size(); ++i) {
        if (rest[i] != 0xFF || rest[i + 1] == 0 || rest[i + 1] == 0xFF) continue;
        if (rest[i + 1] < marker::kRST0 || rest[i + 1] > marker::kRST7) break;
        m_bits = CStuffedBitReader(rest.subspan(i + 2));
        return true;
    }
    m_row = m_rows;
    return false;
}

}  // namespace kestr
