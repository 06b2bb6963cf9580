#include "operations.h"

#include <algorithm>

#include <kestr/kestr.h>

namespace tool {
namespace {

bool Strip(HKESTRSESSION session, const std::string&, std::string&) {
    return cRemoveMetadata(session) != 0;
}

constexpr COperation kOperations[] = {
    {{"--strip", "", "drop EXIF, IPTC, comment and sound"}, &Strip},
};

}  // namespace

std::span<const COperation> Operations() {
    return kOperations;
}

const COperation* FindOperation(const COption& option) {
    const auto found = std::ranges::find(kOperations, option.name, [](const COperation& operation) {
        return operation.option.name;
    });
    return found != std::end(kOperations) ? found : nullptr;
}

}  // namespace tool
