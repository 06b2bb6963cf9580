// DCX, type id 3: a table of up to 1024 offsets, ended by a zero, and a PCX picture at each.

#include <vector>

#include "base/byte_cursor.h"
#include "base/messages.h"
#include "formats/pcx.h"
#include "readers/reader_registry.h"
#include "readers/type_ids.h"

namespace kestr {
namespace {

constexpr char kNoPage[] = "Page not found.";

}  // namespace

class CDCXReader final : public CPCXReader {
public:
    bool Open(const KESTR_CHAR* path, int page) override;
    bool Load(const KESTR_CHAR* path, int page) override;

private:
    bool FindPage(int page);

    std::vector<uint32_t> m_pages;  // offsets in the file
    size_t m_page = 0;
};

bool CDCXReader::Open(const KESTR_CHAR* path, int page) {
    if (!m_file.OpenRead(path)) return Fail(Message(message::kCannotOpenInput));
    if (FindPage(page)) return true;
    Close();
    return false;
}

bool CDCXReader::FindPage(int page) {
    CLittleEndianCursor in(m_file.Bytes());
    if (in.U32() != kDCXSignature) return false;
    m_pages.clear();
    while (m_pages.size() < kDCXPages) {
        const uint32_t offset = in.U32();
        if (offset == 0) break;
        m_pages.push_back(offset);
    }
    m_pageCount = static_cast<int32_t>(m_pages.size());
    if (page < 0 || page >= m_pageCount) return Fail(kNoPage);
    m_page = static_cast<size_t>(page);
    m_description += "DCX Format";
    m_typeId = kTypeDCX;
    return ReadHeader(m_pages[m_page]);
}

bool CDCXReader::Load(const KESTR_CHAR* path, int page) {
    if (!Open(path, page)) return false;
    return LoadFrom(m_page + 1 < m_pages.size() ? m_pages[m_page + 1] : m_file.Size());
}

namespace {

const CReaderRegistration kReaders{{kTypeDCX}, &MakeReader<CDCXReader>};

}  // namespace
}  // namespace kestr
