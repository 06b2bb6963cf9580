// Closed libraries of camera makers that some readers use while they run: who has any loaded says
// here how they are let go.
#pragma once

#include <cstdint>

namespace kestr {

/// Bits of the mask of cUnloadDLLs.
enum EClosedLibraries : uint8_t {
    kCanonLibraries = 1,
    kKodakPDCLibraries = 2,
    kNikonLibraries = 4,
    kFoveonLibraries = 8,
};

/// Makers hold one static object of this type each, so that the list is complete before any export
/// runs.
class CUnloadRegistration {
public:
    CUnloadRegistration(EClosedLibraries libraries, void (*unload)());
};

/// Lets go of the libraries of each bit of `mask`; other bits mean nothing. They are loaded again
/// when the next file needs them. What a read in another thread is using stays until it is done.
void UnloadClosedLibraries(uint8_t mask);

}  // namespace kestr
