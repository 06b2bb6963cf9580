#include "platform/system_codec.h"

namespace kestr {

bool HasSystemCodecs() {
    return false;
}

std::unique_ptr<CCodecFile> OpenWithSystemCodec(const KESTR_CHAR*) {
    return nullptr;
}

}  // namespace kestr
