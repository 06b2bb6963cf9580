// Libraries of code that are found and loaded at run time.
#pragma once

#include <memory>
#include <string>

namespace kestr {

struct CModuleCloser {
    void operator()(void* module) const;
};
using CModule = std::unique_ptr<void, CModuleCloser>;

/// Loads a library of the system's own kind by its file name, from the folder of the program, that
/// of this library, or the system's: never from the current folder, where a picture may lie beside
/// a file that only bears the library's name. Null when there is none. The closed libraries of
/// camera makers exist for Windows alone: elsewhere no name is found.
[[nodiscard]] CModule LoadModule(const char* fileName);

/// A function that the library exports; null when it has none of that name.
[[nodiscard]] void* ModuleFunction(const CModule& module, const char* name);

/// The file version in the version resource of the library that LoadModule() would load, word for
/// word; no code of it is run. Empty when there is none.
[[nodiscard]] std::string ModuleVersion(const char* fileName);

}  // namespace kestr
