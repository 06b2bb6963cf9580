#pragma once

#include <cstdint>
#include <string>
#include <vector>

namespace kestr::test {

/// The frame of a profile: 128 zero bytes, the tag count, rows of the tag table. It may lie.
class CICCBuilder {
public:
    /// A row of the table; what it points at is not written.
    CICCBuilder& Tag(uint32_t offset, uint32_t size);
    CICCBuilder& StatedTags(uint32_t count);
    /// The profile, cut or filled with zeros to `size` bytes.
    std::vector<uint8_t> Bytes(size_t size) const;

private:
    std::vector<uint32_t> m_rows;
    uint32_t m_tags = 0;
};

/// An RGB display profile with sRGB primaries and gamma 1.0 (linear), written by Little CMS, which
/// names a product. An empty name is left out.
std::vector<uint8_t> NamedProfile(const std::string& description, const std::string& model = "",
                                  const std::string& maker = "");

/// A gray display profile of the given gamma.
std::vector<uint8_t> GrayProfile(double gamma);

/// An RGB display profile of the given gamma with sRGB primaries.
std::vector<uint8_t> RGBProfile(double gamma);

}  // namespace kestr::test
