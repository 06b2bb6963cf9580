#include "formats/gif_file.h"

#include <algorithm>

#include "base/byte_cursor.h"

namespace kestr {
namespace {

constexpr uint8_t kExtension = '!';
constexpr uint8_t kImage = ',';
constexpr uint8_t kTrailer = ';';
constexpr uint8_t kControl = 0xF9;
constexpr uint8_t kComment = 0xFE;
constexpr uint8_t kHasTable = 0x80;
constexpr uint8_t kInterlaced = 0x40;

bool IsCodeSize(int bits) {
    return bits >= 2 && bits <= 11;
}

uint32_t TableEntries(uint8_t flags) {
    return 2u << (flags & 7);
}

void ReadTable(CLittleEndianCursor& in, uint8_t flags, CGIFColourTable& table) {
    table.count = TableEntries(flags);
    for (CRGBQuad& colour : std::span(table.colours).first(table.count)) {
        colour.rgbRed = in.U8();
        colour.rgbGreen = in.U8();
        colour.rgbBlue = in.U8();
    }
}

// Data come in blocks of 1 to 255 bytes, each behind its length, up to a length of 0.
void SkipBlocks(CLittleEndianCursor& in) {
    while (const uint8_t length = in.U8()) in.Skip(length);
}

void ReadControl(CLittleEndianCursor& in, CGIFFrame& frame) {
    const auto block = in.Bytes(in.U8());
    if (block.empty()) return;
    if (block.size() >= 4) {
        CLittleEndianCursor values(block);
        const uint8_t flags = values.U8();
        frame.disposal = flags >> 2 & 7;
        frame.delay = values.U16() * 10u;
        frame.hasTransparency = (flags & 1) != 0;
        frame.transparentIndex = values.U8();
    }
    SkipBlocks(in);
}

void ReadComment(CLittleEndianCursor& in, CGIFFrame& frame) {
    while (const uint8_t length = in.U8()) {
        const auto block = in.Bytes(length);
        frame.comment.append(block.begin(), block.end());
    }
    frame.comment += '\n';
}

}  // namespace

std::optional<CGIFScreen> ParseGIFScreen(std::span<const uint8_t> file) {
    CLittleEndianCursor in(file);
    const auto signature = in.Bytes(6);  // any version will do
    if (signature.size() < 6 || !std::ranges::equal(signature.first(3), std::string_view("GIF"))) {
        return std::nullopt;
    }
    CGIFScreen screen;
    screen.width = in.U16();
    screen.height = in.U16();
    const uint8_t flags = in.U8();
    in.Skip(2);  // background and aspect ratio
    if (flags & kHasTable) ReadTable(in, flags, screen.table);
    if (!in.Ok()) return std::nullopt;
    screen.blocksStart = static_cast<uint32_t>(in.Position());
    return screen;
}

std::vector<uint32_t> FindGIFFrames(std::span<const uint8_t> file, const CGIFScreen& screen) {
    std::vector<uint32_t> starts;
    CLittleEndianCursor in(file, screen.blocksStart);
    uint32_t start = screen.blocksStart;
    while (in.Ok()) {
        switch (in.U8()) {
            case kTrailer:
                return starts;
            case kExtension:
                in.Skip(1);
                SkipBlocks(in);
                break;
            case kImage: {
                in.Skip(8);
                const uint8_t flags = in.U8();
                if (flags & kHasTable) in.Skip(3 * TableEntries(flags));
                if (!IsCodeSize(in.U8())) return starts;
                // Data that the file's end cuts short still are a frame.
                starts.push_back(start);
                SkipBlocks(in);
                start = static_cast<uint32_t>(in.Position());
                break;
            }
            default:
                break;  // strange bytes between blocks
        }
    }
    return starts;
}

std::optional<CGIFFrame> ParseGIFFrame(std::span<const uint8_t> file, const CGIFScreen& screen,
                                       uint32_t start) {
    CGIFFrame frame;
    frame.table = screen.table;
    CLittleEndianCursor in(file, start);
    while (in.Ok()) {
        switch (in.U8()) {
            case kTrailer:
                return std::nullopt;
            case kExtension:
                switch (in.U8()) {
                    case kControl:
                        ReadControl(in, frame);
                        break;
                    case kComment:
                        ReadComment(in, frame);
                        break;
                    default:
                        SkipBlocks(in);
                        break;
                }
                break;
            case kImage: {
                frame.left = in.U16();
                frame.top = in.U16();
                frame.width = in.U16();
                frame.height = in.U16();
                const uint8_t flags = in.U8();
                frame.interlaced = (flags & kInterlaced) != 0;
                if (flags & kHasTable) ReadTable(in, flags, frame.table);
                frame.codeSize = in.U8();
                if (!in.Ok() || !IsCodeSize(frame.codeSize)) return std::nullopt;
                frame.dataStart = static_cast<uint32_t>(in.Position());
                return frame;
            }
            default:
                break;
        }
    }
    return std::nullopt;
}

}  // namespace kestr
