#include <gtest/gtest.h>

#include "support/fingerprint.h"
#include "support/test_data.h"

namespace kestr::test {
namespace {

CFingerprintCase Seed(const char* name) {
    return {std::string("load ") + name,
            [name](CHandle& handle) { EXPECT_TRUE(handle.Load(FuzzSeed(name))); }};
}

CFingerprintCase SavedSeed(const char* name, int32_t typeId, const char* saved = "saved.bmp") {
    return {std::string("load ") + name + ", save as " + std::to_string(typeId),
            [name, typeId, saved](CHandle& handle) {
                const CTemporaryFolder folder;
                EXPECT_TRUE(handle.Load(FuzzSeed(name)));
                EXPECT_TRUE(handle.Save(folder / saved, typeId));
                EXPECT_TRUE(handle.Load(folder / saved));
            }};
}

const CFingerprints kBitmaps{
    Seed("dib/plain1.bmp"),
    Seed("dib/plain4.bmp"),
    Seed("dib/plain8_topdown.bmp"),
    Seed("dib/plain16.bmp"),
    Seed("dib/mapped16.bmp"),
    Seed("dib/plain24.bmp"),
    Seed("dib/plain32.bmp"),
    Seed("dib/packed8.bmp"),
    Seed("dib/mapped32_v5.bmp"),
    Seed("dib/packed4.bmp"),
    Seed("dib/os2.bmp"),
    SavedSeed("dib/plain24.bmp", 1),
    SavedSeed("dib/plain24.bmp", 2),
    SavedSeed("dib/plain4.bmp", 0),
    SavedSeed("dib/packed8.bmp", 0),
};

const CFingerprints kAnymaps{
    Seed("pnm/p1.pbm"),
    Seed("pnm/p2.pgm"),
    Seed("pnm/p3.ppm"),
    Seed("pnm/p4.pbm"),
    Seed("pnm/p5_16.pgm"),
    Seed("pnm/p6_100.ppm"),
    SavedSeed("dib/plain1.bmp", 7, "saved.ppm"),
    SavedSeed("dib/plain4.bmp", 13, "saved.ppm"),
    SavedSeed("pnm/p2.pgm", 9, "saved.pgm"),
};

const CFingerprints kTargas{
    Seed("tga/rgb16.tga"),
    Seed("tga/rgb32.tga"),
    Seed("tga/mapped.tga"),
    Seed("tga/packed24.tga"),
    Seed("tga/interleaved.tga"),
    SavedSeed("tga/rgb24.tga", 17, "saved.tga"),
    SavedSeed("tga/mapped.tga", 16, "saved.tga"),
};

const CFingerprints kPCX{
    Seed("pcx/bit1.pcx"),
    Seed("pcx/cga2.pcx"),
    Seed("pcx/ega4.pcx"),
    Seed("pcx/gray8.pcx"),
    Seed("pcx/rgb24.pcx"),
    Seed("pcx/two.dcx"),
    SavedSeed("dib/plain4.bmp", 8, "saved.pcx"),
    SavedSeed("dib/plain24.bmp", 3, "saved.dcx"),
};

const CFingerprints kPhotoshop{
    Seed("psd/layers.psd"),
    Seed("psd/gray16.psd"),
    Seed("psd/rgb16.psd"),
    Seed("psd/cmyk.psd"),
    Seed("psd/cmyk16.psd"),
    Seed("psd/lab.psd"),
    Seed("psd/indexed.psd"),
    Seed("psd/bitmap.psd"),
    Seed("psd/float.psd"),
    SavedSeed("psd/layers.psd", 31, "saved.psd"),
    SavedSeed("psd/float.psd", 31, "saved.psd"),
    SavedSeed("dib/plain4.bmp", 31, "saved.psd"),
};

}  // namespace
}  // namespace kestr::test
