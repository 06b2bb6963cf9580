#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "support/tiff_builder.h"

namespace kestr::test {

/// Builds a CIFF heap, record by record.
class CCIFFBuilder {
public:
    using Bytes = std::vector<uint8_t>;

    explicit CCIFFBuilder(bool bigEndian = false) : m_order(bigEndian), m_bigEndian(bigEndian) {}

    CCIFFBuilder& Record(uint16_t type, const Bytes& value) {
        return Stated(type, uint32_t(value.size()), uint32_t(m_values.size()), value);
    }
    /// A record of any size and offset, whatever value there is.
    CCIFFBuilder& Stated(uint16_t type, uint32_t size, uint32_t offset, const Bytes& value = {}) {
        m_entries =
            m_order.Join({m_entries, m_order.U16(type), m_order.U32(size), m_order.U32(offset)});
        m_values = m_order.Join({m_values, value});
        ++m_count;
        return *this;
    }
    /// A record whose value, of eight bytes, stands in the directory.
    CCIFFBuilder& Short(uint16_t type, Bytes value) {
        value.resize(8);
        m_entries = m_order.Join({m_entries, m_order.U16(type), value});
        ++m_count;
        return *this;
    }
    Bytes Heap() const {
        return m_order.Join(
            {m_values, m_order.U16(m_count), m_entries, m_order.U32(uint32_t(m_values.size()))});
    }
    Bytes File(std::string_view name = "HEAPCCDR") const {
        return m_order.Join({CTIFFBuilder::Text(m_bigEndian ? "MM" : "II"), m_order.U32(26),
                             CTIFFBuilder::Text(name), m_order.U32(0x00010002), m_order.U32(0),
                             m_order.U32(0), Heap()});
    }
    const CTIFFBuilder& Order() const { return m_order; }

private:
    CTIFFBuilder m_order;
    bool m_bigEndian;
    uint32_t m_count = 0;
    Bytes m_entries, m_values;
};

/// A camera's CRW file with this preview.
inline std::vector<uint8_t> MakeCRW(const std::vector<uint8_t>& preview,
                                    std::string_view model = "Canon PowerShot G2",
                                    bool bigEndian = false) {
    const CCIFFBuilder order(bigEndian);
    std::string names = "Canon";
    names += '\0';
    names += model;
    names += '\0';
    const auto camera = CCIFFBuilder(bigEndian).Record(0x080A, CTIFFBuilder::Text(names)).Heap();
    const auto clock = order.Order().Join({order.Order().U32(1642666422),  // 2022-01-20 08:13:42
                                           order.Order().U32(0), order.Order().U32(0)});
    const auto properties =
        CCIFFBuilder(bigEndian).Record(0x180E, clock).Record(0x2807, camera).Heap();
    return CCIFFBuilder(bigEndian)
        .Record(0x2005, std::vector<uint8_t>(500, 0x5A))
        .Record(0x2007, preview)
        .Record(0x300A, properties)
        .File();
}

/// Builds CR2 files: a large picture in the strip of the first directory, a small one behind tags
/// 513 and 514 of the second. Empty ones are left out.
struct CCR2Builder {
    using Bytes = std::vector<uint8_t>;

    Bytes large{}, small{}, profile{}, xmp{};
    bool bigEndian = false;
    bool largeByTags = false;  // 513 and 514 in the first directory too

    Bytes File() const {
        CTIFFBuilder b(bigEndian);
        const auto text = [&](std::string s) {
            s += '\0';
            return CTIFFBuilder::CEntry{0, 2, uint32_t(s.size()),
                                        b.U32(b.Add(CTIFFBuilder::Text(s)))};
        };
        const auto entry = [](uint32_t tag, CTIFFBuilder::CEntry e) {
            e.tag = tag;
            return e;
        };
        const uint32_t exif = b.Directory({entry(36867, text("2005:08:03 18:59:18"))});
        std::vector<CTIFFBuilder::CEntry> first{entry(271, text("Canon")),
                                                entry(272, text("Canon EOS 350D DIGITAL"))};
        const uint32_t at = b.Add(large);
        if (!large.empty() && !largeByTags) {
            first.push_back({273, 4, 1, b.U32(at)});
            first.push_back({279, 4, 1, b.U32(uint32_t(large.size()))});
        }
        first.push_back({282, 5, 1, b.U32(b.Add(b.Rational(144, 2)))});
        first.push_back({283, 5, 1, b.U32(b.Add(b.Rational(180, 2)))});
        first.push_back({296, 3, 1, b.U16(2)});
        if (largeByTags) {
            first.push_back({513, 4, 1, b.U32(at)});
            first.push_back({514, 4, 1, b.U32(uint32_t(large.size()))});
        }
        if (!xmp.empty()) first.push_back({700, 1, uint32_t(xmp.size()), b.U32(b.Add(xmp))});
        first.push_back({34665, 4, 1, b.U32(exif)});
        if (!profile.empty()) {
            first.push_back({34675, 7, uint32_t(profile.size()), b.U32(b.Add(profile))});
        }
        uint32_t second = 0;
        if (!small.empty()) {
            const uint32_t smallAt = b.Add(small);
            second = b.Directory({{259, 3, 1, b.U16(6)},
                                  {513, 4, 1, b.U32(smallAt)},
                                  {514, 4, 1, b.U32(uint32_t(small.size()))}});
        }
        b.Patch32(4, b.Directory(first, second));
        return b.All();
    }
};

}  // namespace kestr::test
