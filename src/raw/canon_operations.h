// What the reader needs of Canon's older libraries, RCSDK and CDSDK with RDSDK, by role. Each gives
// a table of its functions; the layouts of those tables and their structures are Canon's own.
#pragma once

#include <cstdint>
#include <functional>
#include <optional>
#include <span>
#include <string>
#include <variant>

#include "raw/canon_library.h"

namespace kestr {

/// A path in the parts that the libraries want, each as it stands in it: "C:", "\photos\", "one",
/// ".crw". Any may be empty.
struct CPathParts {
    std::string drive, directory, name, extension;
};
[[nodiscard]] CPathParts SplitPath(const std::string& path);

/// What a property of a picture tells.
enum class ECanonProperty : uint8_t {
    kOwner,
    kImageTime,  // seconds since 1970
    kConfig,
    kExposureCompensation,
    kMacro,
    kFocus,
    kDriveMode,
    kFrameNumber,
    kLensType,
    kFocalLength,
    kSensorSizeX,
    kSensorSizeY,
    kWhiteBalance,
    kSlowShutter,
    kActualFocalLength,
    kQuality,
    kShootingMode,  // place in the list of programs
    kDigitalZoom,
    kContrast,
    kColorGain,
    kSharpness,    // place in the list
    kSensitivity,  // place in the list
    kLightWeightMode,
    kISO,
    kBodyID,
    kExternalStrobe,
    kFocusMode,  // place in the list
    kMaxFocalLength,
    kMinFocalLength,
    kSerialNumber,
};

struct CAperture {
    double number;
};
struct CExposureTime {
    double seconds;
};
struct CCanonProperty {
    ECanonProperty what;
    std::variant<std::string, uint32_t, double, CAperture, CExposureTime> value;
};

struct CCanonResolution {
    double value;   // pixels per unit
    uint16_t unit;  // 2 inch, 3 centimetre
};

/// What the library tells of a picture before it is developed.
struct CCanonRelease {
    uint32_t width = 0;  // pixels
    uint32_t height = 0;
    std::string model;
};

/// Takes the rows of a developed picture, red, green, blue of 16 bits, top row first. Gives 0 to go
/// on, or the library's code for an end that the user wants.
using CCanonSink = std::function<uint32_t(std::span<const uint16_t> row)>;

class CCanonOperations {
public:
    using Handle = void*;

    virtual ~CCanonOperations() = default;

    /// The start takes a block whose first numbers are its size in bytes and a version.
    [[nodiscard]] virtual bool Start(uint32_t blockBytes, uint32_t blockVersion) = 0;
    virtual void End() = 0;

    // Null for a failure.
    [[nodiscard]] virtual Handle OpenSource(const CPathParts& path) = 0;
    virtual void CloseSource(Handle source) = 0;
    [[nodiscard]] virtual Handle OpenPicture(Handle source, uint32_t index, uint32_t mode) = 0;
    virtual void ClosePicture(Handle picture) = 0;

    /// The thumbnail's and the release's information.
    [[nodiscard]] virtual bool GetRelease(Handle picture, CCanonRelease& release) = 0;
    virtual void EnumerateProperties(Handle picture,
                                     const std::function<void(const CCanonProperty&)>& take) = 0;
    [[nodiscard]] virtual uint32_t PropertyKind(Handle picture, uint32_t property) = 0;
    [[nodiscard]] virtual bool SetProperty(Handle picture, uint32_t property, uint32_t value) = 0;
    [[nodiscard]] virtual bool ResetToShotSettings(Handle picture) = 0;
    [[nodiscard]] virtual std::optional<CCanonResolution> ReadResolution(Handle picture,
                                                                         uint32_t value) = 0;
    [[nodiscard]] virtual std::optional<uint32_t> ReadValue(Handle picture, uint32_t value) = 0;
    /// Gives 0, or the library's code of a failure.
    [[nodiscard]] virtual uint32_t GetPicture(Handle picture, uint32_t format, uint32_t blockBytes,
                                              const CCanonSink& sink) = 0;
};

/// Hands the caller's settings to a picture that will be developed; without a session they are all
/// 0 and false. False when the load cannot go on.
[[nodiscard]] bool ApplyCanonParams(CCanonOperations& operations, CCanonOperations::Handle picture,
                                    CCallbackCls* session);

/// Gathers text and resolution of a picture.
void CollectCanonProperties(CCanonOperations& operations, CCanonOperations::Handle picture,
                            CCanonPicture& into);

/// One property as a line: label, ":\t", value, CR LF.
[[nodiscard]] std::string CanonPropertyLine(const CCanonProperty& property);

}  // namespace kestr
