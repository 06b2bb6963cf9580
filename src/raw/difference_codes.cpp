#include "raw/difference_codes.h"

#include <algorithm>

namespace kestr {
namespace {

constexpr uint8_t kMostCategory = 16;

bool IsCategory(uint8_t value, CCategoryForm form) {
    return form == CCategoryForm::kLowBitsShared ? value >> 4 <= (value & 15)
                                                 : value <= kMostCategory;
}

}  // namespace

std::optional<CDifferenceCodes> CDifferenceCodes::Make(std::span<const uint8_t, 16> counts,
                                                       std::span<const uint8_t> values,
                                                       CCategoryForm form) {
    std::optional<CDifferenceCodes> made(std::in_place);
    made->m_form = form;
    const size_t kept = std::min(values.size(), made->m_values.size());
    std::copy_n(values.begin(), kept, made->m_values.begin());
    uint32_t next = 0;  // left-aligned in 16 bits
    uint32_t index = 0;
    for (int length = 1; length <= kLongestCode; ++length) {
        const uint32_t count = counts[static_cast<size_t>(length - 1)];
        const uint32_t limit = next + (count << (kLongestCode - length));
        if (limit > 1u << kLongestCode || index + count > made->m_values.size()) return {};
        made->m_lengths[static_cast<size_t>(length)] = {next, limit, index};
        next = limit;
        index += count;
    }
    if (index == 0) return {};
    for (uint32_t i = 0; i < index; ++i) {
        if (!IsCategory(made->m_values[i], form)) return {};
    }
    for (uint32_t i = 0; i < made->m_table.size(); ++i) {
        CEntry entry = made->LongCode(i << (kLongestCode - kTableBits));
        if (entry.bits == kNoCode || entry.skip > kTableBits) {
            entry = {0, 0, kLongCode};
        } else if (entry.bits > 0 && entry.skip + entry.bits <= kTableBits) {
            const uint32_t behind = i & ((1u << (kTableBits - entry.skip)) - 1);
            const uint32_t stored = behind >> (kTableBits - entry.skip - entry.bits);
            const int32_t difference = Difference(stored, entry.bits, entry.difference);
            entry = {static_cast<int16_t>(difference),
                     static_cast<uint8_t>(entry.skip + entry.bits), 0};
        }
        made->m_table[i] = entry;
    }
    return made;
}

/// What a code of `codeLength` bits says before the bits of the difference are looked at.
CDifferenceCodes::CEntry CDifferenceCodes::EntryOf(uint8_t value, int codeLength) const {
    const auto skip = static_cast<uint8_t>(codeLength);
    if (m_form == CCategoryForm::kLowBitsShared) {
        const int notStored = value >> 4;
        const int bits = (value & 15) - notStored;
        if (bits == 0 && notStored > 0)
            return {static_cast<int16_t>(Difference(0, 0, notStored)), skip, 0};
        return {static_cast<int16_t>(notStored), skip, static_cast<uint8_t>(bits)};
    }
    if (value == kMostCategory && m_form == CCategoryForm::kPlain) return {INT16_MIN, skip, 0};
    return {0, skip, value};
}

/// The code at the start of 16 bits, by the ranges that the lengths have; 1 bit of none.
CDifferenceCodes::CEntry CDifferenceCodes::LongCode(uint32_t next16) const {
    for (int length = 1; length <= kLongestCode; ++length) {
        const CLength& codes = m_lengths[static_cast<size_t>(length)];
        if (next16 < codes.limit) {
            const uint32_t index =
                codes.firstValue + ((next16 - codes.first) >> (kLongestCode - length));
            return EntryOf(m_values[index], length);
        }
    }
    return {0, 1, kNoCode};
}

}  // namespace kestr
