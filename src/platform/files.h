#pragma once

#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <memory>
#include <span>
#include <string>
#include <vector>

#include <kestr/types.h>

namespace kestr {

/// True when the file can be opened for reading: tried by wide name, then by narrow name.
[[nodiscard]] bool CanReadFile(const KESTR_CHAR* path);
bool RemoveFile(const KESTR_CHAR* path);
/// Gives `from` the name `to`, which must be free unless `replace` is set.
[[nodiscard]] bool RenameFile(const KESTR_CHAR* from, const KESTR_CHAR* to, bool replace);
/// Writes a copy of `from` over `to`.
[[nodiscard]] bool DuplicateFile(const KESTR_CHAR* from, const KESTR_CHAR* to);
/// Writes these bytes in the place of what a file holds, which keeps its attributes and links. Room
/// is taken first, so that a full disk leaves the file as it was.
[[nodiscard]] bool OverwriteFile(const KESTR_CHAR* path, std::span<const uint8_t> bytes);
/// A name for a new file that does not exist yet, in the system's folder for such files. The file
/// is made, empty, so that nobody else takes the name; an empty result means that it could not be.
[[nodiscard]] std::basic_string<KESTR_CHAR> MakeTemporaryFile(const char* extension);

/// A binary file that is written from start to end, with room to go back and patch. Every call
/// after a failed write fails too, so that one test at the end (Close) is enough.
class COutputFile {
public:
    /// Creates the file at `path`, by wide name, then by narrow name; an old file is emptied.
    [[nodiscard]] bool Create(const KESTR_CHAR* path);
    /// Opens a file that is there, for reading and writing.
    [[nodiscard]] bool Open(const KESTR_CHAR* path);

    bool Write(std::span<const uint8_t> bytes) { return Write(bytes.data(), bytes.size()); }
    bool Write(const void* bytes, size_t count);
    bool Seek(uint64_t offset);
    /// Bytes from the start of the file to where the next write goes.
    [[nodiscard]] uint64_t Position() const { return m_position; }

    /// Writes out what is held back; false when this or any earlier call failed.
    bool Close();
    /// Closes the file and deletes it.
    void Discard();

    [[nodiscard]] bool IsOpen() const { return m_file != nullptr; }
    /// The C stream, for libraries that want one.
    [[nodiscard]] std::FILE* Stream() { return m_file.get(); }

private:
    struct CCloser {
        void operator()(std::FILE* file) const { std::fclose(file); }
    };
    bool Start(const KESTR_CHAR* path, const char* mode);

    std::unique_ptr<std::FILE, CCloser> m_file;
    std::basic_string<KESTR_CHAR> m_path;
    uint64_t m_position = 0;
    bool m_ok = true;
};

/// What a stream in text mode would give for the bytes of a file: on Windows pairs of CR and LF
/// become LF, and a byte of 26 ends the text; elsewhere nothing changes.
[[nodiscard]] std::vector<uint8_t> TextModeBytes(std::span<const uint8_t> bytes);

/// fopen by wide name, then by narrow name.
[[nodiscard]] std::FILE* OpenStream(const KESTR_CHAR* path, const char* mode);
/// fseek with a 64-bit offset from the start.
[[nodiscard]] bool SeekStream(std::FILE* stream, uint64_t offset);
/// Cuts a file to so many bytes, or fills it up with zeros. What was written must have been
/// flushed.
[[nodiscard]] bool ResizeStream(std::FILE* stream, uint64_t size);

}  // namespace kestr
