// The walk over the imaging component's objects, here over some that do what a test says and are
// counted.
#include "platform/imaging_windows.h"

#include <windows.h>
#include <atomic>
#include <cstring>
#include <functional>
#include <initguid.h>

#include <gmock/gmock.h>

#include "platform/com_windows.h"

namespace kestr::test {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;
using V = CCodecVariant;

// The system's interfaces have none; these objects delete themselves as what they are.
#pragma GCC diagnostic ignored "-Wnon-virtual-dtor"

std::atomic<int> g_alive = 0;

template <typename... Interfaces>
class CFake : public Interfaces... {
public:
    CFake() { ++g_alive; }
    virtual ~CFake() { --g_alive; }
    CFake(const CFake&) = delete;
    CFake& operator=(const CFake&) = delete;
    HRESULT STDMETHODCALLTYPE QueryInterface(REFIID id, void** out) override {
        *out = nullptr;
        (..., (IsEqualGUID(id, __uuidof(Interfaces)) ? void(*out = static_cast<Interfaces*>(this))
                                                     : void()));
        if (!*out) return E_NOINTERFACE;
        AddRef();
        return S_OK;
    }
    ULONG STDMETHODCALLTYPE AddRef() override { return ++m_references; }
    ULONG STDMETHODCALLTYPE Release() override {
        const ULONG left = --m_references;
        if (left == 0) delete this;
        return left;
    }

private:
    std::atomic<ULONG> m_references = 1;
};

#define KESTR_NOT_HERE    \
    override {            \
        return E_NOTIMPL; \
    }

template <typename Interface>
HRESULT HandOut(Interface* object, Interface** out) {
    *out = object;
    if (!object) return E_FAIL;
    object->AddRef();
    return S_OK;
}

// ---- metadata -----------------------------------------------------------------------------------

/// What a script gives is copied out, as a reader would.
struct CFakeItem {
    PROPVARIANT key{}, value{};
};

class CFakeReader final : public CFake<IWICMetadataReader> {
public:
    GUID format = GUID_MetadataFormatUnknown;
    std::vector<CFakeItem> items;
    HRESULT STDMETHODCALLTYPE GetMetadataFormat(GUID* out) override {
        *out = format;
        return S_OK;
    }
    HRESULT STDMETHODCALLTYPE GetMetadataHandlerInfo(IWICMetadataHandlerInfo**)
        KESTR_NOT_HERE HRESULT STDMETHODCALLTYPE GetCount(UINT* count) override {
        *count = static_cast<UINT>(items.size()) + 1;  // and one that cannot be had
        return S_OK;
    }
    HRESULT STDMETHODCALLTYPE GetValueByIndex(UINT index, PROPVARIANT*, PROPVARIANT* key,
                                              PROPVARIANT* value) override {
        if (index >= items.size()) return E_INVALIDARG;
        PropVariantCopy(key, &items[index].key);
        PropVariantCopy(value, &items[index].value);
        return S_OK;
    }
    HRESULT STDMETHODCALLTYPE GetValue(const PROPVARIANT*, const PROPVARIANT*,
                                       PROPVARIANT*) KESTR_NOT_HERE HRESULT STDMETHODCALLTYPE
        GetEnumerator(IWICEnumMetadataItem**) KESTR_NOT_HERE
};

class CFakeBlocks final : public CFake<IWICMetadataBlockReader> {
public:
    std::vector<IWICMetadataReader*> readers;
    HRESULT STDMETHODCALLTYPE GetContainerFormat(GUID*) KESTR_NOT_HERE HRESULT STDMETHODCALLTYPE
        GetCount(UINT* count) override {
        *count = static_cast<UINT>(readers.size());
        return S_OK;
    }
    HRESULT STDMETHODCALLTYPE GetReaderByIndex(UINT index, IWICMetadataReader** out) override {
        return HandOut(readers[index], out);
    }
    HRESULT STDMETHODCALLTYPE GetEnumerator(IEnumUnknown**) KESTR_NOT_HERE
};

/// Writes down what it is told.
class CDiary final : public CCodecMetadataVisitor {
public:
    std::string text;  // a bracket for each block, with its kind in front, and an i for an item
    std::vector<V> keys, values;
    void BeginBlock(ECodecBlock block, std::string) override {
        text += std::to_string(int(block)) + "(";
    }
    void Item(V key, V value) override {
        text += "i";
        keys.push_back(std::move(key));
        values.push_back(std::move(value));
    }
    void EndBlock() override { text += ")"; }
};

PROPVARIANT Short(uint16_t number) {
    PROPVARIANT value{};
    value.vt = VT_UI2;
    value.uiVal = number;
    return value;
}
PROPVARIANT Object(IUnknown* object) {
    PROPVARIANT value{};
    value.vt = VT_UNKNOWN;
    value.punkVal = object;
    return value;
}

template <typename Set>
PROPVARIANT Value(int type, Set set) {
    PROPVARIANT value{};
    value.vt = static_cast<VARTYPE>(type);
    set(value);
    return value;
}

TEST(Imaging, ConvertsEachTypeOfValue) {
    char text[] = "t\xE9xt";
    wchar_t wide[] = L"\x4E2D";
    char* texts[] = {text, nullptr};
    wchar_t* wides[] = {wide};
    uint8_t bytes[] = {1, 255};
    int16_t shorts[] = {1, -2};
    uint16_t words[] = {1, 65535};
    int32_t longs[] = {1, -2};
    uint32_t dwords[] = {1, 0xFFFFFFFF};
    uint64_t rationals[] = {0x0000000200000001};
    float floats[] = {0.5F};
    double doubles[] = {0.5};
    constexpr uint64_t kHalf = 0x3FE0000000000000;
    const WideString textAsUnits = {'t', 0xE9, 'x', 't'};
    struct CCase {
        const char* name;
        PROPVARIANT from;
        V to;
    };
    using P = PROPVARIANT;
    using N = V::Numbers;
    const CCase cases[] = {
        {"empty", P{}, {}},
        {"i1", Value(VT_I1, [](P& p) { p.cVal = -1; }), {16, N{~0ull}}},
        {"ui1", Value(VT_UI1, [](P& p) { p.bVal = 200; }), {17, N{200}}},
        {"i2", Value(VT_I2, [](P& p) { p.iVal = -2; }), {2, N{~1ull}}},
        {"ui2", Short(65535), {18, N{65535}}},
        {"i4", Value(VT_I4, [](P& p) { p.lVal = -2; }), {3, N{~1ull}}},
        {"ui4", Value(VT_UI4, [](P& p) { p.ulVal = 0xFFFFFFFF; }), {19, N{0xFFFFFFFF}}},
        {"int", Value(VT_INT, [](P& p) { p.intVal = -2; }), {22, N{~1ull}}},
        {"uint", Value(VT_UINT, [](P& p) { p.uintVal = 0xFFFFFFFF; }), {23, N{0xFFFFFFFF}}},
        {"i8", Value(VT_I8, [](P& p) { p.hVal.QuadPart = -2; }), {20, N{~1ull}}},
        {"ui8",
         Value(VT_UI8, [&](P& p) { p.uhVal.QuadPart = rationals[0]; }),
         {21, N{rationals[0]}}},
        {"bool", Value(VT_BOOL, [](P& p) { p.boolVal = VARIANT_TRUE; }), {11, N{~0ull}}},
        {"r4", Value(VT_R4, [](P& p) { p.fltVal = 0.5F; }), {4, N{kHalf}}},
        {"r8", Value(VT_R8, [](P& p) { p.dblVal = 0.5; }), {5, N{kHalf}}},
        {"lpstr", Value(VT_LPSTR, [&](P& p) { p.pszVal = text; }), {30, V::Texts{textAsUnits}}},
        {"lpwstr", Value(VT_LPWSTR, [&](P& p) { p.pwszVal = wide; }), {31, V::Texts{{0x4E2D}}}},
        {"blob",
         Value(VT_BLOB,
               [&](P& p) {
                   p.blob = {2, bytes};
               }),
         {65, V::Bytes{1, 255}}},
        {"ui1 list",
         Value(VT_VECTOR | VT_UI1,
               [&](P& p) {
                   p.caub = {2, bytes};
               }),
         {0x1011, N{1, 255}}},
        {"i2 list",
         Value(VT_VECTOR | VT_I2,
               [&](P& p) {
                   p.cai = {2, shorts};
               }),
         {0x1002, N{1, ~1ull}}},
        {"ui2 list",
         Value(VT_VECTOR | VT_UI2,
               [&](P& p) {
                   p.caui = {2, words};
               }),
         {0x1012, N{1, 65535}}},
        {"i4 list",
         Value(VT_VECTOR | VT_I4,
               [&](P& p) {
                   p.cal = {2, reinterpret_cast<LONG*>(longs)};
               }),
         {0x1003, N{1, ~1ull}}},
        {"ui4 list",
         Value(VT_VECTOR | VT_UI4,
               [&](P& p) {
                   p.caul = {2, reinterpret_cast<ULONG*>(dwords)};
               }),
         {0x1013, N{1, 0xFFFFFFFF}}},
        {"ui8 list",
         Value(VT_VECTOR | VT_UI8,
               [&](P& p) {
                   p.cauh = {1, reinterpret_cast<ULARGE_INTEGER*>(rationals)};
               }),
         {0x1015, N{rationals[0]}}},
        {"r4 list",
         Value(VT_VECTOR | VT_R4,
               [&](P& p) {
                   p.caflt = {1, floats};
               }),
         {0x1004, N{kHalf}}},
        {"r8 list",
         Value(VT_VECTOR | VT_R8,
               [&](P& p) {
                   p.cadbl = {1, doubles};
               }),
         {0x1005, N{kHalf}}},
        {"lpstr list",
         Value(VT_VECTOR | VT_LPSTR,
               [&](P& p) {
                   p.calpstr = {1, texts};
               }),
         {0x101E, V::Texts{textAsUnits}}},
        {"lpwstr list",
         Value(VT_VECTOR | VT_LPWSTR,
               [&](P& p) {
                   p.calpwstr = {1, wides};
               }),
         {0x101F, V::Texts{{0x4E2D}}}},
        {"empty list",
         Value(VT_VECTOR | VT_UI2,
               [](P& p) {
                   p.caui = {0, nullptr};
               }),
         {0x1012, {}}},
        {"date", Value(VT_DATE, [](P& p) { p.date = 1; }), {7, {}}},
    };
    for (const CCase& c : cases) {
        SCOPED_TRACE(c.name);
        const CComHolder<CFakeReader> reader(new CFakeReader);
        const CComHolder<CFakeBlocks> blocks(new CFakeBlocks);
        reader->items = {{Short(271), c.from}};
        blocks->readers = {reader.get()};
        CDiary diary;
        VisitImagingBlocks(*blocks, diary);
        ASSERT_EQ(diary.values.size(), 1u);
        EXPECT_EQ(diary.keys[0], (V{18, N{271}}));
        EXPECT_EQ(diary.values[0].type, c.to.type);
        EXPECT_EQ(diary.values[0].value, c.to.value);
    }
    EXPECT_EQ(g_alive, 0);
}

TEST(Imaging, FollowsBlocksIntoBlocks) {
    const GUID formats[] = {GUID_MetadataFormatApp1,    GUID_MetadataFormatIfd,
                            GUID_MetadataFormatExif,    GUID_MetadataFormatGps,
                            GUID_MetadataFormatInterop, GUID_MetadataFormatIPTC};
    {
        CComHolder<CFakeReader> readers[6];
        for (size_t i = 0; i < 6; ++i) {
            readers[i].reset(new CFakeReader);
            readers[i]->format = formats[i];
        }
        readers[0]->items = {{Short(0), Object(readers[1].get())}};
        readers[1]->items = {{Short(271), Short(1)},
                             {Short(34665), Object(readers[2].get())},
                             {Short(34853), Object(readers[3].get())},
                             {Short(1), Object(nullptr)}};
        readers[2]->items = {{Short(40965), Object(readers[4].get())}, {Short(2), Short(3)}};
        const CComHolder<CFakeBlocks> blocks(new CFakeBlocks);
        blocks->readers = {readers[0].get(), nullptr, readers[5].get()};
        readers[4]->items = {{Short(9), Object(blocks.get())}};  // no reader
        CDiary diary;
        VisitImagingBlocks(*blocks, diary);
        EXPECT_EQ(diary.text, "0(1(i2(4()i)3()))5()");
    }
    EXPECT_EQ(g_alive, 0);
}

TEST(Imaging, EndsWhereBlocksHoldThemselves) {
    CComHolder<CFakeReader> reader(new CFakeReader);
    reader->items = {{Short(1), Object(reader.get())}, {Short(2), Object(reader.get())}};
    const CComHolder<CFakeBlocks> blocks(new CFakeBlocks);
    blocks->readers = {reader.get()};
    CDiary diary;
    VisitImagingBlocks(*blocks, diary);
    EXPECT_LT(diary.text.size(), size_t{1} << 20);
    EXPECT_EQ(std::ranges::count(diary.text, '('), std::ranges::count(diary.text, ')'));
    EXPECT_EQ(reader->AddRef(), 2u) << "every reference was given back";
    reader->Release();
}

// ---- files and pictures -------------------------------------------------------------------------

class CFakeFrame final : public CFake<IWICBitmapFrameDecode> {
public:
    GUID format = GUID_WICPixelFormat8bppGray;
    UINT width = 2, height = 3;
    bool describes = true;
    std::vector<WICColor> colors;
    IWICMetadataBlockReader* blocks = nullptr;
    WICRect asked{};
    UINT stride = 0, size = 0;

