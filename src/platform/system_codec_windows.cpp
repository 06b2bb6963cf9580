// Files and pictures of the Windows Imaging Component. Nothing of it is imported: the factory comes
// by way of COM, so that a Windows without the component loads the library all the same.
#include "platform/system_codec.h"

// The identifiers of wincodec.h are made here.
#include <windows.h>
#include <algorithm>
#include <array>
#include <initguid.h>
#include <limits>
#include <optional>

#include "platform/com_windows.h"
#include "platform/imaging_windows.h"

namespace kestr {
namespace {

struct CPixelFormat {
    const GUID& id;
    ECodecPixels pixels;
};
const CPixelFormat kPixelFormats[] = {
    {GUID_WICPixelFormat1bppIndexed, ECodecPixels::k1bppIndexed},
    {GUID_WICPixelFormat2bppIndexed, ECodecPixels::k2bppIndexed},
    {GUID_WICPixelFormat4bppIndexed, ECodecPixels::k4bppIndexed},
    {GUID_WICPixelFormat8bppIndexed, ECodecPixels::k8bppIndexed},
    {GUID_WICPixelFormatBlackWhite, ECodecPixels::kBlackWhite},
    {GUID_WICPixelFormat2bppGray, ECodecPixels::k2bppGray},
    {GUID_WICPixelFormat4bppGray, ECodecPixels::k4bppGray},
    {GUID_WICPixelFormat8bppGray, ECodecPixels::k8bppGray},
    {GUID_WICPixelFormat16bppBGR555, ECodecPixels::k16bppBGR555},
    {GUID_WICPixelFormat16bppBGR565, ECodecPixels::k16bppBGR565},
    {GUID_WICPixelFormat16bppGray, ECodecPixels::k16bppGray},
    {GUID_WICPixelFormat24bppBGR, ECodecPixels::k24bppBGR},
    {GUID_WICPixelFormat24bppRGB, ECodecPixels::k24bppRGB},
    {GUID_WICPixelFormat32bppBGR, ECodecPixels::k32bppBGR},
    {GUID_WICPixelFormat32bppBGRA, ECodecPixels::k32bppBGRA},
    {GUID_WICPixelFormat32bppPBGRA, ECodecPixels::k32bppPBGRA},
    {GUID_WICPixelFormat32bppGrayFloat, ECodecPixels::k32bppGrayFloat},
    {GUID_WICPixelFormat48bppRGBFixedPoint, ECodecPixels::k48bppRGBFixedPoint},
    {GUID_WICPixelFormat16bppGrayFixedPoint, ECodecPixels::k16bppGrayFixedPoint},
    {GUID_WICPixelFormat32bppBGR101010, ECodecPixels::k32bppBGR101010},
    {GUID_WICPixelFormat48bppRGB, ECodecPixels::k48bppRGB},
};

class CImagingPicture final : public CCodecPicture {
public:
    /// Null when there is no source, or none that tells its size and format.
    static std::unique_ptr<CCodecPicture> Make(IWICImagingFactory& factory,
                                               CComHolder<IWICBitmapSource> source) {
        if (!source) return nullptr;
        auto picture = std::make_unique<CImagingPicture>(factory, std::move(source));
        return picture->Describe() ? std::move(picture) : nullptr;
    }

    CImagingPicture(IWICImagingFactory& factory, CComHolder<IWICBitmapSource> source)
        : m_factory(factory), m_source(std::move(source)) {}

    std::vector<uint32_t> Palette() override {
        constexpr UINT kMostColors = 256;
        const auto palette =
            TakeCom<IWICPalette>([&](IWICPalette** out) { return m_factory.CreatePalette(out); });
        if (!palette || FAILED(m_source->CopyPalette(palette.get()))) return {};
        UINT count = 0;
        if (FAILED(palette->GetColorCount(&count))) return {};
        std::vector<uint32_t> colors(std::min(count, kMostColors));
        UINT written = 0;
        const auto size = static_cast<UINT>(colors.size());
        if (FAILED(palette->GetColors(size, colors.data(), &written))) return {};
        colors.resize(std::min(written, size));
        return colors;
    }

    bool CopyRows(uint32_t first, uint32_t count, uint32_t rowBytes, uint8_t* rows) override {
        constexpr uint32_t kMost = std::numeric_limits<INT>::max();
        if (m_width > kMost || m_height > kMost) return false;
        const uint64_t size = uint64_t{count} * rowBytes;
        if (size > std::numeric_limits<UINT>::max()) return false;
        const WICRect band{0, static_cast<INT>(first), static_cast<INT>(m_width),
                           static_cast<INT>(count)};
        return SUCCEEDED(m_source->CopyPixels(&band, rowBytes, static_cast<UINT>(size), rows));
    }

    void VisitMetadata(CCodecMetadataVisitor& visitor) override {
        const auto blocks = QueryCom<IWICMetadataBlockReader>(m_source.get());
        if (blocks) VisitImagingBlocks(*blocks, visitor);
    }

private:
    bool Describe() {
        UINT width = 0, height = 0;
        GUID format{};
        if (FAILED(m_source->GetSize(&width, &height)) || width == 0 || height == 0 ||
            FAILED(m_source->GetPixelFormat(&format))) {
            return false;
        }
        m_width = width;
        m_height = height;
        for (const CPixelFormat& known : kPixelFormats) {
            if (IsEqualGUID(known.id, format)) m_pixels = known.pixels;
        }
        return true;
    }

