// The numbered messages. Many are the single text ".", which callers receive as it stands.
#pragma once

#include <string_view>

namespace kestr {

namespace message {
enum Id : int {
    kCommentMapSource = 101,    // comment merge: the source could not be mapped
    kCommentReadMarkers = 102,  // comment merge: its markers could not be read
    kCommentOpenTarget = 103,   // comment merge: the temporary file could not be opened
    kOperationException = 106,  // an exception was caught around an operation
    kFileMissing = 107,         // the file does not exist
    kNoReader = 108,            // no reader accepted the file
    kDamagedFile = 109,         // appended to the description of a damaged file
    kCannotCreate = 110,        // an output file could not be created
    kNeedsFourBits = 111,       // the operation needs at least 4 bits a pixel
    kDepthNotSupported = 113,   // the format cannot hold the image's colour depth
    kCannotOpenInput = 114,     // the input file could not be opened
    kIncompleteRead = 115,      // a reader met the end of its data early
    kCommentWriteFailed = 116,  // failures of the comment merge
    kCommentRenameFailed = 117,
    kMake = 118,  // labels of camera text, up to 128
    kModel = 119,
    kArtist = 120,
    kDateOriginal = 121,
    kGPSString = 122,
    kIlluminant = 123,
    kDescription = 124,
    kAperture = 125,
    kShutter = 126,
    kFlashFired = 127,
    kSelfTimer = 128,
    kBitmapTooShort = 129,  // a bitmap file below 30 bytes
    kCreatorName = 130,     // written by the XWD saver
};
}  // namespace message

/// The text of a number; empty for a number without one.
std::string_view Message(int id);

}  // namespace kestr
