// JPEG streams in memory, from open to close: the whole stream is read as a load, a file query or a
// thumbnail would read it. The length of the input chooses, so that seeds are plain files.
#include <cstdint>
#include <vector>

#include "formats/jpeg_reader.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    using namespace kestr;
    constexpr size_t kMostRowBytes = 200'000;
    constexpr int32_t kMostRows = 300;
    if (size == 0) return 0;
    CJPEGReader reader;
    reader.SetMemorySource({data, size});
    reader.m_jpegHighQuality = (size & 1) == 0;
    reader.m_headerOnly = size % 8 == 7;
    if (size % 8 == 6) reader.RequestThumbnail(20, 20, (size & 16) != 0);
    if (reader.StartLoad(nullptr, 0, nullptr) && !reader.m_headerOnly) {
        std::vector<uint8_t> row(static_cast<size_t>(reader.m_bitmapInfo.RowBytes()));
        for (int32_t y = 0; y < reader.m_bitmapInfo.Height() && y < kMostRows; ++y) {
            if (row.size() > kMostRowBytes || !reader.ReadLine(row.data())) break;
        }
    }
    reader.Close();
    return 0;
}
