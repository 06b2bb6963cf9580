#include "image/lossless_turn.h"

#include <map>

namespace kestr {
namespace {

std::map<int32_t, CLosslessTurn>& Registry() {
    static std::map<int32_t, CLosslessTurn> registry;
    return registry;
}

}  // namespace

CLosslessTurnRegistration::CLosslessTurnRegistration(std::initializer_list<int32_t> typeIds,
                                                     CLosslessTurn turn) {
    for (const int32_t typeId : typeIds) Registry()[typeId] = turn;
}

CLosslessTurn FindLosslessTurn(int32_t typeId) {
    const auto found = Registry().find(typeId);
    return found != Registry().end() ? found->second : nullptr;
}

}  // namespace kestr
