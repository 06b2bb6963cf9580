#include "platform/mapped_file.h"

#include <windows.h>

#include "platform/code_page.h"

namespace kestr {
namespace {

HANDLE OpenFileHandle(const wchar_t* path, DWORD access, DWORD sharing) {
    const HANDLE file =
        CreateFileW(path, access, sharing, nullptr, OPEN_EXISTING, FILE_ATTRIBUTE_NORMAL, nullptr);
    if (file != INVALID_HANDLE_VALUE) return file;
    return CreateFileA(WideToPath(path).c_str(), access, sharing, nullptr, OPEN_EXISTING,
                       FILE_ATTRIBUTE_NORMAL, nullptr);
}

}  // namespace

bool CMappedFileImpl::Map(const wchar_t* path, bool writable) {
    const HANDLE file = OpenFileHandle(path, writable ? GENERIC_READ | GENERIC_WRITE : GENERIC_READ,
                                       writable ? 0 : FILE_SHARE_READ);
    if (file == INVALID_HANDLE_VALUE) return false;
    LARGE_INTEGER size{};
    if (GetFileSizeEx(file, &size) && size.QuadPart > 0 && size.QuadPart <= LONGLONG{UINT32_MAX}) {
        const HANDLE mapping = CreateFileMappingA(
            file, nullptr, writable ? PAGE_READWRITE : PAGE_READONLY, 0, 0, nullptr);
        if (mapping != nullptr) {
            m_view = static_cast<uint8_t*>(
                MapViewOfFile(mapping, writable ? FILE_MAP_WRITE : FILE_MAP_READ, 0, 0, 0));
            if (m_view != nullptr) m_size = static_cast<uint32_t>(size.QuadPart);
            CloseHandle(mapping);
        }
    }
    CloseHandle(file);
    return m_view != nullptr;
}

void CMappedFileImpl::Unmap() {
    UnmapViewOfFile(m_view);
}

}  // namespace kestr
