#include "export_list.h"

#include <algorithm>
#include <cstdint>
#include <cstring>
#include <fstream>
#include <iterator>
#include <sstream>

namespace kestr_abi {
namespace {

std::string ReadAll(const std::filesystem::path& path) {
    std::ifstream in(path, std::ios::binary);
    return {std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>()};
}

template <typename T>
T At(const std::string& file, size_t offset) {
    T value{};
    if (offset + sizeof value <= file.size()) {
        std::memcpy(&value, file.data() + offset, sizeof value);
    }
    return value;
}

std::string NameAt(const std::string& file, size_t offset) {
    return offset < file.size() ? std::string(file.c_str() + offset) : std::string();
}

// System V ABI, "Object Files": the section of type 11 (SHT_DYNSYM) and its string table.
std::vector<std::string> ElfExports(const std::string& file) {
    std::vector<std::string> names;
    const auto sections = At<uint64_t>(file, 40);
    const size_t sectionCount = At<uint16_t>(file, 60);
    const auto section = [&](size_t i) { return sections + 64 * i; };
    for (size_t i = 0; i < sectionCount; ++i) {
        if (At<uint32_t>(file, section(i) + 4) != 11) continue;
        const auto symbols = At<uint64_t>(file, section(i) + 24);
        const auto bytes = At<uint64_t>(file, section(i) + 32);
        const auto strings = At<uint64_t>(file, section(At<uint32_t>(file, section(i) + 40)) + 24);
        for (uint64_t symbol = symbols; symbol < symbols + bytes; symbol += 24) {
            const int binding = At<uint8_t>(file, symbol + 4) >> 4;
            const bool isDefined = At<uint16_t>(file, symbol + 6) != 0;
            if (binding == 0 || !isDefined) continue;
            names.push_back(NameAt(file, strings + At<uint32_t>(file, symbol)));
        }
    }
    return names;
}

// "PE Format": the first data directory leads to the export directory, addresses go through the
// section table.
std::vector<std::string> PeExports(const std::string& file) {
    const size_t header = At<uint32_t>(file, 60);
    const size_t sectionCount = At<uint16_t>(file, header + 6);
    const size_t optionalHeader = header + 24;
    const size_t sections = optionalHeader + At<uint16_t>(file, header + 20);
    const auto offsetOf = [&](uint32_t address) -> size_t {
        for (size_t i = 0; i < sectionCount; ++i) {
            const size_t section = sections + 40 * i;
            const auto start = At<uint32_t>(file, section + 12);
            if (address >= start && address - start < At<uint32_t>(file, section + 16)) {
                return address - start + At<uint32_t>(file, section + 20);
            }
        }
        return file.size();
    };
    const size_t directory = offsetOf(At<uint32_t>(file, optionalHeader + 96));
    const size_t table = offsetOf(At<uint32_t>(file, directory + 32));
    std::vector<std::string> names;
    for (size_t i = 0; i < At<uint32_t>(file, directory + 24); ++i) {
        names.push_back(NameAt(file, offsetOf(At<uint32_t>(file, table + 4 * i))));
    }
    return names;
}

std::vector<CExport> ReadList() {
    std::ifstream in(std::filesystem::path(KESTR_TEST_DATA_FOLDER).parent_path() /
                     "abi/exports.tsv");
    std::vector<CExport> list;
    std::string line;
    std::getline(in, line);  // the names of the columns
    while (std::getline(in, line)) {
        std::istringstream columns(line);
        CExport entry;
        std::string arguments;
        std::getline(columns, entry.name, '\t');
        std::getline(columns, entry.result, '\t');
        std::getline(columns, arguments, '\t');
        std::getline(columns, entry.family, '\t');
        std::istringstream words(arguments);
        CArgument argument;
        while (words >> argument.type >> argument.name) {
            if (argument.name.ends_with(',')) argument.name.pop_back();
            entry.arguments.push_back(argument);
        }
        list.push_back(entry);
    }
    return list;
}

}  // namespace

const std::vector<CExport>& ExportList() {
    static const std::vector<CExport> list = ReadList();
    return list;
}

std::vector<std::string> ExportedNames(const std::filesystem::path& library) {
    const std::string file = ReadAll(library);
    std::vector<std::string> names;
    if (file.starts_with("\177ELF\2")) names = ElfExports(file);
    if (file.starts_with("MZ")) names = PeExports(file);
    std::ranges::sort(names);
    return names;
}

}  // namespace kestr_abi
