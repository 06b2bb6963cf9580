// Metadata of the Windows Imaging Component: a reader for each block, whose values may be readers
// of blocks inside of it.
#include <windows.h>
#include <algorithm>
#include <bit>
#include <cstring>
#include <initguid.h>
#include <limits>
#include <type_traits>

#include "platform/com_windows.h"
#include "platform/imaging_windows.h"

namespace kestr {
namespace {

constexpr int kDeepest = 16;            // blocks inside of blocks
constexpr size_t kMostItems = 1 << 17;  // of one frame: two directories as full as can be
constexpr size_t kMostBytes = size_t{64} << 20;

struct CBlockFormat {
    const GUID& id;
    ECodecBlock block;
};
const CBlockFormat kBlockFormats[] = {
    {GUID_MetadataFormatIfd, ECodecBlock::kMain},
    {GUID_MetadataFormatExif, ECodecBlock::kExif},
    {GUID_MetadataFormatGps, ECodecBlock::kGPS},
    {GUID_MetadataFormatInterop, ECodecBlock::kInteroperability},
    {GUID_MetadataFormatIPTC, ECodecBlock::kIPTC},
};

/// A PROPVARIANT that is cleared at the end.
struct CPropVariant : PROPVARIANT {
    CPropVariant() : PROPVARIANT{} {}
    ~CPropVariant() { PropVariantClear(this); }
    CPropVariant(const CPropVariant&) = delete;
    CPropVariant& operator=(const CPropVariant&) = delete;
};

class CWalk {
public:
    explicit CWalk(CCodecMetadataVisitor& visitor) : m_visitor(visitor) {}

    void Visit(IWICMetadataReader& reader, int depth) {
        GUID format{};
        ECodecBlock block = ECodecBlock::kOther;
        if (SUCCEEDED(reader.GetMetadataFormat(&format))) {
            for (const CBlockFormat& known : kBlockFormats) {
                if (IsEqualGUID(known.id, format)) block = known.block;
            }
        }
        const auto info = TakeCom<IWICMetadataHandlerInfo>(
            [&](IWICMetadataHandlerInfo** out) { return reader.GetMetadataHandlerInfo(out); });
        m_visitor.BeginBlock(block, info ? FriendlyName(*info) : std::string());
        UINT count = 0;
        if (FAILED(reader.GetCount(&count))) count = 0;
        for (UINT i = 0; i < count && m_items < kMostItems; ++i, ++m_items) {
            VisitItem(reader, i, depth);
        }
        m_visitor.EndBlock();
    }

private:
    void VisitItem(IWICMetadataReader& reader, UINT index, int depth) {
        CPropVariant schema, key, value;
        if (FAILED(reader.GetValueByIndex(index, &schema, &key, &value))) return;
        if (value.vt != VT_UNKNOWN) return m_visitor.Item(Convert(key), Convert(value));
        if (!value.punkVal || depth >= kDeepest) return;
        const auto inner = QueryCom<IWICMetadataReader>(value.punkVal);
        if (inner) Visit(*inner, depth + 1);
    }

    CCodecVariant Convert(const PROPVARIANT& from);
    CCodecVariant ConvertList(const PROPVARIANT& from);

    // Whether `count` elements of `each` bytes may be taken.
    bool Afford(size_t count, size_t each) {
        if (count > (kMostBytes - m_bytes) / each) return false;
        m_bytes += count * each;
        return true;
    }
    // What a number is kept as.
    template <typename T>
    static uint64_t Widen(T number) {
        if constexpr (std::is_floating_point_v<T>) {
            return std::bit_cast<uint64_t>(static_cast<double>(number));
        } else {
            return static_cast<uint64_t>(static_cast<int64_t>(number));
        }
    }
    template <typename T>
    void Number(CCodecVariant& to, T number) {
        to.value = CCodecVariant::Numbers{Widen(number)};
    }
    template <typename T>
    void Numbers(CCodecVariant& to, ULONG count, const T* elements) {
        if (!elements || !Afford(count, sizeof(uint64_t))) return;
        CCodecVariant::Numbers numbers(count);
        for (ULONG i = 0; i < count; ++i) {
            T number;  // the codec's memory need not be aligned
            std::memcpy(&number, elements + i, sizeof number);
            numbers[i] = Widen(number);
        }
        to.value = std::move(numbers);
    }
    template <typename Unit>
    void Texts(CCodecVariant& to, ULONG count, const Unit* const* elements) {
        if (!elements || !Afford(count, sizeof(WideString))) return;
        CCodecVariant::Texts texts;
        for (ULONG i = 0; i < count; ++i) {
            const size_t units = elements[i] ? std::char_traits<Unit>::length(elements[i]) : 0;
            if (!Afford(units, sizeof(wchar_t))) return;
            WideString& text = texts.emplace_back(units, L'\0');
            std::transform(elements[i], elements[i] + units, text.begin(), [](Unit unit) {
                return static_cast<wchar_t>(static_cast<std::make_unsigned_t<Unit>>(unit));
            });
        }
        to.value = std::move(texts);
    }

