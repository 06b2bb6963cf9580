// The k-th smallest value of many neighbouring windows at once, by halving the range of values:
// for each bit, the values below the trial value are counted, lane by lane.
#pragma once

#include <algorithm>
#include <bit>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <type_traits>
#include <utility>

#include "platform/wide_vectors.h"

namespace kestr {

/// Windows beside each other: rows of signed values, and how a window lies over them.
template <typename Value>
struct CWindowRow {
    const Value* const* rows;  // the window's rows, from the top
    int rowCount;
    int columns;  // columns of a window
    int step;     // values from a column to the next
    int rank;     // which of the sorted values is wanted, from 0; at most 254
};

template <typename Value, int kBytes>
struct CRankLanes {
    using Lanes [[gnu::vector_size(kBytes)]] = Value;
    using Counts [[gnu::vector_size(kBytes)]] = std::make_unsigned_t<Value>;
    static constexpr int kVectors = 4;
    static constexpr int kLanes = kBytes / static_cast<int>(sizeof(Value));
    static constexpr size_t kBlock = size_t{kVectors} * kLanes;  // windows found in one go

    static KESTR_INLINE_LOOP void Load(const Value* from, Lanes& lanes) {
        std::memcpy(&lanes, from, sizeof lanes);
    }
    static KESTR_INLINE_LOOP void Store(Value* to, const Lanes& lanes) {
        std::memcpy(to, &lanes, sizeof lanes);
    }

    /// Smallest and largest value of the windows that begin at `first` .. `first` + kBlock - 1.
    static KESTR_INLINE_LOOP void FindBounds(const CWindowRow<Value>& window, size_t first,
                                             Lanes (&least)[kVectors], Lanes (&most)[kVectors]) {
        for (int v = 0; v < kVectors; ++v) {
            Load(window.rows[0] + first + v * kLanes, least[v]);
            most[v] = least[v];
        }
        for (int row = 0; row < window.rowCount; ++row) {
            const Value* from = window.rows[row] + first;
            for (int column = 0; column < window.columns; ++column, from += window.step) {
                for (int v = 0; v < kVectors; ++v) {
                    Lanes values;
                    Load(from + v * kLanes, values);
                    least[v] = values < least[v] ? values : least[v];
                    most[v] = values > most[v] ? values : most[v];
                }
            }
        }
    }

    /// Smallest and largest value of all those windows together.
    static KESTR_INLINE_LOOP std::pair<int, int> BlockBounds(const CWindowRow<Value>& window,
                                                             size_t first) {
        const size_t extent = kBlock + static_cast<size_t>(window.columns - 1) * window.step;
        Value least = window.rows[0][first];
        Value most = least;
        for (int row = 0; row < window.rowCount; ++row) {
            const Value* from = window.rows[row] + first;
            for (size_t i = 0; i < extent; ++i) {
                least = std::min(least, from[i]);
                most = std::max(most, from[i]);
            }
        }
        return {least, most};
    }

    /// The values of the wanted rank; all values lie in `least` .. `most`, of all lanes together.
    static KESTR_INLINE_LOOP void FindRank(const CWindowRow<Value>& window, size_t first, int least,
                                           int most, Lanes (&found)[kVectors]) {
        const Counts rank = Counts{} + static_cast<std::make_unsigned_t<Value>>(window.rank);
        for (Lanes& lanes : found) lanes = Lanes{} + static_cast<Value>(least);
        for (int bit = std::bit_width(static_cast<unsigned>(most - least)) - 1; bit >= 0; --bit) {
            const auto step = static_cast<std::make_unsigned_t<Value>>(1u << bit);
            Lanes trial[kVectors];
            Counts below[kVectors];
            for (int v = 0; v < kVectors; ++v) {
                // Unsigned, since the sum may pass the largest value; it is then refused below.
                trial[v] = reinterpret_cast<Lanes>(reinterpret_cast<Counts>(found[v]) + step);
                below[v] = Counts{};
            }
            for (int row = 0; row < window.rowCount; ++row) {
                const Value* from = window.rows[row] + first;
                for (int column = 0; column < window.columns; ++column, from += window.step) {
                    for (int v = 0; v < kVectors; ++v) {
                        Lanes values;
                        Load(from + v * kLanes, values);
                        // A true comparison is -1.
                        below[v] -= reinterpret_cast<Counts>(trial[v] > values);
                    }
                }
            }
            for (int v = 0; v < kVectors; ++v) {
                found[v] = ((below[v] <= rank) & (trial[v] > found[v])) ? trial[v] : found[v];
            }
        }
    }
};

}  // namespace kestr
