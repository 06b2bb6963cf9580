#include "raw/loose_directory.h"

#include "metadata/tiff_bytes.h"

namespace kestr {
namespace {

constexpr uint64_t kMostNumbers = 4096;  // cameras have a few of a tag

}  // namespace

std::vector<uint32_t> CLooseDirectory::Numbers(uint16_t tag) const {
    const CTIFFBytes in(m_bytes, m_bigEndian);
    const uint32_t entries = in.U16(m_at);
    for (uint32_t i = 0; i < entries; ++i) {
        const uint64_t at = m_at + 2 + uint64_t{i} * kTIFFEntryBytes;
        if (!in.Holds(at, kTIFFEntryBytes)) return {};
        if (in.U16(at) != tag) continue;
        const uint16_t type = in.U16(at + 2);
        const uint64_t size = TIFFTypeBytes(type);
        const uint64_t count = in.U32(at + 4);
        if (size == 0 || size > 4 || type == tiff_type::kFloat || count > kMostNumbers) return {};
        uint64_t place = at + 8;
        if (size * count > 4) {
            const uint64_t offset = in.U32(at + 8);
            if (offset < m_origin) return {};
            place = offset - m_origin;
        }
        if (!in.Holds(place, size * count)) return {};
        std::vector<uint32_t> numbers;
        for (uint64_t k = 0; k < count; ++k) {
            const uint64_t where = place + k * size;
            numbers.push_back(size == 1   ? m_bytes[static_cast<size_t>(where)]
                              : size == 2 ? in.U16(where)
                                          : in.U32(where));
        }
        return numbers;
    }
    return {};
}

uint32_t CLooseDirectory::Number(uint16_t tag) const {
    const auto numbers = Numbers(tag);
    return numbers.empty() ? 0 : numbers[0];
}

}  // namespace kestr
