// EXIF records and camera blocks as readable text.
#pragma once

#include <cstdint>
#include <span>
#include <string>

#include "metadata/exif_members.h"
#include "platform/code_page.h"

namespace kestr {

/// A line for each field that has a value: label, separator, value, line end.
WideString ExifAsText(const CEXIF_Members& record, WideView separator, WideView lineEnd);

/// The date that a record gives: of the last change, else of the exposure, else of digitizing;
/// empty when it has none.
WideString ExifDate(const CEXIF_Members& record);

/// A text field up to its first NUL.
WideView ExifCharacters(const CEXIF_Members::Text& text);

}  // namespace kestr
