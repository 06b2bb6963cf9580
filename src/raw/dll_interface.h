// The loader under every reader that needs a camera maker's closed library.
#pragma once

#include <cstddef>
#include <memory>
#include <mutex>
#include <string>
#include <utility>

#include "platform/dynamic_library.h"

namespace kestr {

/// A library that is loaded at its first use, by its file name. An attempt that failed is not
/// repeated until Unload(). May be used by several threads.
class CDLLInterface {
public:
    explicit CDLLInterface(std::string fileName);
    virtual void Unload();
    virtual ~CDLLInterface();
    CDLLInterface(const CDLLInterface&) = delete;
    CDLLInterface& operator=(const CDLLInterface&) = delete;

    /// Whether the library is there.
    [[nodiscard]] bool Load();
    /// Null without the library, or when it has no such function.
    [[nodiscard]] void* GetFunction(const char* name);
    [[nodiscard]] const std::string& FileName() const { return m_fileName; }

private:
    [[nodiscard]] bool LoadOnce();

    std::string m_fileName;
    CModule m_module;
    bool m_attempted = false;
    std::mutex m_lock;
};

/// Something that is made once and lives as long as the process: while the system ends a program,
/// no other library may be called or let go.
template <typename T>
class CLasting {
public:
    template <typename... Arguments>
    explicit CLasting(Arguments&&... arguments) {
        std::construct_at(&Get(), std::forward<Arguments>(arguments)...);
    }
    CLasting(const CLasting&) = delete;
    CLasting& operator=(const CLasting&) = delete;

    T& Get() { return *reinterpret_cast<T*>(m_room); }

private:
    alignas(T) std::byte m_room[sizeof(T)];
};

}  // namespace kestr
