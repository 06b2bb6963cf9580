// PEF files: their samples have one size, which takes a megabyte at the least, so the file is
// filled up to it and opened as queries and thumbnails do, and its codes are read on their own.
#include <span>

#include "load_bytes.h"
#include "metadata/tiff_bytes.h"
#include "platform/code_page.h"
#include "raw/pef_data.h"
#include "raw/raw_sensor_image.h"
#include "readers/image_reader.h"
#include "readers/reader_registry.h"
#include "readers/type_ids.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    using namespace kestr;
    // A directory that runs on into what the file is filled with is sorted for long, at each run.
    constexpr uint16_t kMostEntries = 100;
    const CTIFFBytes in({data, size}, size != 0 && data[0] == 'M');
    if (in.U16(in.U32(4)) > kMostEntries) return -1;
    const std::string path = fuzz::ScratchFile(".pef");
    std::ofstream(path, std::ios::binary | std::ios::trunc)
        .write(reinterpret_cast<const char*>(data), static_cast<std::streamsize>(size));
    std::filesystem::resize_file(path, size + 1'300'000);
    const auto wide = PathToWide(path.c_str());
    for (const bool thumbnail : {false, true}) {
        const auto reader = CreateReader(kTypePentax, true, false, {thumbnail, 20, 20});
        if (reader->Open(wide.c_str(), 0)) reader->Close();
    }
    constexpr uint32_t kWidth = 60, kCoded = 64;
    CRawSensorImage image;
    image.samples = CRawSamples(kWidth, 40, 1);
    return ReadCompressedPEF(std::span(data, size), kCoded, image, nullptr) ? 0 : -1;
}
