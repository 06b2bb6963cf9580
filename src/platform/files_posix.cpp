#include "platform/files.h"

#include <cstdlib>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include "platform/code_page.h"

namespace kestr {

std::FILE* OpenStream(const KESTR_CHAR* path, const char* mode) {
    std::FILE* stream = std::fopen(WideToPath(path).c_str(), mode);
    if (stream == nullptr) return nullptr;
    // fopen opens folders for reading too.
    struct stat status {};
    if (fstat(fileno(stream), &status) == 0 && !S_ISDIR(status.st_mode)) return stream;
    std::fclose(stream);
    return nullptr;
}

bool SeekStream(std::FILE* stream, uint64_t offset) {
    return fseeko(stream, static_cast<off_t>(offset), SEEK_SET) == 0;
}

bool ResizeStream(std::FILE* stream, uint64_t size) {
    return ftruncate(fileno(stream), static_cast<off_t>(size)) == 0;
}

bool RemoveFile(const KESTR_CHAR* path) {
    return unlink(WideToPath(path).c_str()) == 0;
}

bool RenameFile(const KESTR_CHAR* from, const KESTR_CHAR* to, bool replace) {
    const std::string source = WideToPath(from);
    const std::string target = WideToPath(to);
    if (!replace && access(target.c_str(), F_OK) == 0) return false;
    return std::rename(source.c_str(), target.c_str()) == 0;
}

std::basic_string<KESTR_CHAR> MakeTemporaryFile(const char* extension) {
    const char* folder = std::getenv("TMPDIR");
    std::string name = folder != nullptr && *folder != '\0' ? folder : "/tmp";
    name += "/kestrXXXXXX";
    name += extension;
    const int file =
        mkstemps(name.data(), static_cast<int>(std::char_traits<char>::length(extension)));
    if (file < 0) return {};
    close(file);
    return PathToWide(name.c_str());
}

std::vector<uint8_t> TextModeBytes(std::span<const uint8_t> bytes) {
    return {bytes.begin(), bytes.end()};
}

}  // namespace kestr
