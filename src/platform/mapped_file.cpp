#include "platform/mapped_file.h"

#include <cstring>

#include "platform/code_page.h"

namespace kestr {

CMappedFileImpl::~CMappedFileImpl() {
    Close();
}

bool CMappedFileImpl::OpenRead(const KESTR_CHAR* path) {
    Close();
    m_ownsView = true;
    return path != nullptr && Map(path, false);
}

bool CMappedFileImpl::OpenRead(const char* path) {
    return path != nullptr ? OpenRead(PathToWide(path).c_str()) : (Close(), false);
}

bool CMappedFileImpl::OpenReadWrite(const KESTR_CHAR* path) {
    Close();
    m_ownsView = true;
    return path != nullptr && Map(path, true);
}

bool CMappedFileImpl::Wrap(std::span<const uint8_t> buffer) {
    Close();
    m_ownsView = false;
    // Never written through: WritableData() is for mappings of OpenReadWrite() alone.
    m_view = const_cast<uint8_t*>(buffer.data());
    m_size = buffer.size() > UINT32_MAX ? UINT32_MAX : static_cast<uint32_t>(buffer.size());
    return true;
}

void CMappedFileImpl::Close() {
    if (m_view != nullptr && m_ownsView) Unmap();
    m_view = nullptr;
    m_size = 0;
    m_position = 0;
}

bool CMappedFileImpl::Seek(uint32_t offset, int mode) {
    if (!IsOpen() || offset >= m_size) return false;
    m_position = mode == kRelative ? m_position + offset : offset;
    return true;
}

bool CMappedFileImpl::Read(void* buffer, uint32_t count) {
    // The cursor may lie anywhere after a relative Seek() or an Unget(). A value that ends exactly
    // at the end of the data is refused too: readers test for the end of a file in this way.
    if (!IsOpen() || uint64_t{m_position} + count >= m_size) return false;
    std::memcpy(buffer, m_view + m_position, count);
    m_position += count;
    return true;
}

}  // namespace kestr
