// IPTC blocks, bare or within image resources: what is read comes back from what is written.
#include <cstddef>
#include <cstdint>

#include "metadata/image_resources.h"
#include "metadata/iptc_members.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    const std::span<const uint8_t> bytes(data, size);
    kestr::CIPTC_Members record;
    record.Parse(kestr::FindImageResource(bytes, kestr::image_resource::kIPTC));
    if (record.Empty()) record.Parse(bytes);
    (void)record.AsText(kestr::TextToWide(":"), kestr::TextToWide("\r\n"));
    // Numbers below 3 are not written.
    std::erase_if(record.extended, [](const auto& item) { return item.first < 3; });
    const auto block = record.Serialise();
    kestr::CIPTC_Members again;
    again.Parse(block);
    if (again.Serialise() != block) __builtin_trap();
    kestr::CIPTC_Members merged;
    merged.MergeFrom(record);
    return 0;
}
