#include "metadata/image_resources.h"

#include <algorithm>
#include <array>

#include "base/byte_cursor.h"

namespace kestr {

namespace {

constexpr size_t kShortestSearched = 9;
constexpr size_t kShortestHead = 8;

struct CImageResource {
    uint16_t id = 0;
    std::span<const uint8_t> data;  // with its pad byte; cut where the bytes end
};

/// False when what follows is no resource.
bool ReadResource(CBigEndianCursor& in, CImageResource& resource) {
    constexpr std::array<uint8_t, 4> kSignature{'8', 'B', 'I', 'M'};
    if (!std::ranges::equal(in.Bytes(4), kSignature)) return false;
    resource.id = in.U16();
    const uint8_t nameLength = in.U8();
    in.Skip(nameLength | 1);  // the length byte and the name take an even number of bytes
    const uint64_t size = in.U32();
    if (!in.Ok()) return false;
    resource.data =
        in.Bytes(static_cast<size_t>(std::min<uint64_t>(size + size % 2, in.Remaining())));
    return true;
}

}  // namespace

std::span<const uint8_t> FindImageResource(std::span<const uint8_t> resources, uint16_t id) {
    if (resources.size() < kShortestSearched) return {};
    CBigEndianCursor in(resources);
    CImageResource resource;
    while (in.Remaining() >= kShortestHead && ReadResource(in, resource)) {
        if (resource.id == id) return resource.data;
    }
    return {};
}

size_t ImageResourcesLength(std::span<const uint8_t> bytes, size_t stated) {
    CBigEndianCursor in(bytes);
    CImageResource resource;
    while (in.Position() < stated) {
        if (!ReadResource(in, resource)) return stated;
    }
    return in.Position();
}

}  // namespace kestr
