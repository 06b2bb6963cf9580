#include "support/scripted_reader.h"

#include <cstring>
#include <stdexcept>

#include "readers/reader_registry.h"

namespace kestr::test {
namespace {

CReaderScript& Script() {
    static CReaderScript script{.opens = false};
    return script;
}

class CScriptedReader final : public CImageReader {
public:
    bool Open(const KESTR_CHAR*, int) override {
        const CReaderScript& script = Script();
        if (script.throwAtOpen) throw std::runtime_error("open");
        m_errorText = script.errorText;
        m_typeId = script.typeId;
        m_pageCount = 1;
        m_bitmapInfo.SetFormat(script.bits, script.width, script.height);
        if (script.found) script.found(*this);
        return script.opens;
    }
    bool Load(const KESTR_CHAR* path, int page) override {
        m_line = 0;
        return Open(path, page);
    }
    bool ReadLine(uint8_t* destination) override {
        const CReaderScript& script = Script();
        if (m_line == script.throwAtLine) throw std::runtime_error("line");
        // What is written of a row that is not delivered must not show.
        std::memset(destination, 200, static_cast<size_t>(m_bitmapInfo.RowBytes()));
        if (CheckAbort() || m_line == script.linesDelivered) return false;
        ReportProgress(static_cast<uint32_t>(m_line), 1, 1);
        std::memset(destination, m_line + 1, static_cast<size_t>(m_bitmapInfo.RowBytes()));
        ++m_line;
        return true;
    }
    void Close() override {
        if (Script().throwAtLastClose && m_line > 0) throw std::runtime_error("close");
    }

private:
    int32_t m_line = 0;
};

const CReaderRegistration kReaders{{49}, &MakeReader<CScriptedReader>};

}  // namespace

CScriptScope::CScriptScope(CReaderScript script) {
    Script() = std::move(script);
}
CScriptScope::~CScriptScope() {
    Script() = {.opens = false};
}

}  // namespace kestr::test
