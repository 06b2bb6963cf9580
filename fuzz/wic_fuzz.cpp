// The reader over the system's codecs, with a codec that says and gives what the input holds: size
// and format of its pictures, colours, rows up to one that fails, blocks of metadata.
#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstring>

#include "base/byte_cursor.h"
#include "formats/wic_reader.h"

namespace {

using kestr::CByteCursor;
using kestr::CCodecVariant;
using In = CByteCursor<std::endian::little>;

CCodecVariant Variant(In& in) {
    CCodecVariant value;
    value.type = static_cast<uint16_t>(in.U8() | (in.U8() & 1) << 12);
    const uint8_t shape = in.U8();
    const size_t count = shape >> 2;
    if (shape % 4 == 1) {
        CCodecVariant::Numbers numbers(count);
        for (uint64_t& number : numbers) number = in.U64();
        value.value = std::move(numbers);
    } else if (shape % 4 == 2) {
        CCodecVariant::Texts texts(1 + count / 16);
        for (auto& text : texts) {
            for (size_t i = 0; i < count; ++i) text += static_cast<KESTR_CHAR>(in.U16());
        }
        value.value = std::move(texts);
    } else if (shape % 4 == 3) {
        const auto bytes = in.Bytes(std::min(count, in.Remaining()));
        value.value = CCodecVariant::Bytes(bytes.begin(), bytes.end());
    }
    return value;
}

class CPicture final : public kestr::CCodecPicture {
public:
    explicit CPicture(In in) : m_in(in) {
        m_pixels = static_cast<kestr::ECodecPixels>(m_in.U8() % 22);
        m_width = 1u + m_in.U16() % 256;
        m_height = 1u + m_in.U16() % 256;
        m_badRow = m_in.U16();
        m_colors.resize(m_in.U8());
        for (uint32_t& color : m_colors) color = m_in.U32();
    }
    std::vector<uint32_t> Palette() override { return m_colors; }
    bool CopyRows(uint32_t first, uint32_t count, uint32_t rowBytes, uint8_t* rows) override {
        std::memset(rows, static_cast<int>(first), size_t{count} * rowBytes);
        return first > m_badRow || first + count <= m_badRow;
    }
    void VisitMetadata(kestr::CCodecMetadataVisitor& visitor) override {
        In in = m_in;
        while (in.Remaining() > 0) {
            const uint8_t step = in.U8();
            if (step % 4 == 0) {
                visitor.BeginBlock(static_cast<kestr::ECodecBlock>(step / 4 % 6), "block");
            } else if (step % 4 == 1) {
                visitor.EndBlock();
            } else {
                CCodecVariant key = Variant(in);
                visitor.Item(std::move(key), Variant(in));
            }
        }
    }

private:
    In m_in;
    uint32_t m_badRow = 0;
    std::vector<uint32_t> m_colors;
};

class CFile final : public kestr::CCodecFile {
public:
    explicit CFile(In in) : m_in(in), m_which(m_in.U8()) {}
    std::string CodecName() override { return {}; }
    uint32_t FrameCount() override { return m_which; }
    std::unique_ptr<kestr::CCodecPicture> Frame(uint32_t) override { return Picture(0); }
    std::unique_ptr<kestr::CCodecPicture> Preview() override { return Picture(1); }
    std::unique_ptr<kestr::CCodecPicture> Thumbnail() override { return Picture(2); }

private:
    // One each in the input, as long as it lasts.
    std::unique_ptr<kestr::CCodecPicture> Picture(int index) {
        In in = m_in;
        in.Skip(std::min<size_t>(static_cast<size_t>(index) * 8, in.Remaining()));
        return m_which >> index & 1 ? std::make_unique<CPicture>(in) : nullptr;
    }
    In m_in;
    uint8_t m_which;
};

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    const In in({data, size});
    kestr::CWICReader reader([&](const KESTR_CHAR*) { return std::make_unique<CFile>(in); });
    if (size % 2 != 0) reader.RequestThumbnail(16, 16, 0);
    const KESTR_CHAR path[] = {'x', 0};
    if (!reader.StartLoad(path, 0, nullptr)) return 0;
    std::vector<uint8_t> row(static_cast<size_t>(reader.m_bitmapInfo.RowBytes()));
    while (reader.ReadLine(row.data())) {
    }
    reader.Close();
    if (reader.m_exif) {
        kestr::CEXIF_Members again;
        const auto block = reader.m_exif->Serialise(true);
        again.Parse(std::span(block).subspan(std::min<size_t>(6, block.size())), false, true);
    }
    (void)reader.m_iptc.Serialise();
    (void)reader.MakeMetadataRoot();
    return 0;
}