    HRESULT STDMETHODCALLTYPE QueryInterface(REFIID id, void** out) override {
        if (blocks && IsEqualGUID(id, __uuidof(IWICMetadataBlockReader))) {
            return blocks->QueryInterface(id, out);
        }
        return CFake::QueryInterface(id, out);
    }
    HRESULT STDMETHODCALLTYPE GetSize(UINT* w, UINT* h) override {
        *w = width;
        *h = height;
        return describes ? S_OK : E_FAIL;
    }
    HRESULT STDMETHODCALLTYPE GetPixelFormat(WICPixelFormatGUID* out) override {
        *out = format;
        return S_OK;
    }
    HRESULT STDMETHODCALLTYPE GetResolution(double*,
                                            double*) KESTR_NOT_HERE HRESULT STDMETHODCALLTYPE
        CopyPalette(IWICPalette* palette) override {
        if (colors.empty()) return WINCODEC_ERR_PALETTEUNAVAILABLE;
        return palette->InitializeCustom(colors.data(), static_cast<UINT>(colors.size()));
    }
    HRESULT STDMETHODCALLTYPE CopyPixels(const WICRect* rect, UINT rowBytes, UINT bufferBytes,
                                         BYTE* buffer) override {
        asked = *rect;
        stride = rowBytes;
        size = bufferBytes;
        std::memset(buffer, 7, bufferBytes);
        return S_OK;
    }
    HRESULT STDMETHODCALLTYPE GetMetadataQueryReader(IWICMetadataQueryReader**)
        KESTR_NOT_HERE HRESULT STDMETHODCALLTYPE
        GetColorContexts(UINT, IWICColorContext**, UINT*) KESTR_NOT_HERE HRESULT STDMETHODCALLTYPE
        GetThumbnail(IWICBitmapSource**) KESTR_NOT_HERE
};

class CFakeDecoder final : public CFake<IWICBitmapDecoder> {
public:
    CFakeFrame* frame = nullptr;
    CFakeFrame* preview = nullptr;
    CFakeFrame* thumbnail = nullptr;
    HRESULT STDMETHODCALLTYPE QueryCapability(IStream*,
                                              DWORD*) KESTR_NOT_HERE HRESULT STDMETHODCALLTYPE
        Initialize(IStream*, WICDecodeOptions) KESTR_NOT_HERE HRESULT STDMETHODCALLTYPE
        GetContainerFormat(GUID*) KESTR_NOT_HERE HRESULT STDMETHODCALLTYPE
        GetDecoderInfo(IWICBitmapDecoderInfo**) KESTR_NOT_HERE HRESULT STDMETHODCALLTYPE
        CopyPalette(IWICPalette*) KESTR_NOT_HERE HRESULT STDMETHODCALLTYPE
        GetMetadataQueryReader(IWICMetadataQueryReader**) KESTR_NOT_HERE HRESULT STDMETHODCALLTYPE
        GetPreview(IWICBitmapSource** out) override {
        return HandOut<IWICBitmapSource>(preview, out);
    }
    HRESULT STDMETHODCALLTYPE GetColorContexts(UINT, IWICColorContext**,
                                               UINT*) KESTR_NOT_HERE HRESULT STDMETHODCALLTYPE
        GetThumbnail(IWICBitmapSource** out) override {
        return HandOut<IWICBitmapSource>(thumbnail, out);
    }
    HRESULT STDMETHODCALLTYPE GetFrameCount(UINT* count) override {
        *count = 4;
        return S_OK;
    }
    HRESULT STDMETHODCALLTYPE GetFrame(UINT index, IWICBitmapFrameDecode** out) override {
        return HandOut<IWICBitmapFrameDecode>(index < 4 ? frame : nullptr, out);
    }
};

/// Hands out the system's own streams and palettes, and a decoder of the test's.
class CFakeFactory final : public CFake<IWICImagingFactory> {
public:
    explicit CFakeFactory(IWICBitmapDecoder* decoder) : m_decoder(decoder) {
        m_system = TakeCom<IWICImagingFactory>([](IWICImagingFactory** out) {
            return CoCreateInstance(CLSID_WICImagingFactory, nullptr, CLSCTX_INPROC_SERVER,
                                    __uuidof(IWICImagingFactory), reinterpret_cast<void**>(out));
        });
    }
    HRESULT STDMETHODCALLTYPE CreateDecoderFromFilename(LPCWSTR, const GUID*, DWORD,
                                                        WICDecodeOptions, IWICBitmapDecoder**)
        KESTR_NOT_HERE HRESULT STDMETHODCALLTYPE
        CreateDecoderFromStream(IStream*, const GUID*, WICDecodeOptions,
                                IWICBitmapDecoder** out) override {
        return HandOut(m_decoder, out);
    }
    HRESULT STDMETHODCALLTYPE CreateDecoderFromFileHandle(ULONG_PTR, const GUID*, WICDecodeOptions,
                                                          IWICBitmapDecoder**)
        KESTR_NOT_HERE HRESULT STDMETHODCALLTYPE
        CreateComponentInfo(REFCLSID, IWICComponentInfo**) KESTR_NOT_HERE HRESULT STDMETHODCALLTYPE
        CreateDecoder(REFGUID, const GUID*,
                      IWICBitmapDecoder**) KESTR_NOT_HERE HRESULT STDMETHODCALLTYPE
        CreateEncoder(REFGUID, const GUID*,
                      IWICBitmapEncoder**) KESTR_NOT_HERE HRESULT STDMETHODCALLTYPE
        CreatePalette(IWICPalette** out) override {
        return m_system->CreatePalette(out);
    }
    HRESULT STDMETHODCALLTYPE CreateFormatConverter(IWICFormatConverter**)
        KESTR_NOT_HERE HRESULT STDMETHODCALLTYPE
        CreateBitmapScaler(IWICBitmapScaler**) KESTR_NOT_HERE HRESULT STDMETHODCALLTYPE
        CreateBitmapClipper(IWICBitmapClipper**) KESTR_NOT_HERE HRESULT STDMETHODCALLTYPE
        CreateBitmapFlipRotator(IWICBitmapFlipRotator**) KESTR_NOT_HERE HRESULT STDMETHODCALLTYPE
        CreateStream(IWICStream** out) override {
        return m_system->CreateStream(out);
    }
    HRESULT STDMETHODCALLTYPE CreateColorContext(IWICColorContext**)
        KESTR_NOT_HERE HRESULT STDMETHODCALLTYPE
        CreateColorTransformer(IWICColorTransform**) KESTR_NOT_HERE HRESULT STDMETHODCALLTYPE
        CreateBitmap(UINT, UINT, REFWICPixelFormatGUID, WICBitmapCreateCacheOption,
                     IWICBitmap**) KESTR_NOT_HERE HRESULT STDMETHODCALLTYPE
        CreateBitmapFromSource(IWICBitmapSource*, WICBitmapCreateCacheOption,
                               IWICBitmap**) KESTR_NOT_HERE HRESULT STDMETHODCALLTYPE
        CreateBitmapFromSourceRect(IWICBitmapSource*, UINT, UINT, UINT, UINT,
                                   IWICBitmap**) KESTR_NOT_HERE HRESULT STDMETHODCALLTYPE
        CreateBitmapFromMemory(UINT, UINT, REFWICPixelFormatGUID, UINT, UINT, BYTE*,
                               IWICBitmap**) KESTR_NOT_HERE HRESULT STDMETHODCALLTYPE
        CreateBitmapFromHBITMAP(HBITMAP, HPALETTE, WICBitmapAlphaChannelOption,
                                IWICBitmap**) KESTR_NOT_HERE HRESULT STDMETHODCALLTYPE
        CreateBitmapFromHICON(HICON, IWICBitmap**) KESTR_NOT_HERE HRESULT STDMETHODCALLTYPE
        CreateComponentEnumerator(DWORD, DWORD,
                                  IEnumUnknown**) KESTR_NOT_HERE HRESULT STDMETHODCALLTYPE
        CreateFastMetadataEncoderFromDecoder(IWICBitmapDecoder*, IWICFastMetadataEncoder**)
            KESTR_NOT_HERE HRESULT STDMETHODCALLTYPE
        CreateFastMetadataEncoderFromFrameDecode(IWICBitmapFrameDecode*, IWICFastMetadataEncoder**)
            KESTR_NOT_HERE HRESULT STDMETHODCALLTYPE
        CreateQueryWriter(REFGUID, const GUID*,
                          IWICMetadataQueryWriter**) KESTR_NOT_HERE HRESULT STDMETHODCALLTYPE
        CreateQueryWriterFromReader(IWICMetadataQueryReader*, const GUID*,
                                    IWICMetadataQueryWriter**) KESTR_NOT_HERE

