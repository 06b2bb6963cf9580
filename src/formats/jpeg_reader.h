#pragma once

#include <cstdint>
#include <memory>
#include <span>
#include <string>
#include <vector>

#include "platform/mapped_file.h"
#include "readers/image_reader.h"

namespace kestr {

/// JPEG streams: type id 4, or 5 when progressive. Readers of other containers use it on a part of
/// a file or on bytes in memory.
class CJPEGReader final : public CImageReader {
public:
    CJPEGReader();
    ~CJPEGReader() override;

    /// Decodes `size` bytes from `offset` on of the file that is opened next; 0 for the whole file.
    void SetFileRange(uint32_t offset, uint32_t size);
    bool SetMemorySource(std::span<const uint8_t> data) override;

    bool Probe(const KESTR_CHAR* path, int page) override;
    bool ReadLine(uint8_t* destination) override;
    void Close() override;
    bool Open(const KESTR_CHAR* path, int page) override;
    bool Load(const KESTR_CHAR* path, int page) override;

private:
    struct CDecompressor;

    std::span<const uint8_t> Stream();
    void Start();
    void ChooseScale();
    void Describe();
    void StoreComments();
    void ReadRow(uint8_t* destination);
    void ReleaseSource();
    void ConvertInks(uint8_t* destination) const;
    void Drop();

    std::unique_ptr<CDecompressor> decompressor;
    std::vector<uint8_t> cmykRow;  // four inks a pixel; empty for other output
    uint32_t rowsRead = 0;
    size_t releasedBytes = 0;  // of the file, whose pages were given back
    CMappedFileImpl file;
    uint32_t rangeOffset = 0;
    uint32_t rangeSize = 0;  // 0 for the whole file; the length of memoryData when there is one
    const uint8_t* memoryData = nullptr;
    std::string m_comments;  // what the comment markers said so far, each with a line feed
    bool m_probing = false;
};

}  // namespace kestr
