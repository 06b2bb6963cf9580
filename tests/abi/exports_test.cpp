// The built library's export table and the public header against the list of exported functions.
#include <algorithm>
#include <map>
#include <string>
#include <typeinfo>
#include <vector>

#include <gtest/gtest.h>
#include <kestr/kestr.h>

#include "export_list.h"

extern "C" {
using CAnyFunction = void (*)();
extern const CAnyFunction kDeclaredInC[];
extern const size_t kDeclaredInCCount;
int32_t LengthOfDescription(HKESTRSESSION session);
}

namespace {

using namespace kestr_abi;

const std::vector<std::string> kAutomationNames = {
    "SafeArrayAccessData", "SafeArrayCreateVector", "SafeArrayDestroy",
    "SafeArrayGetDim",     "SafeArrayGetElemsize",  "SafeArrayGetLBound",
    "SafeArrayGetUBound",  "SafeArrayGetVartype",   "SafeArrayUnaccessData",
    "SysAllocString",      "SysAllocStringByteLen", "SysAllocStringLen",
    "SysFreeString",       "SysStringByteLen",      "SysStringLen",
};

// What the words of the list are in C++.
const std::map<std::string, std::string> kTypes = {
    {"void", typeid(void).name()},
    {"i16", typeid(int16_t).name()},
    {"u16", typeid(uint16_t).name()},
    {"i32", typeid(int32_t).name()},
    {"u32", typeid(uint32_t).name()},
    {"u8", typeid(uint8_t).name()},
    {"f64", typeid(double).name()},
    {"i32*", typeid(int32_t*).name()},
    {"u32*", typeid(uint32_t*).name()},
    {"u16*", typeid(uint16_t*).name()},
    {"u8*", typeid(uint8_t*).name()},
    {"f64*", typeid(double*).name()},
    {"u8**", typeid(uint8_t**).name()},
    {"u16**", typeid(uint16_t**).name()},
    {"session", typeid(HKESTRSESSION).name()},
    {"exif", typeid(CEXIF_Members*).name()},
    {"iptc", typeid(CIPTC_Members*).name()},
    {"wicroot", typeid(void*).name()},
    {"exif*", typeid(CEXIF_Members**).name()},
    {"iptc*", typeid(CIPTC_Members**).name()},
    {"wicroot*", typeid(void**).name()},
    {"str8", typeid(const char*).name()},
    {"wstr", typeid(const KESTR_CHAR*).name()},
    {"bstr*", typeid(BSTR*).name()},
    {"safearray*", typeid(SAFEARRAY*).name()},
    {"safearray**", typeid(SAFEARRAY**).name()},
    {"bitmapinfo**", typeid(BITMAPINFO**).name()},
    {"user", typeid(uintptr_t).name()},
    {"progress_callback", typeid(int32_t(KESTR_CALL*)(uintptr_t, int32_t)).name()},
    {"undo_callback", typeid(void(KESTR_CALL*)(uintptr_t, int32_t)).name()},
    {"const_u8*", typeid(const uint8_t*).name()},
    {"const_i16*", typeid(const int16_t*).name()},
    {"const_void*", typeid(const void*).name()},
};

// Result, then arguments. Only a function of the interface's calling convention is taken.
template <typename Result, typename... Arguments>
std::vector<std::string> Signature(Result(KESTR_CALL*)(Arguments...)) {
    return {typeid(Result).name(), typeid(Arguments).name()...};
}

TEST(ExportsTest, TheLibraryExportsTheListAndNothingElse) {
    const std::vector<std::string> names = ExportedNames(KESTR_LIBRARY_FILE);
    std::vector<std::string> expected;
    for (const CExport& entry : ExportList()) expected.push_back(entry.name);
    ASSERT_EQ(expected.size(), 163u);
    // The system has the automation functions where it is Windows.
    if (std::filesystem::path(KESTR_LIBRARY_FILE).extension() != ".dll") {
        expected.insert(expected.end(), kAutomationNames.begin(), kAutomationNames.end());
    }
    std::ranges::sort(expected);
    EXPECT_EQ(names, expected);
}

TEST(ExportsTest, TheHeaderDeclaresTheTypesOfTheList) {
    std::map<std::string, std::vector<std::string>> declared;
#define KESTR_EXPORT(name) declared[#name] = Signature(&name);
#include "exports.inc"
#undef KESTR_EXPORT
    ASSERT_EQ(declared.size(), ExportList().size());
    for (const CExport& entry : ExportList()) {
        SCOPED_TRACE(entry.name);
        std::vector<std::string> expected{kTypes.at(entry.result)};
        for (const CArgument& argument : entry.arguments) {
            expected.push_back(kTypes.at(argument.type));
        }
        EXPECT_EQ(declared[entry.name], expected);
    }
}

TEST(ExportsTest, CSeesTheSameFunctions) {
    ASSERT_EQ(kDeclaredInCCount, ExportList().size());
    size_t i = 0;
#define KESTR_EXPORT(name) \
    EXPECT_EQ(kDeclaredInC[i++], reinterpret_cast<CAnyFunction>(&name)) << #name;
#include "exports.inc"
#undef KESTR_EXPORT
    const HKESTRSESSION session = cNewSession();
    EXPECT_EQ(LengthOfDescription(session), -1);
    cNewImage(session, 1, 1, 0);
    EXPECT_EQ(LengthOfDescription(session), 18);  // "Format: New Bitmap"
    cDestroySession(session);
}

}  // namespace
