// SR2 and ARW files through the interface; and SRF files, whose parts stand far apart, put together
// from an input that begins with "SRF".
#include <algorithm>
#include <cstring>
#include <span>
#include <vector>

#include "load_raw_bytes.h"

namespace {

/// The parts of the input, each at its place in the file of a camera.
std::vector<uint8_t> SpreadSRF(std::span<const uint8_t> input) {
    std::vector<uint8_t> file(862144 + 4096);
    const auto place = [&](size_t at, size_t count) {
        count = std::min({count, input.size(), file.size() - at});
        std::copy_n(input.begin(), count, file.begin() + static_cast<ptrdiff_t>(at));
        input = input.subspan(count);
    };
    place(0, input.empty() ? 0 : 1);
    place(0, size_t{4} * file[0]);  // directory
    place(164600, 40);              // keys
    place(200896, 1);               // what tells the place of the first key
    place(200896 + size_t{4} * file[200896], 4);
    place(170000, 64);  // white balance
    const auto sensor = input;
    place(862144, 4096);
    input = sensor;
    place(787392, 70000);
    return file;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    if (size > 3 && std::memcmp(data, "SRF", 3) == 0) {
        const auto file = SpreadSRF({data + 3, size - 3});
        kestr::fuzz::LoadRawBytes(file.data(), file.size(), ".srf", size);
    } else {
        kestr::fuzz::LoadRawBytes(data, size, ".arw");
    }
    return 0;
}
