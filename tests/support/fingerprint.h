// Pictures to swear by: what a build makes of known inputs, as hashes that every build on every
// system must give alike. A source names its cases with a CFingerprints object; the hashes stand in
// tests/data/fingerprints.tsv.
#pragma once

#include <functional>
#include <initializer_list>
#include <span>
#include <string>
#include <vector>

#include "support/loaded_handle.h"

namespace kestr::test {

struct CFingerprintCase {
    std::string name;                       // input, settings, operation
    std::function<void(CHandle&)> picture;  // leaves the picture in the handle
};

class CFingerprints {
public:
    CFingerprints(std::initializer_list<CFingerprintCase> cases);
    explicit CFingerprints(const std::vector<CFingerprintCase>& cases);
    static const std::vector<CFingerprintCase>& All();
};

/// Both stores of the picture behind a handle: size, depth, palette and pixels without padding of
/// the 8-bit store, then the samples of the 16-bit store, as two hexadecimal numbers.
std::string FingerprintOf(HKESTRSESSION session);

}  // namespace kestr::test
