// The automation functions where the system has none, with the layouts of 64-bit Windows: a text
// stands behind its length in bytes, an array's descriptor behind its element type.
#include "platform/automation.h"

#include <cstring>
#include <limits>
#include <new>

namespace {

constexpr size_t kTextPrefix = 8;  // bytes before the first unit; the length is their last four
constexpr size_t kTextEnd = 3;     // a NUL unit, and a byte for texts of an odd number of bytes
constexpr uint16_t kHaveVartype = 0x80;     // FADF_HAVEVARTYPE: the element type is stored
constexpr uint16_t kCreateVector = 0x2000;  // FADF_CREATEVECTOR: the data follow the descriptor

constexpr int32_t kOk = 0;
constexpr int32_t kInvalidArgument = static_cast<int32_t>(0x80070057);  // E_INVALIDARG
constexpr int32_t kUnexpected = static_cast<int32_t>(0x8000FFFF);       // E_UNEXPECTED
constexpr int32_t kBadIndex = static_cast<int32_t>(0x8002000B);         // DISP_E_BADINDEX
constexpr int32_t kArrayLocked = static_cast<int32_t>(0x8002000D);      // DISP_E_ARRAYISLOCKED

// What an array allocation begins with; the elements come right behind.
struct CVectorBlock {
    uint32_t reserved[3];
    uint32_t vartype;
    SAFEARRAY array;
};
static_assert(offsetof(CVectorBlock, array) == 16 && sizeof(CVectorBlock) % 16 == 0);

CVectorBlock* BlockOf(SAFEARRAY* array) {
    return reinterpret_cast<CVectorBlock*>(reinterpret_cast<uint8_t*>(array) -
                                           offsetof(CVectorBlock, array));
}

uint32_t ElementBytes(VARTYPE type) {
    switch (type) {
        case VT_I1:
        case VT_UI1:
            return 1;
        case VT_I2:
        case VT_UI2:
            return 2;
        case VT_I4:
        case VT_UI4:
        case VT_R4:
            return 4;
        case VT_I8:
        case VT_UI8:
        case VT_R8:
            return 8;
        default:
            return 0;
    }
}

BSTR NewTextBlock(const void* content, uint64_t bytes) {
    if (bytes > std::numeric_limits<uint32_t>::max() - kTextPrefix - kTextEnd) return nullptr;
    auto* const block = static_cast<uint8_t*>(
        ::operator new(kTextPrefix + static_cast<size_t>(bytes) + kTextEnd, std::nothrow));
    if (!block) return nullptr;
    uint8_t* const text = block + kTextPrefix;
    const auto length = static_cast<uint32_t>(bytes);
    std::memcpy(text - sizeof length, &length, sizeof length);
    if (content && length != 0) std::memcpy(text, content, length);
    std::memset(text + length, 0, kTextEnd);
    return reinterpret_cast<BSTR>(text);
}

int32_t Bound(SAFEARRAY* array, uint32_t dimension, int32_t* bound, bool upper) {
    if (!array || !bound) return kInvalidArgument;
    if (dimension == 0 || dimension > array->cDims) return kBadIndex;
    // The last dimension stands first.
    const SAFEARRAYBOUND& range = array->rgsabound[array->cDims - dimension];
    *bound =
        upper ? static_cast<int32_t>(range.lLbound + int64_t{range.cElements} - 1) : range.lLbound;
    return kOk;
}

}  // namespace

