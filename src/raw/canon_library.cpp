#include "raw/canon_library.h"

#include <algorithm>
#include <utility>

#include "raw/canon_edsdk.h"
#include "raw/canon_tables.h"
#include "readers/closed_library.h"

namespace kestr {

CCanonPicture::~CCanonPicture() = default;
CCanonLibrary::~CCanonLibrary() = default;
CCanonLibraries::~CCanonLibraries() = default;

CCanonStarter::CCanonStarter(std::string fileName, std::span<const char* const> versions)
    : m_fileName(std::move(fileName)), m_versions(versions) {}
CCanonStarter::~CCanonStarter() = default;

std::shared_ptr<CCanonLibrary> CCanonStarter::Start() {
    const std::lock_guard guard(m_lock);
    if (!std::exchange(m_attempted, true)) {
        m_library = m_lastLibrary.lock();
        if (!m_library) m_library = Make();
        m_lastLibrary = m_library;
    }
    return m_library;
}

void CCanonStarter::Unload() {
    const std::lock_guard guard(m_lock);
    m_attempted = false;
    m_library.reset();
}

std::shared_ptr<CCanonLibrary> CCanonStarter::Make() {
    const std::string version = ModuleVersion(m_fileName.c_str());
    if (version.empty() || std::ranges::find(m_versions, version) == m_versions.end()) {
        return nullptr;
    }
    auto file = std::make_unique<CDLLInterface>(m_fileName);
    return file->Load() ? Bind(std::move(file)) : nullptr;
}

namespace {

class CInstalledLibraries final : public CCanonLibraries {
public:
    std::shared_ptr<CCanonLibrary> Get(ECanonRoute route) override {
        const std::lock_guard guard(m_lock);
        switch (route) {
            case ECanonRoute::kEDSDK:
                return m_edsdk.Start();
            case ECanonRoute::kRCSDK:
                return m_rcsdk.Start();
            case ECanonRoute::kCDSDK:
                return m_rdsdk.Start() ? m_cdsdk.Start() : nullptr;
        }
        return nullptr;
    }
    std::recursive_mutex& Lock() override { return m_lock; }

    void Unload() {
        const std::lock_guard guard(m_lock);
        m_edsdk.Unload();
        m_rcsdk.Unload();
        m_cdsdk.Unload();
        m_rdsdk.Unload();
    }

private:
    std::recursive_mutex m_lock;
    CEdStarter m_edsdk;
    CRCStarter m_rcsdk;
    CCRWStarter m_cdsdk;
    CRDStarter m_rdsdk;
};

CInstalledLibraries& Installed() {
    static CLasting<CInstalledLibraries> libraries;
    return libraries.Get();
}

const CUnloadRegistration kUnload{kCanonLibraries, [] { Installed().Unload(); }};

}  // namespace

CCanonLibraries& InstalledCanonLibraries() {
    return Installed();
}

}  // namespace kestr
