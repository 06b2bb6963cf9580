#include "platform/page_release.h"

#include <sys/mman.h>
#include <unistd.h>

namespace kestr {

void ReleaseFilePages(const uint8_t* start, const uint8_t* end) {
    static const auto kPage = static_cast<uintptr_t>(sysconf(_SC_PAGESIZE));
    const uintptr_t first = (reinterpret_cast<uintptr_t>(start) + kPage - 1) / kPage * kPage;
    const uintptr_t last = reinterpret_cast<uintptr_t>(end) / kPage * kPage;
    if (first >= last) return;
    // NOLINTNEXTLINE(performance-no-int-to-ptr): an aligned address is found by arithmetic
    madvise(reinterpret_cast<void*>(first), last - first, MADV_DONTNEED);
}

}  // namespace kestr
