// EXIF blocks: parsed, rendered, changed, written in each way and parsed again.
#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <span>
#include <vector>

#include "metadata/exif_members.h"
#include "metadata/exif_text.h"

namespace {

using Record = kestr::CEXIF_Members;

void ParseAgain(const std::vector<uint8_t>& app1) {
    constexpr size_t kMark = 6;
    if (app1.size() < kMark) return;
    Record again;
    again.Parse(std::span(app1).subspan(kMark), false, true);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    if (size == 0) return 0;
    const uint8_t choice = data[0];
    Record record;
    record.Parse({data + 1, size - 1}, (choice & 1) != 0, (choice & 2) != 0);
    kestr::ExifAsText(record, kestr::TextToWide(": "), kestr::TextToWide("\n"));
    kestr::ExifDate(record);
    uint16_t x = 0, y = 0;
    record.ResolutionAsDPI(x, y);
    ParseAgain(record.Serialise(true));
    ParseAgain(record.Serialise(false));
    record.Orientation = 1;
    record.SetResolutionDPI(301, 302);
    record.DateTime = kestr::TextToWide("2004:02:29 13:05:09");
    record.InteroperabilityIndex = kestr::TextToWide("R03");
    record.GPSLatitudeRef = kestr::TextToWide("N");
    if ((choice & 4) != 0) record.Model.clear();
    const auto note = record.MakerNote;
    const auto app1 = record.Serialise(true);
    Record again;
    again.Parse(std::span(app1).subspan(6), false, true);
    // One that stood in the main directory is no note before it comes to its place in a save.
    const auto isNote = [](const kestr::CExifTag& tag) { return tag.tag == 37500; };
    const bool isMisplaced = note.empty() && std::ranges::any_of(record.otherTags0, isNote);
    if (again.MakerNote != note && !isMisplaced) __builtin_trap();
    (void)record.SerialiseForTIFF(!record.bigEndian, 1000);
    (void)record.SerialiseGPSForTIFF(!record.bigEndian, 1000);
    return 0;
}
