#include "image/image_bits.h"
#include "platform/files.h"
#include "platform/sound.h"

namespace kestr {
namespace {

// Empty when the clip cannot be written.
std::basic_string<KESTR_CHAR> WriteClip(std::span<const uint8_t> clip) {
    auto path = MakeTemporaryFile(".wav");
    if (path.empty()) return path;
    COutputFile file;
    if (file.Open(path.c_str()) && file.Write(clip) && file.Close()) return path;
    RemoveFile(path.c_str());
    return {};
}

}  // namespace

bool CImageBits::PlaySoundClip() {
    if (soundClip.empty()) return false;
    if (soundFile.empty()) soundFile = WriteClip(soundClip);
    return !soundFile.empty() && StartSound(soundFile.c_str());
}

}  // namespace kestr
