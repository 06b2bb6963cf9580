#include "platform/mapped_file.h"

#include <fcntl.h>
#include <sys/mman.h>
#include <sys/stat.h>
#include <unistd.h>

#include "platform/code_page.h"

namespace kestr {

bool CMappedFileImpl::Map(const KESTR_CHAR* path, bool writable) {
    const int file = open(WideToPath(path).c_str(), (writable ? O_RDWR : O_RDONLY) | O_CLOEXEC);
    if (file < 0) return false;
    struct stat status {};
    const bool usable = fstat(file, &status) == 0 && S_ISREG(status.st_mode) &&
                        status.st_size > 0 && status.st_size <= off_t{UINT32_MAX};
    if (usable) {
        const auto size = static_cast<size_t>(status.st_size);
        void* view = mmap(nullptr, size, writable ? PROT_READ | PROT_WRITE : PROT_READ,
                          writable ? MAP_SHARED : MAP_PRIVATE, file, 0);
        if (view != MAP_FAILED) {
            m_view = static_cast<uint8_t*>(view);
            m_size = static_cast<uint32_t>(size);
        }
    }
    close(file);
    return m_view != nullptr;
}

void CMappedFileImpl::Unmap() {
    munmap(m_view, m_size);
}

}  // namespace kestr
