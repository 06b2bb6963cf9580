// Where the system has codecs, their reader is registered.
#include "formats/wic_reader.h"

#include <array>
#include <string_view>

#include "readers/extension_table.h"
#include "readers/reader_registry.h"
#include "readers/type_ids.h"

namespace kestr {
namespace {

const CReaderRegistration kReaders{{kTypeWIC}, &MakeReader<CWICReader>};

// Formats of codecs that come with Windows or from its store, and that no reader of ours reads.
constexpr auto kExtensions = std::to_array<std::string_view>(
    {"avif", "dds", "hdp", "heic", "heif", "hif", "jxl", "jxr", "wdp", "webp"});

[[maybe_unused]] const bool kKnown = [] {
    for (const std::string_view extension : kExtensions) AddSystemCodecExtension(extension);
    return true;
}();

}  // namespace
}  // namespace kestr
