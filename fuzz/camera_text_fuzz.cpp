// Camera blocks of each kind as text.
#include "metadata/camera_text.h"

#include <cstddef>
#include <cstdint>

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    kestr::CameraBlockText({data, size});
    kestr::CameraBlockDate({data, size});
    return 0;
}
