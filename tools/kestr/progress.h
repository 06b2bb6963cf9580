#pragma once

#include <cstdint>

#include <kestr/types.h>

namespace tool {

/// A bar on stderr, when that is a terminal; it is gone again at the end.
class CProgressBar {
public:
    explicit CProgressBar(const char* label);
    CProgressBar(const CProgressBar&) = delete;
    CProgressBar& operator=(const CProgressBar&) = delete;
    ~CProgressBar();

    /// The library's callback, and the value to give along with it.
    static int32_t KESTR_CALL Show(uintptr_t user, int32_t percent);
    [[nodiscard]] uintptr_t User() { return reinterpret_cast<uintptr_t>(this); }

private:
    const char* m_label;
    bool m_isTerminal;
    bool m_shown = false;
};

}  // namespace tool
