// TIFF directories without libtiff, for the raw readers: a tree of whole-file directories with
// typed access to their values, and a walk over one directory that lies in memory. No tag is
// interpreted but 330, the sub-directories. Layout: TIFF 6.0, section 2.
#pragma once

#include <cstdint>
#include <memory>
#include <span>
#include <string>
#include <vector>

#include "platform/mapped_file.h"

namespace kestr {

class CTIFFDirectory;
using CTIFFDirectoryList = std::vector<CTIFFDirectory>;

/// The directories of a file. What the constructor could not read is missing; a file that is no
/// TIFF has none. Chains and trees that lead back into themselves are left where they do.
class CTIFFParser {
public:
    /// An entry; the four numbers hold the bytes of the file, unswapped.
    struct DirData {
        uint16_t tag = 0;
        uint16_t type = 0;
        uint32_t count = 0;
        uint32_t value = 0;                            // the four value bytes, or their offset
        std::shared_ptr<CTIFFDirectoryList> children;  // of tag 330
    };

    /// @param file           must be open, and outlive the parser.
    /// @param walkChain      follow each directory's offset of the next one.
    /// @param followSubIFDs  read the sub-directories of tag 330.
    CTIFFParser(const CMappedFileImpl* file, bool walkChain, bool followSubIFDs);

    [[nodiscard]] bool BigEndian() const { return m_bigEndian; }
    /// The second word of the header, which is not tested: raw formats have numbers of their own.
    [[nodiscard]] uint16_t Magic() const { return m_magic; }
    [[nodiscard]] const CTIFFDirectoryList& Directories() const { return m_directories; }

private:
    bool m_bigEndian = false;
    uint16_t m_magic = 0;
    CTIFFDirectoryList m_directories;
};

/// A directory: its entries by ascending tag. Of a tag that is there twice the later one stands.
class CTIFFDirectory {
public:
    struct CEntry {
        uint16_t tag;  // in host order
        CTIFFParser::DirData data;
    };

    CTIFFDirectory() = default;
    explicit CTIFFDirectory(std::vector<CEntry> inFileOrder);

    /// Null when the tag is not there.
    [[nodiscard]] const CTIFFParser::DirData* Find(uint16_t tag) const;
    [[nodiscard]] const std::vector<CEntry>& Entries() const { return m_entries; }

private:
    std::vector<CEntry> m_entries;
};

// Access to values. False, with the output left alone, when the tag is absent, its type does not
// fit, or its data lies outside the file.

[[nodiscard]] bool HasTag(uint16_t tag, const CTIFFDirectory& directory);
/// Copies tag, type and count in host order; the value stays in file order.
[[nodiscard]] bool GetEntry(uint16_t tag, bool bigEndian, const CTIFFDirectory& directory,
                            CTIFFParser::DirData& entry);
/// Types 1, 6, 7; replaces the vector.
[[nodiscard]] bool GetBytes(const CMappedFileImpl& file, uint16_t tag, bool bigEndian,
                            const CTIFFDirectory& directory, std::vector<uint8_t>& bytes);
/// Type 2, up to the first NUL; replaces the text.
[[nodiscard]] bool GetText(const CMappedFileImpl& file, uint16_t tag, bool bigEndian,
                           const CTIFFDirectory& directory, std::string& text);
/// Types 3 and 8; appends.
[[nodiscard]] bool GetShorts(const CMappedFileImpl& file, uint16_t tag, bool bigEndian,
                             const CTIFFDirectory& directory, std::vector<uint16_t>& shorts);
/// Types 4 and 9, and 3 widened with zeros; appends.
[[nodiscard]] bool GetLongs(const CMappedFileImpl& file, uint16_t tag, bool bigEndian,
                            const CTIFFDirectory& directory, std::vector<uint32_t>& longs);
/// The first value; false when there is none.
[[nodiscard]] bool GetShort(const CMappedFileImpl& file, uint16_t tag, bool bigEndian,
                            const CTIFFDirectory& directory, uint16_t& value);
[[nodiscard]] bool GetLong(const CMappedFileImpl& file, uint16_t tag, bool bigEndian,
                           const CTIFFDirectory& directory, uint32_t& value);
/// Types 5 and 10; appends. A denominator of 0 gives 0.0.
[[nodiscard]] bool GetRationals(const CMappedFileImpl& file, uint16_t tag, bool bigEndian,
                                const CTIFFDirectory& directory, std::vector<double>& doubles);
/// The sub-directories of tag 330; null when there are none or they were not to be read.
[[nodiscard]] std::shared_ptr<CTIFFDirectoryList> GetSubDirectories(
    const CTIFFDirectory& directory);

/// A walk over one directory in memory, the base of the parsers of maker notes.
class CTIFFParserLoop {
public:
    /// @param directory   the directory's first byte, its 16-bit count, and all that may be read
    ///                    from there on.
    /// @param offsetBase  what value offsets count from, and all that may be read from there on.
    CTIFFParserLoop(std::span<const uint8_t> directory, std::span<const uint8_t> offsetBase,
                    bool bigEndian, bool flag)
        : m_directory(directory), m_offsetBase(offsetBase), m_bigEndian(bigEndian), m_flag(flag) {}
    virtual ~CTIFFParserLoop() = default;

    /// Calls ProcessEntry for each entry that lies within the directory's bytes.
    void Walk();

protected:
    /// False ends the walk.
    virtual bool ProcessEntry() = 0;

    /// The bytes at the current entry's value as an offset, `count` at the most.
    [[nodiscard]] std::span<const uint8_t> AtOffset(uint64_t count) const;

    std::span<const uint8_t> m_directory;
    std::span<const uint8_t> m_offsetBase;
    bool m_bigEndian;
    uint16_t m_tag = 0;
    uint16_t m_type = 0;
    /// The value field as one number: a short in it stands in the high half of a big-endian one.
    uint32_t m_value = 0;
    uint32_t m_count = 0;
    std::span<const uint8_t> m_valueBytes;  // the four bytes as stored
    bool m_flag;                            // for subclasses
};

}  // namespace kestr
