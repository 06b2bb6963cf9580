// What callers set for the whole process, not for one handle.
#pragma once

#include <string>

namespace kestr {

/// The name that Kodak PDC files were told last, in the thread's code page.
[[nodiscard]] std::string KodakPDCName();
void SetKodakPDCName(std::string name);

/// The gamma that callers set last, at first 2.2. Nothing in the library reads it.
[[nodiscard]] double ProcessingGamma();
void SetProcessingGamma(double gamma);

}  // namespace kestr
