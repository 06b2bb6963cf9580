#include "metadata/image_resources.h"

#include <algorithm>
#include <array>

#include "base/byte_cursor.h"

namespace kestr {

std::span<const uint8_t> FindImageResource(std::span<const uint8_t> resources, uint16_t id) {
    constexpr std::array<uint8_t, 4> kSignature{'8', 'B', 'I', 'M'};
    if (resources.size() < 9) return {};
    CBigEndianCursor in(resources);
    while (in.Remaining() >= 8) {
        if (!std::ranges::equal(in.Bytes(4), kSignature)) return {};
        const uint16_t found = in.U16();
        const uint8_t nameLength = in.U8();
        in.Skip(nameLength | 1);  // the length byte and the name take an even number of bytes
        const uint64_t size = in.U32();
        if (!in.Ok()) return {};
        const auto data =
            in.Bytes(static_cast<size_t>(std::min<uint64_t>(size + size % 2, in.Remaining())));
        if (found == id) return data;
    }
    return {};
}

}  // namespace kestr
