#include "platform/dynamic_library.h"

namespace kestr {

void CModuleCloser::operator()(void*) const {}

CModule LoadModule(const char*) {
    return nullptr;
}

void* ModuleFunction(const CModule&, const char*) {
    return nullptr;
}

std::string ModuleVersion(const char*) {
    return {};
}

}  // namespace kestr
