// Canon's CIFF heap as text. Tag numbers: CIFF Specification on Image Data File, version 1.0
// revision 4.
#include <bit>
#include <cmath>
#include <optional>

#include "base/format_text.h"
#include "metadata/camera_text.h"
#include "metadata/ciff_heap.h"
#include "metadata/tiff_bytes.h"

namespace kestr {
namespace {

constexpr int kDeepest = 8;
constexpr int kMostRecords = 4096;

class CCIFFWalk {
public:
    void Heap(const CCIFFHeap& heap, int depth) {
        for (size_t i = 0; i < heap.Count() && m_left > 0; ++i, --m_left) {
            const CCIFFRecord record = heap.Record(i);
            if (!record.IsHeap()) {
                Record(record.Tag(), CTIFFBytes(record.value, heap.BigEndian()));
            } else if (depth < kDeepest) {
                Heap(CCIFFHeap(record.value, heap.BigEndian()), depth + 1);
            }
        }
    }

    std::string Take() { return std::move(m_text); }

private:
    void Record(uint16_t tag, const CTIFFBytes& value);
    void ImageFormat(const CTIFFBytes& value);
    void ImageSpec(const CTIFFBytes& value);
    void Exposure(const CTIFFBytes& value);

    template <typename... Values>
    void Add(const char* format, Values... values) {
#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wformat-nonliteral"
#pragma GCC diagnostic ignored "-Wformat-security"
        m_text += FormatText(format, values...);
#pragma GCC diagnostic pop
    }
    // A NUL-terminated text; the second one of two for `index` 1.
    static std::string Characters(const CTIFFBytes& value, int index = 0) {
        std::string_view all(reinterpret_cast<const char*>(value.Bytes().data()), value.Size());
        if (index == 1) {
            const size_t first = all.find('\0');
            all = first == all.npos ? std::string_view() : all.substr(first + 1);
        }
        return std::string(all.substr(0, all.find('\0')));
    }
    static double Float(const CTIFFBytes& value, size_t at) {
        return std::bit_cast<float>(value.U32(at));
    }

    int m_left = kMostRecords;
    std::string m_text;
};

void CCIFFWalk::Record(uint16_t tag, const CTIFFBytes& value) {
    if (value.Size() == 0) return;
    switch (tag) {
        case 0x0805:
            return Add("Description:\t%s\r\n", Characters(value).c_str());
        case 0x080A:
            Add("Manufacturer:\t%s\r\n", Characters(value).c_str());
            return Add("Model Name:\t%s\r\n", Characters(value, 1).c_str());
        case 0x080B:
            return Add("Firmware:\t%s\r\n", Characters(value).c_str());
        case 0x080C:
            return Add("ROM Mode:\t%s\r\n", Characters(value).c_str());
        case 0x080D:
            return Add("Rom Mode:\t%s\r\n", Characters(value).c_str());
        case 0x0810:
            return Add("Owner Name:\t%s\r\n", Characters(value).c_str());
        case 0x0815:
            return Add("Target Image Type:\t%s\r\n", Characters(value).c_str());
        case 0x0816:
            return Add("Image File Name:\t%s\r\n", Characters(value).c_str());
        case 0x0817:
            return Add("Thumbnail File Name:\t%s\r\n", Characters(value).c_str());
        case 0x1010:
            return Add("Release Method:\t%s\r\n",
                       value.U16(0) == 0 ? "Single shot" : "Continuous exposures");
        case 0x1011:
            return Add("Release Timing:\t%s\r\n",
                       value.U16(0) == 0 ? "Shutter priority" : "Focus priority");
        case 0x101C:
            return Add("Body ISO:\t%u\r\n", unsigned{value.U16(0)});
        case 0x1803:
            return ImageFormat(value);
        case 0x1804:
            return Add("Photo count:\t%u\r\n", value.U32(0));
        case 0x1806:
            return Add("Timer Time:\t%u mS\r\n", value.U32(0));
        case 0x1807:
            return Add("Target Distance:\t%.0f mm\r\n", Float(value, 0));
        case 0x180B:
            return Add("Body ID:\t%u\r\n", value.U32(0));
        case 0x180E:
            return Add("Captured Time:\t%s\r\n", ClockText(value.U32(0)).c_str());
        case 0x1810:
            return ImageSpec(value);
        case 0x1813:
            Add("Flash Guide Number:\t%.1f\r\n", Float(value, 0));
            return Add("Flash Threshold:\t%.1f\r\n", Float(value, 4));
        case 0x1814:
            return Add("Luminance:\t%.1f\r\n", Float(value, 0));
        case 0x1817:
            return Add("Serial Number:\t%u\r\n", value.U32(0));
        case 0x1818:
            return Exposure(value);
        default:
            return;
    }
}

// The high word names the format of the file, the low one how it is compressed.
void CCIFFWalk::ImageFormat(const CTIFFBytes& value) {
    const uint32_t format = value.U32(0);
    const auto compression = [&]() -> const char* {
        switch (format & 0xFFFF) {
            case 0:
                return "Lossy JPEG";
            case 1:
                return "None";
            case 2:
                return "Non-quantization JPEG";
            case 3:
                return "Canon PS600 Variable";
            default:
                return "";
        }
    };
    const uint32_t file = format >> 16;
    Add("Image Format:\t%s\r\n", file == 1 ? "JPEG" : file == 2 ? "CanonCRW" : "");
    Add("Compression Type:\t%s\r\n", compression());
    Add("Target Compression:\t %.2f Bits/Pixel\r\n", Float(value, 4));
}

void CCIFFWalk::ImageSpec(const CTIFFBytes& value) {
    Add("Image Width:\t%u\r\n", value.U32(0));
    Add("Image Height:\t%u\r\n", value.U32(4));
    Add("Pixel Aspect Ratio:\t%.2f\r\n", Float(value, 8));
    Add("Rotation Angle:\t%d\r\n", static_cast<int32_t>(value.U32(12)));
    Add("Channel Bit Depth:\t%u\r\n", value.U32(16));
    Add("Color Bit Depth:\t%u\r\n", value.U32(20));
    Add("Color/BW Flag:\t%s\r\n", value.U32(24) == 0 ? "Gray scale" : "Color");
}

// Exposure compensation, time and aperture as APEX values.
void CCIFFWalk::Exposure(const CTIFFBytes& value) {
    constexpr double kMostApex = 31;  // beyond it the number would not fit
    const double time = Float(value, 4);
    Add("Exposure Comp:\t%.1f\r\n", Float(value, 0));
    if (time > 0 && time <= kMostApex) {
        Add("Shutter Speed:\t1/%u\r\n", static_cast<uint32_t>(std::exp2(time) + 0.5));
    } else if (time <= 0 && time >= -kMostApex) {
        Add("Shutter Speed:\t%.2f\r\n", std::exp2(-time));
    } else {
        Add("Shutter Speed:\t2^%.2f\r\n", -time);
    }
    Add("F Number:\tF%.1f\r\n", std::exp2(Float(value, 8) * 0.5));
}

}  // namespace

std::string CIFFText(std::span<const uint8_t> file) {
    CCIFFWalk walk;
    walk.Heap(RootHeap(file), 0);
    return walk.Take();
}

}  // namespace kestr
