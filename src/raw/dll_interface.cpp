#include "raw/dll_interface.h"

#include <utility>

namespace kestr {

CDLLInterface::CDLLInterface(std::string fileName) : m_fileName(std::move(fileName)) {}
CDLLInterface::~CDLLInterface() = default;

bool CDLLInterface::Load() {
    const std::lock_guard guard(m_lock);
    return LoadOnce();
}

void* CDLLInterface::GetFunction(const char* name) {
    const std::lock_guard guard(m_lock);
    return LoadOnce() ? ModuleFunction(m_module, name) : nullptr;
}

void CDLLInterface::Unload() {
    const std::lock_guard guard(m_lock);
    m_attempted = false;
    m_module.reset();
}

bool CDLLInterface::LoadOnce() {
    if (!std::exchange(m_attempted, true)) m_module = LoadModule(m_fileName.c_str());
    return m_module != nullptr;
}

}  // namespace kestr