extern "C" {

BSTR SysAllocString(const KESTR_CHAR* text) {
    if (!text) return nullptr;
    return NewTextBlock(text, uint64_t{2} * std::char_traits<KESTR_CHAR>::length(text));
}

BSTR SysAllocStringLen(const KESTR_CHAR* text, uint32_t length) {
    return NewTextBlock(text, uint64_t{2} * length);
}

BSTR SysAllocStringByteLen(const char* bytes, uint32_t byteLength) {
    return NewTextBlock(bytes, byteLength);
}

void SysFreeString(BSTR text) {
    if (text) ::operator delete(reinterpret_cast<uint8_t*>(text) - kTextPrefix);
}

uint32_t SysStringByteLen(BSTR text) {
    uint32_t length = 0;
    if (text) {
        std::memcpy(&length, reinterpret_cast<uint8_t*>(text) - sizeof length, sizeof length);
    }
    return length;
}

uint32_t SysStringLen(BSTR text) {
    return SysStringByteLen(text) / 2;
}

SAFEARRAY* SafeArrayCreateVector(VARTYPE type, int32_t lowerBound, uint32_t count) {
    const auto plainType = static_cast<VARTYPE>(type & ~VT_ARRAY);
    const uint32_t elementBytes = ElementBytes(plainType);
    const uint64_t dataBytes = uint64_t{elementBytes} * count;
    if (elementBytes == 0 || dataBytes > std::numeric_limits<size_t>::max() - sizeof(CVectorBlock))
        return nullptr;
    void* const memory =
        ::operator new(sizeof(CVectorBlock) + static_cast<size_t>(dataBytes), std::nothrow);
    if (!memory) return nullptr;
    // NOLINTNEXTLINE(cppcoreguidelines-owning-memory): the caller owns it, as the interface says
    auto* const block = new (memory) CVectorBlock{};
    void* const data = block + 1;
    std::memset(data, 0, static_cast<size_t>(dataBytes));
    block->vartype = plainType;
    block->array.cDims = 1;
    block->array.fFeatures = kHaveVartype | kCreateVector;
    block->array.cbElements = elementBytes;
    block->array.pvData = data;
    block->array.rgsabound[0] = {count, lowerBound};
    return &block->array;
}

int32_t SafeArrayDestroy(SAFEARRAY* array) {
    if (!array) return kOk;
    if (array->cLocks != 0) return kArrayLocked;
    ::operator delete(BlockOf(array));
    return kOk;
}

int32_t SafeArrayAccessData(SAFEARRAY* array, void** data) {
    if (!array || !data) return kInvalidArgument;
    if (array->cLocks == std::numeric_limits<uint16_t>::max()) return kUnexpected;
    ++array->cLocks;
    *data = array->pvData;
    return kOk;
}

int32_t SafeArrayUnaccessData(SAFEARRAY* array) {
    if (!array) return kInvalidArgument;
    if (array->cLocks == 0) return kUnexpected;
    --array->cLocks;
    return kOk;
}

uint32_t SafeArrayGetDim(SAFEARRAY* array) {
    return array ? array->cDims : 0;
}

uint32_t SafeArrayGetElemsize(SAFEARRAY* array) {
    return array ? array->cbElements : 0;
}

int32_t SafeArrayGetLBound(SAFEARRAY* array, uint32_t dimension, int32_t* bound) {
    return Bound(array, dimension, bound, false);
}

int32_t SafeArrayGetUBound(SAFEARRAY* array, uint32_t dimension, int32_t* bound) {
    return Bound(array, dimension, bound, true);
}

int32_t SafeArrayGetVartype(SAFEARRAY* array, VARTYPE* type) {
    if (!array || !type || !(array->fFeatures & kHaveVartype)) return kInvalidArgument;
    *type = static_cast<VARTYPE>(BlockOf(array)->vartype);
    return kOk;
}

}  // extern "C"

namespace kestr::automation {

BSTR NewText(const KESTR_CHAR* text, size_t units) {
    if (units > std::numeric_limits<uint32_t>::max() / 2) return nullptr;
    return NewTextBlock(text, uint64_t{2} * units);
}

BSTR NewTextBytes(const uint8_t* bytes, size_t size) {
    return NewTextBlock(bytes, size);
}

void FreeText(BSTR text) {
    SysFreeString(text);
}

size_t TextUnits(BSTR text) {
    return SysStringLen(text);
}

SAFEARRAY* NewArray(Element element, size_t count) {
    if (count > std::numeric_limits<uint32_t>::max()) return nullptr;
    return SafeArrayCreateVector(element == Element::kByte ? VT_UI1 : VT_I4, 0,
                                 static_cast<uint32_t>(count));
}

void FreeArray(SAFEARRAY* array) {
    SafeArrayDestroy(array);
}

void* Lock(SAFEARRAY* array, Element element, size_t& count) {
    const uint32_t elementBytes = element == Element::kByte ? 1 : 4;
    void* data = nullptr;
    if (SafeArrayGetDim(array) != 1 || SafeArrayGetElemsize(array) != elementBytes ||
        SafeArrayAccessData(array, &data) != kOk) {
        return nullptr;
    }
    count = array->rgsabound[0].cElements;
    return data;
}

void Unlock(SAFEARRAY* array) {
    SafeArrayUnaccessData(array);
}

}  // namespace kestr::automation
