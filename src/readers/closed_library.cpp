#include "readers/closed_library.h"

#include <vector>

namespace kestr {
namespace {

struct CEntry {
    EClosedLibraries libraries;
    void (*unload)();
};

std::vector<CEntry>& Entries() {
    static std::vector<CEntry> entries;
    return entries;
}

}  // namespace

CUnloadRegistration::CUnloadRegistration(EClosedLibraries libraries, void (*unload)()) {
    Entries().push_back({libraries, unload});
}

void UnloadClosedLibraries(uint8_t mask) {
    for (const CEntry& entry : Entries()) {
        if ((mask & entry.libraries) != 0) entry.unload();
    }
}

}  // namespace kestr
