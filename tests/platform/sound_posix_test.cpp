// The system's player is stood in for by a script that keeps what it was told to play.
#include <chrono>
#include <cstdlib>
#include <string>
#include <thread>

#include <gtest/gtest.h>

#include "api/handles.h"
#include "support/loaded_handle.h"
#include "support/picture.h"
#include "support/test_data.h"

namespace kestr {
namespace {

TEST(Sound, PlaysTheClipFromAFile) {
    const std::string path = std::getenv("PATH");
    const test::CTemporaryFolder folder;
    const std::vector<uint8_t> clip{'R', 'I', 'F', 'F', 1, 2, 3};
    test::CHandle handle;
    CImageBits& image = *FromHandle(static_cast<HKESTRSESSION>(handle))->image;
    image.loaded = true;
    setenv("PATH", folder.Path().c_str(), 1);
    EXPECT_EQ(cPlayImageSound(handle), 0);  // no clip
    image.soundClip = clip;
    EXPECT_EQ(cImageHasSound(handle), 1);
    EXPECT_EQ(cPlayImageSound(handle), 0);  // no player

    const std::string target = folder / "played";
    test::WriteFile(folder / "aplay", "#!/bin/sh\n/bin/cp \"$1\" " + target + ".part\n/bin/mv " +
                                          target + ".part " + target + "\n");
    std::filesystem::permissions(folder / "aplay", std::filesystem::perms::owner_all);
    EXPECT_EQ(cPlayImageSound(handle), 1);
    setenv("PATH", path.c_str(), 1);
    for (int i = 0; i < 1000 && !std::filesystem::exists(target); ++i) {
        std::this_thread::sleep_for(std::chrono::milliseconds(5));
    }
    EXPECT_EQ(test::ReadFile(target), clip);
    const std::filesystem::path file = WideToPath(image.soundFile.c_str());
    EXPECT_EQ(file.extension(), ".wav");
    cUnload(handle);
    EXPECT_FALSE(std::filesystem::exists(file));
}

}  // namespace
}  // namespace kestr
