#include "platform/files.h"

#include <tuple>
#include <vector>

namespace kestr {

bool CanReadFile(const KESTR_CHAR* path) {
    if (path == nullptr) return false;
    std::FILE* file = OpenStream(path, "rb");
    if (file == nullptr) return false;
    std::fclose(file);
    return true;
}

bool DuplicateFile(const KESTR_CHAR* from, const KESTR_CHAR* to) {
    std::FILE* source = OpenStream(from, "rb");
    if (source == nullptr) return false;
    COutputFile destination;
    bool ok = destination.Create(to);
    std::vector<uint8_t> block(size_t{1} << 18);
    while (ok) {
        const size_t count = std::fread(block.data(), 1, block.size(), source);
        if (count == 0) break;
        ok = destination.Write(block.data(), count);
    }
    ok = std::ferror(source) == 0 && ok;
    std::fclose(source);
    return destination.Close() && ok;
}

bool OverwriteFile(const KESTR_CHAR* path, std::span<const uint8_t> bytes) {
    std::FILE* file = OpenStream(path, "rb+");
    if (file == nullptr) return false;
    std::fseek(file, 0, SEEK_END);
    const long end = std::ftell(file);
    const uint64_t oldSize = end < 0 ? 0 : static_cast<uint64_t>(end);
    bool ok = end >= 0;
    if (ok && bytes.size() > oldSize) {  // zeros that are written, not a hole that is only told of
        const std::vector<uint8_t> zeros(bytes.size() - static_cast<size_t>(oldSize));
        ok = std::fwrite(zeros.data(), 1, zeros.size(), file) == zeros.size() &&
             std::fflush(file) == 0;
        if (!ok) std::ignore = ResizeStream(file, oldSize);
    }
    ok = ok && SeekStream(file, 0) &&
         std::fwrite(bytes.data(), 1, bytes.size(), file) == bytes.size() &&
         std::fflush(file) == 0 && ResizeStream(file, bytes.size());
    return std::fclose(file) == 0 && ok;
}

bool COutputFile::Start(const KESTR_CHAR* path, const char* mode) {
    m_path = path != nullptr ? path : std::basic_string<KESTR_CHAR>();
    m_position = 0;
    m_ok = true;
    m_file.reset(path != nullptr ? OpenStream(path, mode) : nullptr);
    return IsOpen();
}

bool COutputFile::Create(const KESTR_CHAR* path) {
    return Start(path, "wb+");
}

bool COutputFile::Open(const KESTR_CHAR* path) {
    return Start(path, "rb+");
}

bool COutputFile::Write(const void* bytes, size_t count) {
    if (count == 0) return m_ok;
    m_ok = m_ok && IsOpen() && std::fwrite(bytes, 1, count, m_file.get()) == count;
    m_position += count;
    return m_ok;
}

bool COutputFile::Seek(uint64_t offset) {
    m_ok = m_ok && IsOpen() && SeekStream(m_file.get(), offset);
    m_position = offset;
    return m_ok;
}

bool COutputFile::Close() {
    if (!IsOpen()) return false;
    const bool closed = std::fclose(m_file.release()) == 0;
    return closed && m_ok;
}

void COutputFile::Discard() {
    m_file.reset();
    RemoveFile(m_path.c_str());
}

}  // namespace kestr
