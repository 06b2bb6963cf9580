// Colour profiles: tested, named, taken by an image, and used on both sides of a conversion.
#include <cstdint>
#include <span>

#include "color/icc_profile.h"
#include "image/image_bits.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    using namespace kestr;
    const std::span<const uint8_t> profile(data, size);
    const auto builtIn = AdobeRGBProfile();
    (void)ICCProfileName(profile);
    CImageBits image;
    image.NewImage(3, 2, 0x204060);
    if (!image.LoadICCProfile(profile)) return 0;
    image.ApplyICCProfile(builtIn, size % 4, 0, nullptr);
    image.LoadICCProfile(builtIn);
    image.ApplyICCProfile(profile, size % 4, 0, nullptr);
    return 0;
}
