// Libraries of our own under the loader: the version in their resource decides, all functions must
// be there, and the way goes through to the picture.
#include <windows.h>

#include <gtest/gtest.h>

#include "platform/dynamic_library.h"
#include "raw/canon_edsdk.h"
#include "support/edsdk_stub.h"
#include "support/test_data.h"

namespace kestr::test {
namespace {

TEST(CanonLibraryOnWindows, VersionsAreReadAsTheyStand) {
    EXPECT_EQ(ModuleVersion("kestr_edsdk_stub.dll"), "2, 5, 1, 6");
    EXPECT_EQ(ModuleVersion("kestr_edsdk_stub_newer.dll"), "2, 5, 1, 60");
    EXPECT_EQ(ModuleVersion("kestr_edsdk_stub_absent.dll"), "");
    EXPECT_EQ(GetModuleHandleA("kestr_edsdk_stub.dll"), nullptr) << "its code was loaded";
}

TEST(CanonLibraryOnWindows, StartsOnceAndEnds) {
    CEdStarter starter("kestr_edsdk_stub.dll");
    auto library = starter.Start();
    ASSERT_NE(library, nullptr);
    EXPECT_EQ(starter.Start(), library);
    CDLLInterface file("kestr_edsdk_stub.dll");
    using State = CEdStubState*(KESTR_CALL*)();
    const auto state = reinterpret_cast<State>(file.GetFunction("EdStubState"))();
    EXPECT_EQ(state->starts, 1);
    EXPECT_NE(library->Open(L"any.cr2"), nullptr);
    EXPECT_EQ(state->references, 0);

    // A reader still has it: it ends when the reader is done, and is not started twice until then.
    starter.Unload();
    EXPECT_EQ(state->ends, 0);
    EXPECT_EQ(starter.Start(), library);
    EXPECT_EQ(state->starts, 1);
    starter.Unload();
    library.reset();
    EXPECT_EQ(state->ends, 1);
    EXPECT_NE(starter.Start(), nullptr);
    EXPECT_EQ(state->starts, 2);
    starter.Unload();
    file.Unload();
    EXPECT_EQ(GetModuleHandleA("kestr_edsdk_stub.dll"), nullptr);
}

TEST(CanonLibraryOnWindows, RefusesOtherVersionsAndWhatLacksAFunction) {
    for (const char* name : {"kestr_edsdk_stub_newer.dll", "kestr_edsdk_stub_lacking.dll",
                             "kestr_edsdk_stub_absent.dll"}) {
        CEdStarter starter(name);
        EXPECT_EQ(starter.Start(), nullptr) << name;
        EXPECT_EQ(starter.Start(), nullptr) << name;
    }
}

// A file in the current folder that bears a library's name is not taken for it.
TEST(CanonLibraryOnWindows, DoesNotLookIntoTheCurrentFolder) {
    const CTemporaryFolder folder;
    wchar_t program[MAX_PATH], old[MAX_PATH];
    GetModuleFileNameW(nullptr, program, MAX_PATH);
    GetCurrentDirectoryW(MAX_PATH, old);
    const auto stub = std::filesystem::path(program).parent_path() / "kestr_edsdk_stub.dll";
    std::filesystem::copy_file(stub, folder / "planted.dll");
    SetCurrentDirectoryW(folder.Path().c_str());
    EXPECT_EQ(ModuleVersion("planted.dll"), "");
    EXPECT_EQ(LoadModule("planted.dll"), nullptr);
    SetCurrentDirectoryW(old);
}

}  // namespace
}  // namespace kestr::test
