#include "platform/sound.h"

#include <windows.h>
#include <atomic>
#include <mmsystem.h>

#include "platform/code_page.h"

namespace kestr {
namespace {

// The device of the clip that was started last; it is let go when the next one starts.
std::atomic<MCIDEVICEID> g_device{0};

}  // namespace

bool StartSound(const KESTR_CHAR* path) {
    if (const MCIDEVICEID last = g_device.exchange(0)) mciSendCommandA(last, MCI_CLOSE, 0, 0);
    const std::string name = WideToPath(path);
    MCI_OPEN_PARMSA open{};
    open.lpstrDeviceType = "waveaudio";
    open.lpstrElementName = name.c_str();
    if (mciSendCommandA(0, MCI_OPEN, MCI_OPEN_TYPE | MCI_OPEN_ELEMENT,
                        reinterpret_cast<DWORD_PTR>(&open)) != 0) {
        return false;
    }
    MCI_PLAY_PARMS play{};
    if (mciSendCommandA(open.wDeviceID, MCI_PLAY, 0, reinterpret_cast<DWORD_PTR>(&play)) != 0) {
        mciSendCommandA(open.wDeviceID, MCI_CLOSE, 0, 0);
        return false;
    }
    g_device = open.wDeviceID;
    return true;
}

}  // namespace kestr
