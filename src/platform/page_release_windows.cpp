#include "platform/page_release.h"

namespace kestr {

// The system takes the pages of a view from the working set when it needs them; there is no call
// that gives back a part of a view.
void ReleaseFilePages(const uint8_t*, const uint8_t*) {}

}  // namespace kestr
