#pragma once

#include <functional>

#include "readers/image_reader.h"

namespace kestr::test {

/// A reader that does what a test says: registered for files with the extension ".awd", which no
/// reader of the library claims. The script is taken anew at each load.
struct CReaderScript {
    bool opens = true;
    const char* errorText = "";
    int32_t typeId = 49;
    int32_t width = 4;
    int32_t height = 10;
    int bits = 24;
    int32_t linesDelivered = 1 << 30;  // then ReadLine answers false
    int32_t throwAtLine = -1;
    bool throwAtOpen = false;
    bool throwAtLastClose = false;  // not at the one of a probe
    /// Called on the opened reader, to fill in what it found.
    std::function<void(CImageReader&)> found = {};
};

/// Sets the script of the following loads, until the object's end.
class CScriptScope {
public:
    explicit CScriptScope(CReaderScript script);
    ~CScriptScope();
    CScriptScope(const CScriptScope&) = delete;
    CScriptScope& operator=(const CScriptScope&) = delete;
};

}  // namespace kestr::test
