#include "base/messages.h"

#include <array>

namespace kestr {
namespace {

constexpr int kFirstId = 101;
constexpr auto kTexts = std::to_array<std::string_view>({
    ".",                                       // 101
    ".",                                       // 102
    ".",                                       // 103
    "",                                        // 104
    "",                                        // 105
    ".",                                       // 106
    ".",                                       // 107
    ".",                                       // 108
    "/r/nImage file damage detected.",         // 109, with these slashes
    ".",                                       // 110
    ".",                                       // 111
    "",                                        // 112
    ".",                                       // 113
    ".",                                       // 114
    "\r\n\r\nDamaged file - incomplete read",  // 115
    ".",                                       // 116
    ".",                                       // 117
    "Make",                                    // 118
    "Model",                                   // 119
    "Artist",                                  // 120
    "Date Original",                           // 121
    "GPS String",                              // 122
    "Illuminant",                              // 123
    "Description",                             // 124
    "Aperture",                                // 125
    "Shutter",                                 // 126
    "Flash Fired",                             // 127
    "Self Timer",                              // 128
    ".",                                       // 129
    "Tandemir",                                // 130
});
static_assert(kTexts.size() == 30);

}  // namespace

std::string_view Message(int id) {
    if (id < kFirstId || id >= kFirstId + static_cast<int>(kTexts.size())) return {};
    return kTexts[id - kFirstId];
}

}  // namespace kestr
