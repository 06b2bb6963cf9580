// Pictures and their metadata by way of the codecs that the system offers: the Windows Imaging
// Component, whose names and numbers stand here. Other systems offer none.
#pragma once

#include <cstdint>
#include <memory>
#include <string>
#include <variant>
#include <vector>

#include <kestr/types.h>

#include "platform/code_page.h"

namespace kestr {

/// Pixel formats. The names are those of Windows, "PixelFormat24bppBGR"; numbers of 16 bits stand
/// in the byte order of the machine.
enum class ECodecPixels : uint8_t {
    k1bppIndexed,
    k2bppIndexed,
    k4bppIndexed,
    k8bppIndexed,
    kBlackWhite,
    k2bppGray,
    k4bppGray,
    k8bppGray,
    k16bppBGR555,
    k16bppBGR565,
    k16bppGray,
    k24bppBGR,
    k24bppRGB,
    k32bppBGR,
    k32bppBGRA,
    k32bppPBGRA,
    k32bppGrayFloat,
    k48bppRGBFixedPoint,
    k16bppGrayFixedPoint,
    k32bppBGR101010,
    k48bppRGB,
    kOther,
};

/// Key or value of a metadata item.
struct CCodecVariant {
    /// Numbers of the types: those of VARTYPE. kVector is added to that of a list's elements.
    enum EType : uint16_t {
        kEmpty = 0,
        kI2 = 2,
        kI4 = 3,
        kR4 = 4,
        kR8 = 5,
        kBool = 11,
        kI1 = 16,
        kUI1 = 17,
        kUI2 = 18,
        kUI4 = 19,
        kI8 = 20,  // a signed rational: the numerator is the low half, the denominator the high one
        kUI8 = 21,  // a rational
        kInt = 22,
        kUInt = 23,
        kText8 = 30,
        kText16 = 31,
        kBlob = 65,
        kVector = 0x1000,
    };
    /// Two's complement, extended to 64 bits; of kR4 and kR8 the bits of a double.
    using Numbers = std::vector<uint64_t>;
    /// Of kText8, each byte is the unit of equal number.
    using Texts = std::vector<WideString>;
    using Bytes = std::vector<uint8_t>;

    uint16_t type = kEmpty;
    /// One element, or those of a list; nothing when the type is none of the above.
    std::variant<std::monostate, Numbers, Texts, Bytes> value;

    [[nodiscard]] uint16_t ElementType() const { return type & ~kVector; }
    friend bool operator==(const CCodecVariant&, const CCodecVariant&) = default;
};

/// What a block of metadata holds, as far as it matters here.
enum class ECodecBlock : uint8_t { kOther, kMain, kExif, kGPS, kInteroperability, kIPTC };

/// Is told of blocks, which may hold others, in the order of the file.
class CCodecMetadataVisitor {
public:
    virtual ~CCodecMetadataVisitor() = default;
    /// @param name  what the reader of such blocks calls itself, such as "Exif Reader".
    virtual void BeginBlock(ECodecBlock block, std::string name) = 0;
    virtual void Item(CCodecVariant key, CCodecVariant value) = 0;
    virtual void EndBlock() = 0;
};

/// A frame of a file, its preview or its thumbnail. Must not outlive the file.
class CCodecPicture {
public:
    virtual ~CCodecPicture() = default;
    [[nodiscard]] uint32_t Width() const { return m_width; }    // pixels, never 0
    [[nodiscard]] uint32_t Height() const { return m_height; }  // rows, never 0
    [[nodiscard]] ECodecPixels Pixels() const { return m_pixels; }
    /// Colours as 0xAARRGGBB, 256 at most; empty when there are none.
    virtual std::vector<uint32_t> Palette() = 0;
    /// Writes `count` rows of `rowBytes` from row `first` on, top row first.
    [[nodiscard]] virtual bool CopyRows(uint32_t first, uint32_t count, uint32_t rowBytes,
                                        uint8_t* rows) = 0;
    virtual void VisitMetadata(CCodecMetadataVisitor& visitor) = 0;

protected:
    uint32_t m_width = 0;
    uint32_t m_height = 0;
    ECodecPixels m_pixels = ECodecPixels::kOther;
};

/// A file that some codec has taken. Belongs to the thread that opened it.
class CCodecFile {
public:
    virtual ~CCodecFile() = default;
    /// What the codec calls itself; empty when it does not tell.
    virtual std::string CodecName() = 0;
    virtual uint32_t FrameCount() = 0;
    /// Null when there is no such picture.
    virtual std::unique_ptr<CCodecPicture> Frame(uint32_t index) = 0;
    virtual std::unique_ptr<CCodecPicture> Preview() = 0;
    virtual std::unique_ptr<CCodecPicture> Thumbnail() = 0;
};

/// Whether this system has such codecs at all.
[[nodiscard]] bool HasSystemCodecs();
/// Null when no codec takes the file.
[[nodiscard]] std::unique_ptr<CCodecFile> OpenWithSystemCodec(const KESTR_CHAR* path);

}  // namespace kestr
