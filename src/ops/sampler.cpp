#include "ops/sampler.h"

#include <algorithm>
#include <array>
#include <cstring>
#include <utility>
#include <vector>

#include "ops/pixel_format.h"
#include "platform/vector_clones.h"

namespace kestr {
namespace {

/// Where each position of a scaled axis lies in the source.
class CAxis {
public:
    CAxis(int32_t sourceSize, int32_t destinationSize) : m_last(sourceSize - 1) {
        const double scale = static_cast<double>(destinationSize) / sourceSize;
        m_positions.resize(static_cast<size_t>(destinationSize));
        for (int32_t i = 0; i < destinationSize; ++i) {
            const double exact = i / scale;
            CPosition& position = m_positions[static_cast<size_t>(i)];
            position.index = std::min(static_cast<int32_t>(exact), m_last);
            position.fraction = exact - position.index;
        }
    }
    [[nodiscard]] int32_t Size() const { return static_cast<int32_t>(m_positions.size()); }
    [[nodiscard]] int32_t Index(int32_t i) const { return At(i).index; }
    /// The neighbour towards which the fraction goes.
    [[nodiscard]] int32_t Next(int32_t i) const { return std::min(At(i).index + 1, m_last); }
    [[nodiscard]] double Fraction(int32_t i) const { return At(i).fraction; }

private:
    struct CPosition {
        int32_t index;
        double fraction;
    };
    [[nodiscard]] const CPosition& At(int32_t i) const {
        return m_positions[static_cast<size_t>(i)];
    }
    int32_t m_last;
    std::vector<CPosition> m_positions;
};

template <int kChannels, typename Sample>
void PickPixels(const Sample* source, const CAxis& columns, Sample* destination) {
    for (int32_t x = 0; x < columns.Size(); ++x) {
        const Sample* from = source + ptrdiff_t{columns.Index(x)} * kChannels;
        for (int c = 0; c < kChannels; ++c) *destination++ = from[c];
    }
}

template <typename Sample>
void SamplePixels(const CPixelView<const Sample>& source, const CPixelView<Sample>& destination) {
    const CAxis columns(source.width, destination.width);
    const CAxis rows(source.height, destination.height);
    for (int32_t y = 0; y < destination.height; ++y) {
        Sample* const to = destination.Row(y);
        if (y > 0 && rows.Index(y) == rows.Index(y - 1)) {
            std::memcpy(to, destination.Row(y - 1), destination.RowSamples() * sizeof(Sample));
        } else if (source.channels == 3) {
            PickPixels<3>(source.Row(rows.Index(y)), columns, to);
        } else {
            PickPixels<1>(source.Row(rows.Index(y)), columns, to);
        }
    }
}

/// A source row interpolated to the destination's columns.
template <int kChannels, typename Sample>
KESTR_INLINE void BlendColumns(const Sample* source, const CAxis& columns, double* blended) {
    for (int32_t x = 0; x < columns.Size(); ++x) {
        const Sample* a = source + ptrdiff_t{columns.Index(x)} * kChannels;
        const Sample* b = source + ptrdiff_t{columns.Next(x)} * kChannels;
        const double fraction = columns.Fraction(x);
        for (int c = 0; c < kChannels; ++c) *blended++ = a[c] + (b[c] - a[c]) * fraction;
    }
}

template <typename Sample>
KESTR_INLINE void BlendRows(const double* top, const double* bottom, double fraction, size_t count,
                            Sample* destination) {
    for (size_t i = 0; i < count; ++i) {
        const double value = (bottom[i] - top[i]) * fraction + top[i] + 0.5;
        destination[i] = static_cast<Sample>(static_cast<int32_t>(value));
    }
}

template <int kChannels, typename Sample>
KESTR_INLINE void Interpolate(const CPixelView<const Sample>& source,
                              const CPixelView<Sample>& destination, const CAxis& columns,
                              const CAxis& rows, std::vector<double>* blended) {
    // A row of the source serves several of the destination: the last two are kept.
    std::array<int32_t, 2> held{-1, -1};
    const auto row = [&](int32_t y) {
        const size_t slot = static_cast<size_t>(y) % 2;
        double* const samples = blended[slot].data();
        if (held[slot] != y) BlendColumns<kChannels>(source.Row(y), columns, samples);
        held[slot] = y;
        return samples;
    };
    for (int32_t y = 0; y < destination.height; ++y) {
        const double* const top = row(rows.Index(y));
        const double* const bottom = row(rows.Next(y));
        BlendRows(top, bottom, rows.Fraction(y), destination.RowSamples(), destination.Row(y));
    }
}

KESTR_VECTOR_CLONES void Interpolate8(const CPixelView<const uint8_t>& source,
                                      const CPixelView<uint8_t>& destination, const CAxis& columns,
                                      const CAxis& rows, std::vector<double>* blended) {
    source.channels == 3 ? Interpolate<3>(source, destination, columns, rows, blended)
                         : Interpolate<1>(source, destination, columns, rows, blended);
}

KESTR_VECTOR_CLONES void Interpolate16(const CPixelView<const uint16_t>& source,
                                       const CPixelView<uint16_t>& destination,
                                       const CAxis& columns, const CAxis& rows,
                                       std::vector<double>* blended) {
    source.channels == 3 ? Interpolate<3>(source, destination, columns, rows, blended)
                         : Interpolate<1>(source, destination, columns, rows, blended);
}

}  // namespace

void SamplePoints(const CPixelView<const uint8_t>& source, const CPixelView<uint8_t>& destination) {
    SamplePixels(source, destination);
}

void SamplePoints(const CPixelView<const uint16_t>& source,
                  const CPixelView<uint16_t>& destination) {
    SamplePixels(source, destination);
}

void SamplePoints(CPixelBytes& pixels, const CBitmapInfo& info, CPixelBytes& scaled,
                  const CBitmapInfo& scaledInfo) {
    if (info.BitCount() >= 8) {
        SamplePixels<uint8_t>(View8(pixels, info), View8(scaled, scaledInfo));
        return;
    }
    const CAxis columns(info.Width(), scaledInfo.Width());
    const CAxis rows(info.Height(), scaledInfo.Height());
    std::vector<uint8_t> indices(static_cast<size_t>(info.Width()));
    std::vector<uint8_t> picked(static_cast<size_t>(scaledInfo.Width()));
    const auto row = [](CPixelBytes& store, const CBitmapInfo& i, int32_t y) {
        return store.data() +
               static_cast<size_t>(i.Height() - 1 - y) * static_cast<size_t>(i.RowBytes());
    };
    for (int32_t y = 0; y < scaledInfo.Height(); ++y) {
        UnpackIndices(row(pixels, info, rows.Index(y)), info.BitCount(), info.Width(),
                      indices.data());
        PickPixels<1>(indices.data(), columns, picked.data());
        PackIndices(picked.data(), info.BitCount(), scaledInfo.Width(), row(scaled, scaledInfo, y));
    }
}

void SampleBilinear(const CPixelView<const uint8_t>& source,
                    const CPixelView<uint8_t>& destination) {
    std::array<std::vector<double>, 2> blended;
    for (auto& row : blended) row.resize(destination.RowSamples());
    Interpolate8(source, destination, CAxis(source.width, destination.width),
                 CAxis(source.height, destination.height), blended.data());
}

void SampleBilinear(const CPixelView<const uint16_t>& source,
                    const CPixelView<uint16_t>& destination) {
    std::array<std::vector<double>, 2> blended;
    for (auto& row : blended) row.resize(destination.RowSamples());
    Interpolate16(source, destination, CAxis(source.width, destination.width),
                  CAxis(source.height, destination.height), blended.data());
}

}  // namespace kestr
