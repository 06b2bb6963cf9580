#pragma once

#include <cstddef>
#include <cstdint>
#include <span>
#include <vector>

#include <kestr/types.h>

namespace kestr {

/// A whole file in memory, or a buffer that is there already, with a sequential cursor that cannot
/// run past the end. Files of 0 bytes, or of 4 GiB and more, cannot be opened.
class CMappedFileImpl {
public:
    enum SeekMode { kAbsolute = 0, kRelative = 1 };

    CMappedFileImpl() = default;
    virtual ~CMappedFileImpl();
    CMappedFileImpl(const CMappedFileImpl&) = delete;
    CMappedFileImpl& operator=(const CMappedFileImpl&) = delete;

    /// Maps the file for reading, after closing what was open.
    [[nodiscard]] bool OpenRead(const KESTR_CHAR* path);
    [[nodiscard]] bool OpenRead(const char* path);
    /// Maps the file for reading and writing; nobody else may have it open.
    [[nodiscard]] bool OpenReadWrite(const KESTR_CHAR* path);
    /// Serves a buffer, which must outlive this object.
    bool Wrap(std::span<const uint8_t> buffer);
    void Close();

    /// Moves the cursor: mode 1 by `offset` from where it is, any other mode to `offset`. The
    /// offset alone is tested: it must lie inside the data, so the end itself cannot be reached.
    [[nodiscard]] bool Seek(uint32_t offset, int mode);
    /// Moves the cursor back by one byte.
    void Unget() { --m_position; }

    /// Values in the byte order of the machine. False, with the cursor left where it is, when
    /// nothing is open or the value would reach the end of the data.
    [[nodiscard]] bool ReadByte(uint8_t* value) { return Read(value, sizeof *value); }
    [[nodiscard]] bool ReadWord(uint16_t* value) { return Read(value, sizeof *value); }
    [[nodiscard]] bool ReadDword(uint32_t* value) { return Read(value, sizeof *value); }
    [[nodiscard]] bool ReadDouble(double* value) { return Read(value, sizeof *value); }
    [[nodiscard]] bool Read(void* buffer, uint32_t count);

    [[nodiscard]] bool IsOpen() const { return m_view != nullptr; }
    [[nodiscard]] const uint8_t* Data() const { return m_view; }
    /// The bytes of a file that OpenReadWrite() opened.
    [[nodiscard]] uint8_t* WritableData() { return m_view; }
    [[nodiscard]] uint32_t Size() const { return m_size; }
    [[nodiscard]] uint32_t Position() const { return m_position; }
    [[nodiscard]] std::span<const uint8_t> Bytes() const { return {m_view, m_size}; }

private:
    bool Map(const KESTR_CHAR* path, bool writable);  // fills m_view and m_size
    void Unmap();

    uint8_t* m_view = nullptr;  // first byte of the data; null means closed
    uint32_t m_size = 0;
    bool m_ownsView = true;  // the view is a mapping of ours
    uint32_t m_position = 0;
};

}  // namespace kestr
