#include "raw/canon_edsdk.h"

#include <utility>

#include "base/picture_size.h"

namespace kestr {
namespace {

using Ref = CEdFunctions::Ref;

constexpr const char* kVersions[] = {"2, 5, 1, 6", "2, 4, 0, 1", "2, 3, 0, 2", "2, 1, 0, 11",
                                     "2, 1, 0, 8"};
constexpr uint32_t kOpenExisting = 2;
constexpr uint32_t kReadAccess = 0;
constexpr uint32_t kFullImage = 4;
constexpr uint32_t kRGB16 = 10;
constexpr uint32_t kColorSpace = 269;
constexpr uint32_t kAdobeRGB = 2;
constexpr uint32_t kPeriodically = 2;

/// Something of the library's that is given back at the end.
class CEdRef {
public:
    explicit CEdRef(const CEdFunctions& functions) : m_functions(&functions) {}
    ~CEdRef() {
        if (m_ref != nullptr) m_functions->release(m_ref);
    }
    CEdRef(const CEdRef&) = delete;
    CEdRef& operator=(const CEdRef&) = delete;

    Ref* Out() { return &m_ref; }
    [[nodiscard]] Ref Get() const { return m_ref; }

private:
    const CEdFunctions* m_functions;
    Ref m_ref = nullptr;
};

uint32_t KESTR_CALL ReportProgress(uint32_t percent, void* context, int32_t* cancel) {
    const auto& progress = *static_cast<const CCanonPicture::CProgress*>(context);
    if (!progress(percent) && cancel != nullptr) *cancel = 1;
    return 0;
}

class CEdPicture final : public CCanonPicture {
public:
    explicit CEdPicture(const CEdFunctions& functions)
        : m_functions(functions), m_file(functions), m_image(functions) {}

    [[nodiscard]] bool Open(const KESTR_CHAR* path) {
        const CEdFunctions& sdk = m_functions;
        CEdFunctions::CImageInfo info{};
        if (sdk.createFileStreamEx(path, kOpenExisting, kReadAccess, m_file.Out()) != 0 ||
            sdk.createImageRef(m_file.Get(), m_image.Out()) != 0 ||
            sdk.getImageInfo(m_image.Get(), kFullImage, &info) != 0) {
            return false;
        }
        width = info.width;
        height = info.height;
        uint32_t space = 0;
        adobeRGB = sdk.getPropertyData(m_image.Get(), kColorSpace, 0, sizeof space, &space) == 0 &&
                   space == kAdobeRGB;
        return true;
    }

    bool Transfer(std::span<uint16_t> samples, CCallbackCls*, const CProgress& progress) override {
        const CEdFunctions& sdk = m_functions;
        CEdRef memory(sdk);
        const auto bytes = static_cast<uint32_t>(samples.size_bytes());
        if (bytes != samples.size_bytes() ||
            sdk.createMemoryStreamFromPointer(samples.data(), bytes, memory.Out()) != 0) {
            return false;
        }
        void* const context = const_cast<CProgress*>(&progress);
        sdk.setProgressCallback(m_image.Get(), &ReportProgress, kPeriodically, context);
        const CEdFunctions::CSize size{static_cast<int32_t>(width), static_cast<int32_t>(height)};
        const bool done = sdk.getImage(m_image.Get(), kFullImage, kRGB16, {{0, 0}, size}, size,
                                       memory.Get()) == 0;
        sdk.setProgressCallback(m_image.Get(), nullptr, 0, nullptr);
        return done;
    }

private:
    const CEdFunctions& m_functions;
    CEdRef m_file;
    CEdRef m_image;  // goes before the stream under it
};

class CEdLibrary final : public CCanonLibrary {
public:
    CEdLibrary(const CEdFunctions& functions, std::unique_ptr<CDLLInterface> file)
        : m_file(std::move(file)), m_functions(functions) {}
    ~CEdLibrary() override {
        if (m_started) m_functions.terminateSDK();
    }
    CEdLibrary(const CEdLibrary&) = delete;
    CEdLibrary& operator=(const CEdLibrary&) = delete;

    bool Start() { return m_started = m_functions.initializeSDK() == 0; }

    std::unique_ptr<CCanonPicture> Open(const KESTR_CHAR* path) override {
        auto picture = std::make_unique<CEdPicture>(m_functions);
        return picture->Open(path) ? std::move(picture) : nullptr;
    }

private:
    std::unique_ptr<CDLLInterface> m_file;  // goes last: its code runs until then
    CEdFunctions m_functions;
    bool m_started = false;
};

}  // namespace

std::optional<CEdFunctions> FindEdFunctions(const std::function<void*(const char*)>& find) {
    CEdFunctions found{};
    bool complete = true;
    const auto take = [&](auto& function, const char* name) {
        void* const address = find(name);
        complete = complete && address != nullptr;
        function = reinterpret_cast<std::remove_reference_t<decltype(function)>>(address);
    };
    take(found.initializeSDK, "EdsInitializeSDK");
    take(found.terminateSDK, "EdsTerminateSDK");
    take(found.createFileStreamEx, "EdsCreateFileStreamEx");
    take(found.createImageRef, "EdsCreateImageRef");
    take(found.getImageInfo, "EdsGetImageInfo");
    take(found.getPropertyData, "EdsGetPropertyData");
    take(found.createMemoryStreamFromPointer, "EdsCreateMemoryStreamFromPointer");
    take(found.setProgressCallback, "EdsSetProgressCallback");
    take(found.getImage, "EdsGetImage");
    take(found.release, "EdsRelease");
    take(found.getPointer, "EdsGetPointer");
    take(found.getPropertySize, "EdsGetPropertySize");
    take(found.setPropertyData, "EdsSetPropertyData");
    return complete ? std::optional(found) : std::nullopt;
}

std::shared_ptr<CCanonLibrary> StartEdLibrary(const CEdFunctions& functions,
                                              std::unique_ptr<CDLLInterface> file) {
    auto library = std::make_shared<CEdLibrary>(functions, std::move(file));
    return library->Start() ? std::move(library) : nullptr;
}

CEdStarter::CEdStarter(const char* fileName) : CCanonStarter(fileName, kVersions) {}

std::shared_ptr<CCanonLibrary> CEdStarter::Bind(std::unique_ptr<CDLLInterface> file) {
    const auto functions =
        FindEdFunctions([&](const char* name) { return file->GetFunction(name); });
    return functions ? StartEdLibrary(*functions, std::move(file)) : nullptr;
}

}  // namespace kestr
