// The list of the exported functions that the tests hold everything against.
#pragma once

#include <filesystem>
#include <string>
#include <vector>

namespace kestr_abi {

struct CArgument {
    std::string type;  // a word of exports.tsv
    std::string name;
};

struct CExport {
    std::string name;
    std::string result;
    std::vector<CArgument> arguments;
    std::string family;
};

/// exports.tsv, in its order.
const std::vector<CExport>& ExportList();

/// The names that a built library exports, sorted: from the dynamic symbols of a 64-bit ELF file or
/// the export directory of a 32-bit PE file.
std::vector<std::string> ExportedNames(const std::filesystem::path& library);

}  // namespace kestr_abi
