// Sizes and geometry through the exported calls: a picture from the first bytes, then one call
// after the other with arguments from the bytes that follow.

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <vector>

#include <kestr/kestr.h>

namespace {

/// Values from the input, 0 past its end.
class CInput {
public:
    CInput(const uint8_t* data, size_t size) : m_data(data), m_end(data + size) {}
    [[nodiscard]] bool AtEnd() const { return m_data == m_end; }
    template <typename T>
    T Take() {
        T value{};
        const size_t bytes = std::min(sizeof(T), static_cast<size_t>(m_end - m_data));
        std::memcpy(&value, m_data, bytes);
        m_data += bytes;
        return value;
    }
    void Fill(std::vector<uint8_t>& bytes) {
        for (uint8_t& byte : bytes) byte = static_cast<uint8_t>(Take<uint8_t>() * 7 + m_step++);
    }

private:
    const uint8_t* m_data;
    const uint8_t* m_end;
    unsigned m_step = 0;
};

/// A bitmap of 1, 4, 8 or 24 bits with a palette, in one block as cLoadDIBArray takes it.
void LoadPicture(HKESTRSESSION session, CInput& input) {
    constexpr uint16_t kBits[] = {1, 4, 8, 24};
    const uint8_t choice = input.Take<uint8_t>();
    const uint16_t bits = kBits[choice % 4];
    const auto width = static_cast<uint32_t>(1 + input.Take<uint8_t>() % 70);
    const auto height = static_cast<uint32_t>(1 + input.Take<uint8_t>() % 70);
    const uint32_t colours = bits < 24 ? 1u << bits : 0;
    const uint32_t rowBytes = (width * bits + 31) / 32 * 4;
    std::vector<uint8_t> block(40 + size_t{colours} * 4 + size_t{rowBytes} * height);
    const auto put = [&](size_t offset, uint32_t value, size_t bytes) {
        for (size_t i = 0; i < bytes; ++i) {
            block[offset + i] = static_cast<uint8_t>(value >> (8 * i));
        }
    };
    std::vector<uint8_t> pixels(size_t{rowBytes} * height);
    input.Fill(pixels);
    put(0, 40, 4);
    put(4, width, 4);
    put(8, height, 4);
    put(12, 1, 2);
    put(14, bits, 2);
    for (uint32_t i = 0; i < colours; ++i) {
        const bool gray = (choice & 4) != 0;
        put(40 + size_t{i} * 4, gray ? i * 0x010101 * (255 / (colours - 1)) : i * 0x3B1F47, 3);
    }
    std::copy(pixels.begin(), pixels.end(), block.end() - static_cast<ptrdiff_t>(pixels.size()));
    cLoadDIBitmap(session, block.data(), block.data() + 40 + colours * 4, 0, 0);
    if ((choice & 8) != 0) cSetOpRectangle(session, 2, 3, 40, 30, 0);
    if ((choice & 16) != 0) {
        std::vector<uint8_t> alpha(size_t{width} * height, 77);
        cLoadAlphaMask(session, alpha.data());
    }
    cEnableAutoUndoRedo(session, (choice & 32) != 0);
    cSetUndoRedoLimit(session, 1u << 20);
}

/// Sizes that fit a fuzzer's memory, and a few that must be refused.
int32_t Side(CInput& input) {
    constexpr int32_t kStrange[] = {0, -1, -32768, INT32_MIN, INT32_MAX, INT32_MAX / 4};
    const auto value = input.Take<uint8_t>();
    return value >= 250 ? kStrange[value - 250] : value;
}

void Call(HKESTRSESSION session, CInput& input) {
    switch (input.Take<uint8_t>() % 10) {
        case 0: {
            const auto narrow = [](int32_t side) { return static_cast<int16_t>(side % 300); };
            const int16_t width = narrow(Side(input));
            const int16_t height = narrow(Side(input));
            const auto flags = input.Take<uint8_t>();
            cOpResize(session, width, height, flags & 1, flags & 2, flags >> 4);
            break;
        }
        case 1: {
            // Both sides strange, or neither: a picture of one row may be gigabytes wide.
            const int32_t width = Side(input);
            const int32_t height = width > 1000 ? INT32_MAX : Side(input) % 1000;
            const auto flags = input.Take<uint8_t>();
            cOpResizeExL(session, width, static_cast<uint32_t>(height), flags & 15,
                         width > 1000 ? 0 : flags & 16);
            break;
        }
        case 2: {
            const auto width = static_cast<int16_t>(Side(input) % 300);
            const auto height = static_cast<int16_t>(Side(input) % 300);
            const auto flags = input.Take<uint8_t>();
            cDestroySession(
                (flags & 1) != 0
                    ? cCreateScaledImage(session, width, height, flags & 2, flags & 4, flags >> 4)
                    : cCreateScaledImageEx(session, width, height, flags >> 4, flags & 2));
            break;
        }
        case 3: {
            const int32_t width = Side(input);
            const int32_t height = width > 1000 ? INT32_MAX : Side(input) % 1000;
            cEnlargeImage(session, width, height, input.Take<uint8_t>() % 4,
                          input.Take<uint32_t>());
            break;
        }
        case 4:
            cSetOpRectangle(session, Side(input), Side(input), Side(input), Side(input), 3);
            cOpCrop(session);
            break;
        case 5: {
            const auto level = input.Take<uint16_t>();
            cOpCropBorderEx(session, level, level, input.Take<uint16_t>(), input.Take<uint32_t>());
            break;
        }
        case 6:
            cOpMirror(session);
            break;
        case 7:
            cOpRotateFine(session, (input.Take<uint8_t>() & 7) == 0 ? input.Take<double>()
                                                                    : input.Take<int16_t>() / 16.0);
            break;
        case 8:
            cOpDeInterlace(session, input.Take<uint8_t>() & 1, input.Take<uint8_t>() & 1);
            break;
        default:
            cPopUndo(session);
    }
}

/// A picture that has grown too large for quick runs is replaced by a small copy.
void KeepSmall(HKESTRSESSION session) {
    uint32_t width = 0;
    uint32_t height = 0;
    cGetImageInfo(session, &width, &height, nullptr, nullptr, nullptr, nullptr, nullptr, nullptr,
                  nullptr);
    if (uint64_t{width} * height > 200000) cOpResizeExL(session, 60, 50, 3, 0);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    CInput input(data, size);
    HKESTRSESSION session = cNewSession();
    LoadPicture(session, input);
    for (int calls = 0; calls < 12 && !input.AtEnd(); ++calls) {
        Call(session, input);
        KeepSmall(session);
    }
    cDestroySession(session);
    return 0;
}
