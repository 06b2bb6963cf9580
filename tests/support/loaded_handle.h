// A handle of the public interface for tests, with what they ask of it as plain values.
#pragma once

#include <cstdint>
#include <filesystem>
#include <string>
#include <vector>

#include <kestr/kestr.h>

namespace kestr::test {

class CHandle {
public:
    CHandle() : m_session(cNewSession()) {}
    explicit CHandle(HKESTRSESSION session) : m_session(session) {}
    ~CHandle() { cDestroySession(m_session); }
    CHandle(const CHandle&) = delete;
    CHandle& operator=(const CHandle&) = delete;

    operator HKESTRSESSION() const { return m_session; }

    bool Load(const std::filesystem::path& path, int16_t page = 0);
    /// Writes the bytes into a file of that name in a folder of its own, loads and deletes it.
    bool LoadBytes(const std::vector<uint8_t>& bytes, const char* name = "test.bmp");
    bool Save(const std::filesystem::path& path, int32_t typeId, int32_t option = 0);

    struct CInfo {
        uint32_t width = 0, height = 0, originalWidth = 0, originalHeight = 0;
        uint8_t bits = 0;
        int32_t typeId = -1, pages = 0, isGray = -1;
        double gamma = 0;
    };
    [[nodiscard]] CInfo Info() const;
    [[nodiscard]] std::string Description() const;
    /// The words of the last failure, for which the interface has no call.
    [[nodiscard]] std::string ErrorText() const;
    /// The palette, as blue, green, red.
    [[nodiscard]] std::vector<std::vector<uint8_t>> Palette(size_t count) const;
    /// Row y from the top of the 8-bit store, padding included.
    [[nodiscard]] std::vector<uint8_t> Row(uint32_t y) const;
    /// All rows, top first, each cut to its first `bytes` bytes.
    [[nodiscard]] std::vector<uint8_t> Rows(size_t bytes) const;

private:
    HKESTRSESSION m_session;
};

/// A path as the library takes it.
std::basic_string<KESTR_CHAR> WidePath(const std::filesystem::path& path);
/// The text as bytes (each unit cut to 8 bits), then freed.
std::string TakeText(BSTR text);
/// The elements of an array of bytes or numbers (none for null), which is then freed.
std::vector<uint8_t> TakeBytes(SAFEARRAY* array);
std::vector<int32_t> TakeNumbers(SAFEARRAY* array);

}  // namespace kestr::test
