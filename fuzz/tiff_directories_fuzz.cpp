// TIFF directories with every kind of access to every entry.
#include <cstddef>
#include <cstdint>
#include <vector>

#include "metadata/tiff_parser.h"

namespace {

void Visit(const kestr::CMappedFileImpl& file, bool bigEndian,
           const kestr::CTIFFDirectoryList& list, int& left) {
    for (const auto& directory : list) {
        for (const auto& entry : directory.Entries()) {
            if (left-- <= 0) return;
            std::vector<uint8_t> bytes;
            std::vector<uint32_t> longs;
            std::vector<double> doubles;
            uint16_t number = 0;
            (void)kestr::GetBytes(file, entry.tag, bigEndian, directory, bytes);
            (void)kestr::GetLongs(file, entry.tag, bigEndian, directory, longs);
            (void)kestr::GetRationals(file, entry.tag, bigEndian, directory, doubles);
            (void)kestr::GetShort(file, entry.tag, bigEndian, directory, number);
        }
        if (const auto children = kestr::GetSubDirectories(directory)) {
            Visit(file, bigEndian, *children, left);
        }
    }
}

class CWalk final : public kestr::CTIFFParserLoop {
public:
    using CTIFFParserLoop::CTIFFParserLoop;
    bool ProcessEntry() override { return AtOffset(m_count).size() <= m_count; }
};

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    kestr::CMappedFileImpl file;
    if (!file.Wrap({data, size})) return 0;
    for (const bool deep : {false, true}) {
        const kestr::CTIFFParser parser(&file, deep, deep);
        int left = 2000;
        Visit(file, parser.BigEndian(), parser.Directories(), left);
    }
    CWalk({data, size}, {data, size}, true, false).Walk();
    return 0;
}
