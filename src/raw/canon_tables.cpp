#include "raw/canon_tables.h"

#include <algorithm>
#include <utility>

#include "platform/code_page.h"
#include "readers/extension_table.h"
#include "readers/type_ids.h"

namespace kestr {
namespace {

constexpr uint32_t kStartBytes = 40;
constexpr uint32_t kStartVersion = 8;
constexpr uint32_t kRawMode = 0x101;
constexpr uint32_t kTIFFMode = 0x102;
constexpr uint32_t kColorSpace = 0x100C;
constexpr uint32_t kAdobeRGB = 2;
constexpr uint32_t kRGB16 = 7;
constexpr uint32_t kBlockBytes = 0x1000;
constexpr uint32_t kCancelled = 8223;

class CTablePicture final : public CCanonPicture {
public:
    explicit CTablePicture(CCanonOperations& operations) : m_operations(operations) {}
    ~CTablePicture() override {
        if (m_picture != nullptr) m_operations.ClosePicture(m_picture);
        if (m_source != nullptr) m_operations.CloseSource(m_source);
    }
    CTablePicture(const CTablePicture&) = delete;
    CTablePicture& operator=(const CTablePicture&) = delete;

    [[nodiscard]] bool Open(const KESTR_CHAR* path, ECanonRoute route) {
        m_source = m_operations.OpenSource(SplitPath(WideToPath(path)));
        if (m_source == nullptr) return false;
        const bool isTIFF = TypeIdOfExtension(ExtensionKey(path)) == kTypeTIFF;
        m_picture = m_operations.OpenPicture(m_source, 0, isTIFF ? kTIFFMode : kRawMode);
        CCanonRelease release;
        if (m_picture == nullptr || !m_operations.GetRelease(m_picture, release)) return false;
        if (route == ECanonRoute::kCDSDK && IsForLastCanonRoute(release.model)) return false;
        width = release.width;
        height = release.height;
        CollectCanonProperties(m_operations, m_picture, *this);
        adobeRGB = m_operations.ReadValue(m_picture, kColorSpace) == kAdobeRGB;
        return true;
    }

    bool Transfer(std::span<uint16_t> samples, CCallbackCls* session,
                  const CProgress& progress) override {
        if (!ApplyCanonParams(m_operations, m_picture, session)) return false;
        const size_t rowSamples = size_t{3} * width;
        size_t done = 0;
        const auto takeRow = [&](std::span<const uint16_t> row) -> uint32_t {
            if (!progress(static_cast<uint32_t>(uint64_t{done} * 100 / samples.size()))) {
                return kCancelled;
            }
            if (done + rowSamples > samples.size()) return 0;
            std::ranges::copy(row.first(std::min(row.size(), rowSamples)), samples.begin() + done);
            done += rowSamples;
            return 0;
        };
        return m_operations.GetPicture(m_picture, kRGB16, kBlockBytes, takeRow) == 0;
    }

private:
    CCanonOperations& m_operations;
    CCanonOperations::Handle m_source = nullptr;
    CCanonOperations::Handle m_picture = nullptr;
};

class CTableLibrary final : public CCanonLibrary {
public:
    CTableLibrary(std::unique_ptr<CCanonOperations> operations, ECanonRoute route)
        : m_operations(std::move(operations)), m_route(route) {}
    ~CTableLibrary() override {
        if (m_started) m_operations->End();
    }
    CTableLibrary(const CTableLibrary&) = delete;
    CTableLibrary& operator=(const CTableLibrary&) = delete;

    bool Start() { return m_started = m_operations->Start(kStartBytes, kStartVersion); }

    std::unique_ptr<CCanonPicture> Open(const KESTR_CHAR* path) override {
        auto picture = std::make_unique<CTablePicture>(*m_operations);
        return picture->Open(path, m_route) ? std::move(picture) : nullptr;
    }

private:
    std::unique_ptr<CCanonOperations> m_operations;
    ECanonRoute m_route;
    bool m_started = false;
};

constexpr const char* kRCSDKVersions[] = {"8, 4, 0, 28"};
constexpr const char* kCDSDKVersions[] = {"7, 3, 0, 6"};
constexpr const char* kRDSDKVersions[] = {"1, 1, 0, 3"};

}  // namespace

std::shared_ptr<CCanonLibrary> StartTableLibrary(std::unique_ptr<CCanonOperations> operations,
                                                 ECanonRoute route) {
    auto library = std::make_shared<CTableLibrary>(std::move(operations), route);
    return library->Start() ? std::move(library) : nullptr;
}

bool IsForLastCanonRoute(std::string_view model) {
    return model.find("Pro70") != model.npos || model.find("A50") != model.npos;
}

CTableStarter::CTableStarter(const char* fileName, std::span<const char* const> versions,
                             const char* function)
    : CCanonStarter(fileName, versions), m_function(function) {}

std::shared_ptr<CCanonLibrary> CTableStarter::Bind(std::unique_ptr<CDLLInterface> file) {
    (void)file->GetFunction(m_function);
    return nullptr;
}

CRCStarter::CRCStarter() : CTableStarter("RCSDK.DLL", kRCSDKVersions, "RCGetFunctions") {}
CCRWStarter::CCRWStarter() : CTableStarter("CDSDK.DLL", kCDSDKVersions, "CDGetFunctions") {}
CRDStarter::CRDStarter() : CTableStarter("RDSDK.DLL", kRDSDKVersions, "RDGetFunctions") {}

}  // namespace kestr
