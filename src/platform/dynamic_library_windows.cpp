#include "platform/dynamic_library.h"

#include <windows.h>
#include <cwchar>
#include <filesystem>
#include <string>
#include <vector>

#include "platform/code_page.h"

namespace kestr {
namespace {

using Path = std::filesystem::path;

Path FolderOfModule(HMODULE module) {
    std::wstring name(MAX_PATH, L'\0');
    for (;;) {
        const DWORD length = GetModuleFileNameW(module, name.data(), DWORD(name.size()));
        if (length == 0) return {};
        if (length < name.size()) return Path(name.substr(0, length)).parent_path();
        name.resize(2 * name.size());
    }
}

// The module that this code is in.
HMODULE OwnModule() {
    HMODULE module = nullptr;
    GetModuleHandleExW(
        GET_MODULE_HANDLE_EX_FLAG_FROM_ADDRESS | GET_MODULE_HANDLE_EX_FLAG_UNCHANGED_REFCOUNT,
        reinterpret_cast<const wchar_t*>(&FolderOfModule), &module);
    return module;
}

Path SystemFolder() {
    wchar_t name[MAX_PATH];
    const UINT length = GetSystemDirectoryW(name, MAX_PATH);
    return length < MAX_PATH ? Path(name, name + length) : Path();
}

// The whole path of a library; empty when there is none of that name.
Path FindFile(const char* fileName) {
    for (const Path& folder :
         {FolderOfModule(nullptr), FolderOfModule(OwnModule()), SystemFolder()}) {
        Path file = folder / fileName;
        if (!folder.empty() && GetFileAttributesW(file.c_str()) != INVALID_FILE_ATTRIBUTES) {
            return file;
        }
    }
    return {};
}

CModule Load(const Path& file, DWORD how) {
    if (file.empty()) return nullptr;
    return CModule(LoadLibraryExW(file.c_str(), nullptr, how));
}

std::vector<uint8_t> VersionResource(const char* fileName) {
    const CModule file = Load(FindFile(fileName), LOAD_LIBRARY_AS_DATAFILE);
    if (!file) return {};
    const auto module = static_cast<HMODULE>(file.get());
    HRSRC const found =
        FindResourceW(module, MAKEINTRESOURCEW(VS_VERSION_INFO), MAKEINTRESOURCEW(16));
    if (found == nullptr) return {};
    HGLOBAL const held = LoadResource(module, found);
    const auto* const bytes = static_cast<const uint8_t*>(held ? LockResource(held) : nullptr);
    if (bytes == nullptr) return {};
    return {bytes, bytes + SizeofResource(module, found)};
}

}  // namespace

void CModuleCloser::operator()(void* module) const {
    FreeLibrary(static_cast<HMODULE>(module));
}

// A library's own libraries may lie beside it.
CModule LoadModule(const char* fileName) {
    return Load(FindFile(fileName), LOAD_WITH_ALTERED_SEARCH_PATH);
}

void* ModuleFunction(const CModule& module, const char* name) {
    if (!module) return nullptr;
    return reinterpret_cast<void*>(GetProcAddress(static_cast<HMODULE>(module.get()), name));
}

std::string ModuleVersion(const char* fileName) {
    const std::vector<uint8_t> resource = VersionResource(fileName);
    void* value = nullptr;
    UINT size = 0;
    // Language and code page of the first set of texts.
    if (resource.empty() ||
        !VerQueryValueW(resource.data(), L"\\VarFileInfo\\Translation", &value, &size) ||
        size < 2 * sizeof(WORD)) {
        return {};
    }
    const auto* const language = static_cast<const WORD*>(value);
    wchar_t name[64];
    swprintf(name, sizeof name / sizeof *name, L"\\StringFileInfo\\%04x%04x\\FileVersion",
             unsigned{language[0]}, unsigned{language[1]});
    if (!VerQueryValueW(resource.data(), name, &value, &size) || size == 0) return {};
    const WideView text(static_cast<const wchar_t*>(value), size);
    return WideToText(text.substr(0, text.find(L'\0')));
}

}  // namespace kestr