    CCodecMetadataVisitor& m_visitor;
    size_t m_items = 0;
    size_t m_bytes = 0;
};

CCodecVariant CWalk::Convert(const PROPVARIANT& from) {
    if ((from.vt & VT_VECTOR) != 0) return ConvertList(from);
    CCodecVariant to{.type = from.vt, .value = {}};
    switch (from.vt) {
        case VT_I1:
            Number(to, static_cast<int8_t>(from.cVal));
            break;
        case VT_UI1:
            Number(to, from.bVal);
            break;
        case VT_I2:
            Number(to, from.iVal);
            break;
        case VT_UI2:
            Number(to, from.uiVal);
            break;
        case VT_I4:
        case VT_INT:
            Number(to, from.lVal);
            break;
        case VT_UI4:
        case VT_UINT:
            Number(to, from.ulVal);
            break;
        case VT_I8:
            Number(to, from.hVal.QuadPart);
            break;
        case VT_UI8:
            Number(to, from.uhVal.QuadPart);
            break;
        case VT_BOOL:
            Number(to, from.boolVal);
            break;
        case VT_R4:
            Number(to, from.fltVal);
            break;
        case VT_R8:
            Number(to, from.dblVal);
            break;
        case VT_LPSTR:
            Texts(to, 1, &from.pszVal);
            break;
        case VT_LPWSTR:
            Texts(to, 1, &from.pwszVal);
            break;
        case VT_BSTR:
            to.type = CCodecVariant::kText16;
            Texts(to, 1, &from.bstrVal);
            break;
        case VT_BLOB:
            if (from.blob.pBlobData && Afford(from.blob.cbSize, 1)) {
                to.value = CCodecVariant::Bytes(from.blob.pBlobData,
                                                from.blob.pBlobData + from.blob.cbSize);
            }
            break;
        default:
            break;
    }
    return to;
}

CCodecVariant CWalk::ConvertList(const PROPVARIANT& from) {
    CCodecVariant to{.type = from.vt, .value = {}};
    switch (from.vt & ~VT_VECTOR) {
        case VT_I1:
            Numbers(to, from.cac.cElems, reinterpret_cast<const int8_t*>(from.cac.pElems));
            break;
        case VT_UI1:
            Numbers(to, from.caub.cElems, from.caub.pElems);
            break;
        case VT_I2:
            Numbers(to, from.cai.cElems, from.cai.pElems);
            break;
        case VT_UI2:
            Numbers(to, from.caui.cElems, from.caui.pElems);
            break;
        case VT_I4:
        case VT_INT:
            Numbers(to, from.cal.cElems, from.cal.pElems);
            break;
        case VT_UI4:
        case VT_UINT:
            Numbers(to, from.caul.cElems, from.caul.pElems);
            break;
        case VT_I8:
            Numbers(to, from.cah.cElems, reinterpret_cast<const int64_t*>(from.cah.pElems));
            break;
        case VT_UI8:
            Numbers(to, from.cauh.cElems, reinterpret_cast<const uint64_t*>(from.cauh.pElems));
            break;
        case VT_BOOL:
            Numbers(to, from.cabool.cElems, from.cabool.pElems);
            break;
        case VT_R4:
            Numbers(to, from.caflt.cElems, from.caflt.pElems);
            break;
        case VT_R8:
            Numbers(to, from.cadbl.cElems, from.cadbl.pElems);
            break;
        case VT_LPSTR:
            Texts(to, from.calpstr.cElems, from.calpstr.pElems);
            break;
        case VT_LPWSTR:
            Texts(to, from.calpwstr.cElems, from.calpwstr.pElems);
            break;
        case VT_BSTR:
            to.type = CCodecVariant::kVector | CCodecVariant::kText16;
            Texts(to, from.cabstr.cElems, from.cabstr.pElems);
            break;
        default:
            break;
    }
    return to;
}

}  // namespace

void VisitImagingBlocks(IWICMetadataBlockReader& reader, CCodecMetadataVisitor& visitor) {
    CWalk walk(visitor);
    UINT count = 0;
    if (FAILED(reader.GetCount(&count))) return;
    constexpr UINT kMostBlocks = 4096;
    for (UINT i = 0; i < std::min(count, kMostBlocks); ++i) {
        const auto block = TakeCom<IWICMetadataReader>(
            [&](IWICMetadataReader** out) { return reader.GetReaderByIndex(i, out); });
        if (block) walk.Visit(*block, 0);
    }
}

}  // namespace kestr
