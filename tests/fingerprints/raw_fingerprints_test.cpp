#include <gtest/gtest.h>

#include "support/fingerprint.h"
#include "support/test_data.h"

namespace kestr::test {
namespace {

// By the matrix route: the appearance model's powers differ in their last bit between systems.
CFingerprintCase Developed(const char* seed, uint32_t method) {
    return {std::string("develop ") + seed + ", method " + std::to_string(method),
            [seed, method](CHandle& handle) {
                cSetRawInterpolationMethod(handle, method);
                cUseCIECAM02(handle, 0);
                EXPECT_TRUE(handle.Load(FuzzSeed(seed)));
            }};
}

const CFingerprints kCases{
    Developed("nef/packed.nef", 0),
    Developed("nef/compressed.nef", 1),
    Developed("nef/split14.nef", 1),
    Developed("nef/four_colours.nef", 1),
    Developed("nef/ciphered.nef", 0),
    Developed("sony/a700.arw", 1),
    Developed("sony/a700u.arw", 1),
    Developed("sony/a700_columns.arw", 0),
    Developed("sony/a100.arw", 1),
    Developed("sony/r1.sr2", 0),
    Developed("leica/lx1.raw", 1),
    Developed("leica/fz8.raw", 0),
    Developed("erf/rd1.erf", 1),
    Developed("kdc/p880.kdc", 1),
    Developed("dng/plain16.dng", 0),
    Developed("dng/table12.dng", 1),
    Developed("dng/lossless_tiles.dng", 2),
    Developed("dng/linear3.dng", 1),
    Developed("dng/linear4_no_matrix.dng", 1),
    Developed("dng/gray.dng", 1),
    Developed("dng/four_colours.dng", 1),
    Developed("orf/note.orf", 0),
    Developed("orf/fields.orf", 1),
    Developed("orf/e1.orf", 0),
    Developed("mrw/a2.mrw", 1),
    Developed("mrw/note.mrw", 0),
    Developed("raf/s5pro.raf", 1),
    Developed("raf/s7000.raf", 0),
    Developed("raf/two.raf", 0),
    Developed("raf/square.raf", 1),
};

// The picture inside, decoded by libjpeg.
const CFingerprints kPreviews{
    {"load crw/s40.crw",
     [](CHandle& handle) { EXPECT_TRUE(handle.Load(FuzzSeed("crw/s40.crw"))); }},
};

}  // namespace
}  // namespace kestr::test
