// Owners of what Little CMS hands out. Each use makes a context of its own: contexts share nothing,
// so any number of them may work at once on different threads, and none reports errors anywhere.
#pragma once

#include <cstdint>
#include <memory>
#include <span>
#include <type_traits>

#include <lcms2.h>

namespace kestr {

struct CContextDeleter {
    void operator()(cmsContext context) const { cmsDeleteContext(context); }
};
using CColorContext = std::unique_ptr<std::remove_pointer_t<cmsContext>, CContextDeleter>;

struct CProfileCloser {
    void operator()(cmsHPROFILE profile) const { cmsCloseProfile(profile); }
};
using CColorProfile = std::unique_ptr<void, CProfileCloser>;

struct CTransformDeleter {
    void operator()(cmsHTRANSFORM transform) const { cmsDeleteTransform(transform); }
};
using CColorTransform = std::unique_ptr<void, CTransformDeleter>;

/// Throws std::bad_alloc when there is no memory for one. It must outlive what is made in it.
CColorContext MakeColorContext();

/// The profile in `bytes`; null when the engine refuses it. Test IsValidICCProfile() first.
CColorProfile OpenColorProfile(const CColorContext& context, std::span<const uint8_t> bytes);

}  // namespace kestr
