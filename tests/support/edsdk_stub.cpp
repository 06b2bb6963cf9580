#include "support/edsdk_stub.h"

#include <cstring>

namespace {

CEdStubState g_state;

struct CReference {
    enum EKind { kNone, kFile, kImage, kMemory } kind;
    bool adobe, failing, huge;
    uint8_t* memory;
    uint32_t bytes;
};
CReference g_references[8];

using Progress = uint32_t(KESTR_CALL*)(uint32_t, void*, int32_t*);
Progress g_progress;
void* g_progressContext;

struct CPoint {
    int32_t x, y;
};
struct CSize {
    int32_t width, height;
};
struct CRect {
    CPoint corner;
    CSize size;
};

constexpr uint32_t kDone = 0;
constexpr uint32_t kFailed = 2;
constexpr uint32_t kCancelled = 5;

bool Holds(const KESTR_CHAR* path, const char* word) {
    for (; *path != 0; ++path) {
        size_t i = 0;
        while (word[i] != 0 && path[i] == static_cast<KESTR_CHAR>(word[i])) ++i;
        if (word[i] == 0) return true;
    }
    return false;
}

uint32_t Give(const CReference& reference, void** out) {
    for (CReference& place : g_references) {
        if (place.kind != CReference::kNone) continue;
        place = reference;
        ++g_state.references;
        *out = &place;
        return kDone;
    }
    return kFailed;
}

CReference& Of(void* reference) {
    return *static_cast<CReference*>(reference);
}

}  // namespace

extern "C" {

CEdStubState* KESTR_CALL EdStubState() {
    return &g_state;
}

uint32_t KESTR_CALL EdsInitializeSDK() {
    ++g_state.starts;
    return kDone;
}

uint32_t KESTR_CALL EdsTerminateSDK() {
    ++g_state.ends;
    return kDone;
}

uint32_t KESTR_CALL EdsCreateFileStreamEx(const KESTR_CHAR* path, uint32_t disposition,
                                          uint32_t access, void** stream) {
    if (disposition != 2 || access != 0 || Holds(path, "closed")) return kFailed;
    return Give({CReference::kFile, Holds(path, "adobe"), Holds(path, "failing"),
                 Holds(path, "huge"), nullptr, 0},
                stream);
}

uint32_t KESTR_CALL EdsCreateImageRef(void* stream, void** image) {
    CReference reference = Of(stream);
    if (reference.kind != CReference::kFile) return kFailed;
    reference.kind = CReference::kImage;
    return Give(reference, image);
}

uint32_t KESTR_CALL EdsGetImageInfo(void* image, uint32_t source, uint32_t* info) {
    if (Of(image).kind != CReference::kImage || source != 4) return kFailed;
    info[0] = Of(image).huge ? 0x10000000 : kestr::test::kEdStubWidth;
    info[1] = Of(image).huge ? 0x10000000 : kestr::test::kEdStubHeight;
    for (int i = 2; i < 10; ++i) info[i] = 0xEEEEEEEE;  // what else the structure holds
    return kDone;
}

uint32_t KESTR_CALL EdsGetPropertyData(void* image, uint32_t property, int32_t parameter,
                                       uint32_t size, void* value) {
    if (property != 269 || parameter != 0 || size != 4) return kFailed;
    const uint32_t space = Of(image).adobe ? 2 : 1;
    std::memcpy(value, &space, sizeof space);
    return kDone;
}

uint32_t KESTR_CALL EdsCreateMemoryStreamFromPointer(void* buffer, uint32_t size, void** stream) {
    return Give({CReference::kMemory, false, false, false, static_cast<uint8_t*>(buffer), size},
                stream);
}

uint32_t KESTR_CALL EdsSetProgressCallback(void* image, Progress callback, uint32_t option,
                                           void* context) {
    if (Of(image).kind != CReference::kImage || (callback != nullptr && option != 2))
        return kFailed;
    g_progress = callback;
    g_progressContext = context;
    return kDone;
}

uint32_t KESTR_CALL EdsGetImage(void* image, uint32_t source, uint32_t form, CRect part, CSize size,
                                void* stream) {
    using namespace kestr::test;
    const CReference& memory = Of(stream);
    if (Of(image).failing || source != 4 || form != 10 || part.corner.x != 0 ||
        part.corner.y != 0 || part.size.width != kEdStubWidth || size.width != kEdStubWidth ||
        part.size.height != kEdStubHeight || size.height != kEdStubHeight ||
        memory.kind != CReference::kMemory || memory.bytes != kEdStubWidth * kEdStubHeight * 6) {
        return kFailed;
    }
    uint8_t* out = memory.memory;
    for (int y = 0; y < kEdStubHeight; ++y) {
        int32_t cancel = 0;
        if (g_progress != nullptr) g_progress(20 * (y + 1), g_progressContext, &cancel);
        if (cancel != 0) return kCancelled;
        for (int x = 0; x < kEdStubWidth; ++x) {
            for (int c = 0; c < 3; ++c, out += 2) {
                const uint16_t sample = EdStubSample(x, y, c);
                std::memcpy(out, &sample, sizeof sample);
            }
        }
    }
    ++g_state.developed;
    return kDone;
}

uint32_t KESTR_CALL EdsRelease(void* reference) {
    Of(reference) = {};
    --g_state.references;
    return kDone;
}

uint32_t KESTR_CALL EdsGetPointer() {
    return kFailed;
}
uint32_t KESTR_CALL EdsGetPropertySize() {
    return kFailed;
}
uint32_t KESTR_CALL EdsSetPropertyData() {
    return kFailed;
}

void* EdStubFunction(const char* name) {
    const struct {
        const char* name;
        void* function;
    } functions[] = {
#define KESTR_STUB(function) {#function, reinterpret_cast<void*>(&function)}
        KESTR_STUB(EdsInitializeSDK),
        KESTR_STUB(EdsTerminateSDK),
        KESTR_STUB(EdsCreateFileStreamEx),
        KESTR_STUB(EdsCreateImageRef),
        KESTR_STUB(EdsGetImageInfo),
        KESTR_STUB(EdsGetPropertyData),
        KESTR_STUB(EdsCreateMemoryStreamFromPointer),
        KESTR_STUB(EdsSetProgressCallback),
        KESTR_STUB(EdsGetImage),
        KESTR_STUB(EdsRelease),
        KESTR_STUB(EdsGetPointer),
        KESTR_STUB(EdsGetPropertySize),
        KESTR_STUB(EdsSetPropertyData),
#undef KESTR_STUB
    };
    for (const auto& row : functions) {
        if (std::strcmp(row.name, name) == 0) return row.function;
    }
    return nullptr;
}

}  // extern "C"
