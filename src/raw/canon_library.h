// What the reader of Canon's raw files asks of Canon's own libraries, which develop the sensor's
// data. The libraries are closed, and may be absent.
#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <mutex>
#include <span>
#include <string>
#include <string_view>

#include <kestr/types.h>

#include "raw/dll_interface.h"

namespace kestr {

class CCallbackCls;

/// The ways to a picture, by the library that they go through.
enum class ECanonRoute { kRCSDK, kCDSDK, kEDSDK };  // the second uses RDSDK too

/// A file that a library has opened.
class CCanonPicture {
public:
    /// Told of percents; false asks for an end.
    using CProgress = std::function<bool(uint32_t percent)>;

    virtual ~CCanonPicture();

    /// Develops the whole picture into `samples`: red, green, blue of each pixel, 16 bits each,
    /// rows top-down and unpadded, 3 * width * height of them.
    [[nodiscard]] virtual bool Transfer(std::span<uint16_t> samples, CCallbackCls* session,
                                        const CProgress& progress) = 0;

    uint32_t width = 0;  // pixels
    uint32_t height = 0;
    bool adobeRGB = false;   // else sRGB
    std::string properties;  // lines of text about the picture, each with CR LF
    uint16_t physicalX = 0;  // pixels per inch, 0 when not known
    uint16_t physicalY = 0;
};

/// A library that has been started; it ends when nobody holds it any more.
class CCanonLibrary {
public:
    virtual ~CCanonLibrary();
    /// Null when the library cannot read the file.
    [[nodiscard]] virtual std::unique_ptr<CCanonPicture> Open(const KESTR_CHAR* path) = 0;
};

/// Where a reader gets libraries from.
class CCanonLibraries {
public:
    virtual ~CCanonLibraries();
    /// The library of a route, started at the first need; null when it is absent, has another
    /// version than those that are known, or lacks something.
    [[nodiscard]] virtual std::shared_ptr<CCanonLibrary> Get(ECanonRoute route) = 0;
    /// Held by whoever uses a library: none of them serves two threads at once.
    [[nodiscard]] virtual std::recursive_mutex& Lock() = 0;
};

/// Those that are installed beside the program.
[[nodiscard]] CCanonLibraries& InstalledCanonLibraries();

/// Finds, tests and starts one library, once until Unload().
class CCanonStarter {
public:
    /// @param versions  the file versions that are accepted, word for word, in the order of trial.
    CCanonStarter(std::string fileName, std::span<const char* const> versions);
    virtual ~CCanonStarter();

    /// The answer of the first call stands for the later ones, also when it was null.
    [[nodiscard]] std::shared_ptr<CCanonLibrary> Start();
    /// Ends the library, as soon as the readers that hold it are done.
    void Unload();

protected:
    /// Takes what is needed from a library that has been loaded, and starts it; null when something
    /// fails.
    [[nodiscard]] virtual std::shared_ptr<CCanonLibrary> Bind(
        std::unique_ptr<CDLLInterface> file) = 0;

private:
    [[nodiscard]] std::shared_ptr<CCanonLibrary> Make();

    std::string m_fileName;
    std::span<const char* const> m_versions;
    bool m_attempted = false;
    std::shared_ptr<CCanonLibrary> m_library;
    std::weak_ptr<CCanonLibrary> m_lastLibrary;  // may outlive Unload() in a reader's hands
    std::mutex m_lock;
};

}  // namespace kestr
