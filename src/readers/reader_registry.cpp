#include "readers/reader_registry.h"

#include <map>

#include "readers/image_reader.h"

namespace kestr {
namespace {

/// Made at its first use, so that registrations of any source file find it whatever their order.
std::map<int32_t, CReaderCreator>& Registry() {
    static std::map<int32_t, CReaderCreator> registry;
    return registry;
}

}  // namespace

CReaderRegistration::CReaderRegistration(std::initializer_list<int32_t> typeIds,
                                         CReaderCreator creator) {
    for (const int32_t typeId : typeIds) Registry()[typeId] = creator;
}

std::unique_ptr<CImageReader> CreateReader(int32_t typeId, bool stopAtMarkerIPTC, bool exactStart,
                                           const CThumbnailRequest& thumbnail) {
    const auto found = Registry().find(typeId);
    if (found == Registry().end()) return nullptr;
    std::unique_ptr<CImageReader> reader = found->second(thumbnail);
    reader->stopAtMarkerIPTC = stopAtMarkerIPTC;
    if (stopAtMarkerIPTC) reader->exactStart = exactStart;
    return reader;
}

std::vector<int32_t> RegisteredReaders() {
    std::vector<int32_t> ids;
    for (const auto& [typeId, creator] : Registry()) ids.push_back(typeId);
    return ids;
}

}  // namespace kestr
