// The closed libraries of Foveon, Nikon and Kodak: their file names, and the functions that a
// reader needs of them. What the functions take and give is known to those makers alone, so that no
// reader is registered that would use them: its format goes to the next reader.
#pragma once

#include <memory>
#include <span>
#include <vector>

#include "raw/dll_interface.h"

namespace kestr {

/// A library under any of several file names.
class CCameraLibrary {
public:
    CCameraLibrary(std::span<const char* const> fileNames, std::span<const char* const> functions);

    /// The first file, from the `from`-th name on, that is there and has all functions; null when
    /// there is none. Files are tried in the order of their names.
    [[nodiscard]] CDLLInterface* Find(size_t from = 0);
    void Unload();
    [[nodiscard]] std::span<const std::unique_ptr<CDLLInterface>> Files() const { return m_files; }
    [[nodiscard]] std::span<const char* const> Functions() const { return m_functions; }

private:
    std::vector<std::unique_ptr<CDLLInterface>> m_files;
    std::span<const char* const> m_functions;
};

[[nodiscard]] CCameraLibrary& FoveonLibrary();
/// One function, through which every command goes.
[[nodiscard]] CCameraLibrary& NikonLibrary();
/// Professional cameras: one library for each family of them.
[[nodiscard]] CCameraLibrary& KodakPDCLibrary();
/// The driver of the older DCS cameras, whose file the program that has one names: of itself it is
/// under none.
[[nodiscard]] CCameraLibrary& KodakDCSLibrary();

}  // namespace kestr
