#include "platform/files.h"

#include <windows.h>
#include <io.h>

#include "platform/code_page.h"

namespace kestr {

std::FILE* OpenStream(const wchar_t* path, const char* mode) {
    const std::wstring wideMode(mode, mode + std::char_traits<char>::length(mode));
    if (std::FILE* stream = _wfopen(path, wideMode.c_str())) return stream;
    return std::fopen(WideToPath(path).c_str(), mode);
}

bool SeekStream(std::FILE* stream, uint64_t offset) {
    return _fseeki64(stream, static_cast<int64_t>(offset), SEEK_SET) == 0;
}

bool ResizeStream(std::FILE* stream, uint64_t size) {
    return _chsize_s(_fileno(stream), static_cast<int64_t>(size)) == 0;
}

bool RemoveFile(const wchar_t* path) {
    return DeleteFileW(path) || DeleteFileA(WideToPath(path).c_str());
}

bool RenameFile(const wchar_t* from, const wchar_t* to, bool replace) {
    return MoveFileExW(
        from, to,
        replace ? MOVEFILE_REPLACE_EXISTING | MOVEFILE_COPY_ALLOWED : MOVEFILE_COPY_ALLOWED);
}

std::basic_string<wchar_t> MakeTemporaryFile(const char* extension) {
    wchar_t folder[MAX_PATH + 1];
    if (GetTempPathW(MAX_PATH + 1, folder) == 0) return {};
    const std::wstring suffix(extension, extension + std::char_traits<char>::length(extension));
    // The name is free when the file can be made anew; a few tries are enough for any collision.
    for (unsigned number = GetTickCount(), tries = 0; tries < 1000; ++number, ++tries) {
        std::wstring name = std::wstring(folder) + L"kestr" +
                            std::to_wstring(GetCurrentProcessId()) + L"-" +
                            std::to_wstring(number) + suffix;
        const HANDLE file = CreateFileW(name.c_str(), GENERIC_WRITE, 0, nullptr, CREATE_NEW,
                                        FILE_ATTRIBUTE_NORMAL, nullptr);
        if (file == INVALID_HANDLE_VALUE) continue;
        CloseHandle(file);
        return name;
    }
    return {};
}

std::vector<uint8_t> TextModeBytes(std::span<const uint8_t> bytes) {
    std::vector<uint8_t> text;
    for (size_t i = 0; i < bytes.size() && bytes[i] != 26; ++i) {
        if (bytes[i] == '\r' && i + 1 < bytes.size() && bytes[i + 1] == '\n') continue;
        text.push_back(bytes[i]);
    }
    return text;
}

}  // namespace kestr
