#pragma once

#include <string>

#include <kestr/types.h>

namespace tool {

/// Converts the picture to the colour profile in a file. One without a profile counts as sRGB.
bool ConvertToProfile(HKESTRSESSION session, const std::string& file, std::string& error);
/// Converts the picture to sRGB; one without a profile is sRGB already.
bool ConvertToSRGB(HKESTRSESSION session, const std::string&, std::string& error);

}  // namespace tool
