#include "image/writer_registry.h"

#include <map>

namespace kestr {
namespace {

/// Made at its first use, so that registrations of any source file find it whatever their order.
std::map<int32_t, CImageWriter>& Registry() {
    static std::map<int32_t, CImageWriter> registry;
    return registry;
}

}  // namespace

CWriterRegistration::CWriterRegistration(std::initializer_list<int32_t> typeIds,
                                         CImageWriter writer) {
    for (const int32_t typeId : typeIds) Registry()[typeId] = writer;
}

CImageWriter FindWriter(int32_t typeId) {
    const auto found = Registry().find(typeId);
    return found != Registry().end() ? found->second : nullptr;
}

}  // namespace kestr
