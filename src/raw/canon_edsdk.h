// Canon's EDSDK.DLL, for CR2 files.
#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <optional>

#include <kestr/types.h>

#include "raw/canon_library.h"

namespace kestr {

/// The library's functions; all are needed, the last three for nothing. A result of 0 is success.
struct CEdFunctions {
    using Ref = void*;
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
    struct CImageInfo {
        uint32_t width, height;
        uint32_t others[30];  // more than any version writes
    };
    using Progress = uint32_t(KESTR_CALL*)(uint32_t percent, void* context, int32_t* cancel);

    uint32_t(KESTR_CALL* initializeSDK)();
    uint32_t(KESTR_CALL* terminateSDK)();
    uint32_t(KESTR_CALL* createFileStreamEx)(const KESTR_CHAR* path, uint32_t disposition,
                                             uint32_t access, Ref* stream);
    uint32_t(KESTR_CALL* createImageRef)(Ref stream, Ref* image);
    uint32_t(KESTR_CALL* getImageInfo)(Ref image, uint32_t source, CImageInfo* info);
    uint32_t(KESTR_CALL* getPropertyData)(Ref image, uint32_t property, int32_t parameter,
                                          uint32_t size, void* value);
    uint32_t(KESTR_CALL* createMemoryStreamFromPointer)(void* buffer, uint32_t size, Ref* stream);
    uint32_t(KESTR_CALL* setProgressCallback)(Ref image, Progress callback, uint32_t option,
                                              void* context);
    uint32_t(KESTR_CALL* getImage)(Ref image, uint32_t source, uint32_t form, CRect part,
                                   CSize size, Ref stream);
    uint32_t(KESTR_CALL* release)(Ref ref);
    void* getPointer;
    void* getPropertySize;
    void* setPropertyData;
};

/// Fills the table by names; empty when one is missing.
[[nodiscard]] std::optional<CEdFunctions> FindEdFunctions(
    const std::function<void*(const char* name)>& find);

/// Starts the library over these functions; null when it does not start. `file` is kept loaded as
/// long, and may be null.
[[nodiscard]] std::shared_ptr<CCanonLibrary> StartEdLibrary(const CEdFunctions& functions,
                                                            std::unique_ptr<CDLLInterface> file);

class CEdStarter final : public CCanonStarter {
public:
    explicit CEdStarter(const char* fileName = "EDSDK.DLL");

protected:
    std::shared_ptr<CCanonLibrary> Bind(std::unique_ptr<CDLLInterface> file) override;
};

}  // namespace kestr