        private : IWICBitmapDecoder* m_decoder;
    CComHolder<IWICImagingFactory> m_system;
};

class ImagingFile : public testing::Test {
protected:
    ImagingFile() {
        m_decoder->frame = m_frame.get();
        wchar_t name[MAX_PATH] = L"";
        GetModuleFileNameW(nullptr, name, MAX_PATH);  // any file that is there
        m_path = name;
    }
    ~ImagingFile() override {
        m_factory.reset();
        m_decoder.reset();
        m_frame.reset();
        EXPECT_EQ(g_alive, 0);
    }
    std::unique_ptr<CCodecFile> Open() {
        return OpenWithImagingFactory(*m_factory, m_path.c_str());
    }

    CComApartment m_apartment;
    CComHolder<CFakeFrame> m_frame{new CFakeFrame};
    CComHolder<CFakeDecoder> m_decoder{new CFakeDecoder};
    CComHolder<CFakeFactory> m_factory{new CFakeFactory(m_decoder.get())};
    std::wstring m_path;
};

TEST_F(ImagingFile, KnowsThePixelFormatsByTheirNames) {
    using enum ECodecPixels;
    const std::pair<GUID, ECodecPixels> cases[] = {
        {GUID_WICPixelFormat1bppIndexed, k1bppIndexed},
        {GUID_WICPixelFormat2bppIndexed, k2bppIndexed},
        {GUID_WICPixelFormat4bppIndexed, k4bppIndexed},
        {GUID_WICPixelFormat8bppIndexed, k8bppIndexed},
        {GUID_WICPixelFormatBlackWhite, kBlackWhite},
        {GUID_WICPixelFormat2bppGray, k2bppGray},
        {GUID_WICPixelFormat4bppGray, k4bppGray},
        {GUID_WICPixelFormat8bppGray, k8bppGray},
        {GUID_WICPixelFormat16bppGray, k16bppGray},
        {GUID_WICPixelFormat24bppBGR, k24bppBGR},
        {GUID_WICPixelFormat24bppRGB, k24bppRGB},
        {GUID_WICPixelFormat32bppBGR, k32bppBGR},
        {GUID_WICPixelFormat32bppBGRA, k32bppBGRA},
        {GUID_WICPixelFormat32bppPBGRA, k32bppPBGRA},
        {GUID_WICPixelFormat48bppRGB, k48bppRGB},
        {GUID_WICPixelFormat64bppRGBA, kOther},
        {GUID{}, kOther},
    };
    for (const auto& [id, pixels] : cases) {
        m_frame->format = id;
        const auto file = Open();
        ASSERT_TRUE(file);
        const auto frame = file->Frame(0);
        ASSERT_TRUE(frame);
        EXPECT_EQ(frame->Pixels(), pixels);
    }
}

TEST_F(ImagingFile, GivesPicturesRowsAndColors) {
    m_frame->colors = {0xFF112233, 0x00445566};
    const auto file = Open();
    ASSERT_TRUE(file);
    EXPECT_EQ(file->FrameCount(), 4u);
    EXPECT_EQ(file->CodecName(), "");
    EXPECT_EQ(file->Frame(4), nullptr);
    EXPECT_EQ(file->Preview(), nullptr);
    m_decoder->thumbnail = m_frame.get();
    EXPECT_NE(file->Thumbnail(), nullptr);
    const auto frame = file->Frame(3);
    ASSERT_TRUE(frame);
    EXPECT_EQ(frame->Width(), 2u);
    EXPECT_EQ(frame->Height(), 3u);
    EXPECT_THAT(frame->Palette(), ElementsAre(0xFF112233, 0x00445566));
    std::vector<uint8_t> rows(10);
    EXPECT_TRUE(frame->CopyRows(1, 2, 4, rows.data()));
    EXPECT_THAT(rows, ElementsAre(7, 7, 7, 7, 7, 7, 7, 7, 0, 0));
    EXPECT_EQ(m_frame->asked.Y, 1);
    EXPECT_EQ(m_frame->asked.Width, 2);
    EXPECT_EQ(m_frame->asked.Height, 2);
    EXPECT_EQ(m_frame->stride, 4u);
    m_frame->colors.clear();
    EXPECT_THAT(frame->Palette(), IsEmpty());
    CDiary diary;
    frame->VisitMetadata(diary);
    EXPECT_EQ(diary.text, "") << "a frame without blocks";
}

TEST_F(ImagingFile, RefusesPicturesWithoutASize) {
    const auto file = Open();
    ASSERT_TRUE(file);
    m_frame->width = 0;
    EXPECT_EQ(file->Frame(0), nullptr);
    m_frame->width = 2;
    m_frame->describes = false;
    EXPECT_EQ(file->Frame(0), nullptr);
    m_path = L"Z:\\no such folder\\no such file";
    EXPECT_EQ(Open(), nullptr);
}

TEST_F(ImagingFile, VisitsTheBlocksOfAFrame) {
    const CComHolder<CFakeBlocks> blocks(new CFakeBlocks);
    const CComHolder<CFakeReader> reader(new CFakeReader);
    reader->format = GUID_MetadataFormatExif;
    blocks->readers = {reader.get()};
    m_frame->blocks = blocks.get();
    const auto file = Open();
    ASSERT_TRUE(file);
    CDiary diary;
    file->Frame(0)->VisitMetadata(diary);
    EXPECT_EQ(diary.text, "2()");
}

}  // namespace
}  // namespace kestr::test
