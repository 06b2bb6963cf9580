#include "progress.h"

#include <algorithm>
#include <cstdio>
#include <string>

#include "system.h"

namespace tool {

constexpr int kBarLength = 40;

CProgressBar::CProgressBar(const char* label) : m_label(label), m_isTerminal(IsTerminal(stderr)) {}

CProgressBar::~CProgressBar() {
    if (!m_shown) return;
    const int length = static_cast<int>(std::string(m_label).size()) + kBarLength + 9;
    std::fprintf(stderr, "\r%*s\r", length, "");
}

int32_t CProgressBar::Show(uintptr_t user, int32_t percent) {
    // NOLINTNEXTLINE(performance-no-int-to-ptr): it is the number that went in
    auto& bar = *reinterpret_cast<CProgressBar*>(user);
    if (!bar.m_isTerminal) return 0;
    const int done = std::clamp(percent, 0, 100);
    const std::string filled(done * kBarLength / 100, '#');
    std::fprintf(stderr, "\r%s [%-*s] %3d%%", bar.m_label, kBarLength, filled.c_str(), done);
    std::fflush(stderr);
    bar.m_shown = true;
    return 0;
}

}  // namespace tool