    IWICImagingFactory& m_factory;
    CComHolder<IWICBitmapSource> m_source;
};

class CImagingFile final : public CCodecFile {
public:
    CImagingFile(CComHolder<IWICImagingFactory> factory, CComHolder<IWICStream> stream,
                 CComHolder<IWICBitmapDecoder> decoder)
        : m_factory(std::move(factory)),
          m_stream(std::move(stream)),
          m_decoder(std::move(decoder)) {}

    std::string CodecName() override {
        const auto info = TakeCom<IWICBitmapDecoderInfo>(
            [&](IWICBitmapDecoderInfo** out) { return m_decoder->GetDecoderInfo(out); });
        return info ? FriendlyName(*info) : std::string();
    }
    uint32_t FrameCount() override {
        UINT count = 0;
        return SUCCEEDED(m_decoder->GetFrameCount(&count)) ? count : 0;
    }
    std::unique_ptr<CCodecPicture> Frame(uint32_t index) override {
        CComHolder<IWICBitmapSource> frame = TakeCom<IWICBitmapFrameDecode>(
            [&](IWICBitmapFrameDecode** out) { return m_decoder->GetFrame(index, out); });
        return CImagingPicture::Make(*m_factory, std::move(frame));
    }
    std::unique_ptr<CCodecPicture> Preview() override {
        return CImagingPicture::Make(
            *m_factory, TakeCom<IWICBitmapSource>(
                            [&](IWICBitmapSource** out) { return m_decoder->GetPreview(out); }));
    }
    std::unique_ptr<CCodecPicture> Thumbnail() override {
        return CImagingPicture::Make(
            *m_factory, TakeCom<IWICBitmapSource>(
                            [&](IWICBitmapSource** out) { return m_decoder->GetThumbnail(out); }));
    }

private:
    // In this order: each is let go before what it was made of.
    CComHolder<IWICImagingFactory> m_factory;
    CComHolder<IWICStream> m_stream;
    CComHolder<IWICBitmapDecoder> m_decoder;
};

/// A file with the thread's stay in COM, which ends last.
class CApartmentFile final : public CCodecFile {
public:
    bool Open(const wchar_t* path) {
        if (!m_apartment.Usable()) return false;
        const auto factory = TakeCom<IWICImagingFactory>([](IWICImagingFactory** out) {
            return CoCreateInstance(CLSID_WICImagingFactory, nullptr, CLSCTX_INPROC_SERVER,
                                    __uuidof(IWICImagingFactory), reinterpret_cast<void**>(out));
        });
        if (factory) m_file = OpenWithImagingFactory(*factory, path);
        return m_file != nullptr;
    }
    std::string CodecName() override { return m_file->CodecName(); }
    uint32_t FrameCount() override { return m_file->FrameCount(); }
    std::unique_ptr<CCodecPicture> Frame(uint32_t index) override { return m_file->Frame(index); }
    std::unique_ptr<CCodecPicture> Preview() override { return m_file->Preview(); }
    std::unique_ptr<CCodecPicture> Thumbnail() override { return m_file->Thumbnail(); }

private:
    CComApartment m_apartment;
    std::unique_ptr<CCodecFile> m_file;
};

}  // namespace

std::unique_ptr<CCodecFile> OpenWithImagingFactory(IWICImagingFactory& factory,
                                                   const wchar_t* path) {
    auto stream = TakeCom<IWICStream>([&](IWICStream** out) { return factory.CreateStream(out); });
    if (!stream || FAILED(stream->InitializeFromFilename(path, GENERIC_READ))) return nullptr;
    auto decoder = TakeCom<IWICBitmapDecoder>([&](IWICBitmapDecoder** out) {
        return factory.CreateDecoderFromStream(stream.get(), nullptr,
                                               WICDecodeMetadataCacheOnDemand, out);
    });
    if (!decoder) return nullptr;
    factory.AddRef();
    return std::make_unique<CImagingFile>(CComHolder<IWICImagingFactory>(&factory),
                                          std::move(stream), std::move(decoder));
}

std::string FriendlyName(IWICComponentInfo& info) {
    constexpr UINT kMostUnits = 4096;
    UINT units = 0;  // with the NUL
    if (FAILED(info.GetFriendlyName(0, nullptr, &units)) || units == 0 || units > kMostUnits) {
        return {};
    }
    std::wstring name(units, L'\0');
    if (FAILED(info.GetFriendlyName(units, name.data(), &units))) return {};
    return WideToText(name.c_str());
}

bool HasSystemCodecs() {
    return true;
}

std::unique_ptr<CCodecFile> OpenWithSystemCodec(const wchar_t* path) {
    if (!path) return nullptr;
    auto file = std::make_unique<CApartmentFile>();
    return file->Open(path) ? std::move(file) : nullptr;
}

}  // namespace kestr
