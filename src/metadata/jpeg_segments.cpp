#include "metadata/jpeg_segments.h"

#include <algorithm>
#include <cstring>
#include <string_view>

#include "base/byte_cursor.h"
#include "base/messages.h"
#include "platform/code_page.h"
#include "platform/files.h"
#include "platform/mapped_file.h"

namespace kestr {
namespace {

constexpr std::string_view kExifMark("Exif\0\0", 6);
constexpr std::string_view kXmpMark = "http://ns.adobe.com/xap/1.0/";
constexpr std::string_view kPhotoshopMark("Photoshop 3.0\0", 14);
constexpr size_t kMostSegmentBytes = 65535;  // the length field counts itself

bool StartsWith(std::span<const uint8_t> bytes, std::string_view mark) {
    return bytes.size() >= mark.size() && std::memcmp(bytes.data(), mark.data(), mark.size()) == 0;
}

bool StandsAlone(uint8_t marker) {
    return (marker >= 0xD0 && marker <= 0xD9) || marker == 0x01;
}

bool IsDropped(const CJPEGSegment& segment, const CMarkerMerge& merge) {
    if (segment.marker != (0xFF00 | merge.markerToDrop)) return false;
    if (merge.markerToDrop != jpeg_marker::kAPP1) return true;
    return (segment.isExif && merge.dropExif) || (segment.isXmp && merge.dropXmp);
}

// The new marker with its length, ready to be written; empty when there is no data.
std::vector<uint8_t> NewSegment(const CMarkerMerge& merge) {
    if (merge.data.empty()) return {};
    const bool photoshop = merge.markerToAdd == jpeg_marker::kAPP13;
    const std::string_view mark = photoshop ? kPhotoshopMark : std::string_view();
    const size_t length = 2 + mark.size() + merge.data.size();
    std::vector<uint8_t> segment{0xFF, merge.markerToAdd, uint8_t(length >> 8), uint8_t(length)};
    segment.insert(segment.end(), mark.begin(), mark.end());
    segment.insert(segment.end(), merge.data.begin(), merge.data.end());
    return segment;
}

// The segments that go out, in order; the new one as a range of its own bytes.
std::vector<std::span<const uint8_t>> Arrange(std::span<const uint8_t> file,
                                              const std::vector<CJPEGSegment>& segments,
                                              const CMarkerMerge& merge,
                                              std::span<const uint8_t> added) {
    const auto isEnd = [](const CJPEGSegment& s) { return s.marker == 0xFFD9; };
    auto end = std::ranges::find_if(segments, isEnd);
    if (end != segments.end()) ++end;
    const auto find = [&](auto... markers) {
        return std::find_if(segments.begin(), end, [=](const CJPEGSegment& s) {
            return ((s.marker == (0xFF00 | markers)) || ...);
        });
    };
    auto before = find(jpeg_marker::kAPP0, jpeg_marker::kAPP1);
    if (before == end) before = find(jpeg_marker::kSOI);
    if (before == end) before = segments.begin();
    std::vector<std::span<const uint8_t>> pieces;
    for (auto segment = segments.begin(); segment != end; ++segment) {
        if (!IsDropped(*segment, merge)) {
            pieces.push_back(file.subspan(segment->offset, segment->length));
        }
        if (segment == before) pieces.push_back(added);
    }
    return pieces;
}

bool SameIgnoringCase(WideView a, WideView b) {
    const auto lower = [](KESTR_CHAR c) { return c >= 'A' && c <= 'Z' ? c + ('a' - 'A') : c; };
    return std::ranges::equal(a, b, {}, lower, lower);
}

}  // namespace

// The next FF that is followed by neither FF nor 00.
std::optional<size_t> CJPEGSegmentWalk::FindMarker() const {
    size_t at = m_position;
    while (at + 1 < m_file.size()) {
        const void* found = std::memchr(m_file.data() + at, 0xFF, m_file.size() - 1 - at);
        if (!found) return {};
        at = static_cast<size_t>(static_cast<const uint8_t*>(found) - m_file.data());
        if (m_file[at + 1] != 0xFF && m_file[at + 1] != 0x00) return at;
        ++at;
    }
    return {};
}

std::optional<CJPEGSegment> CJPEGSegmentWalk::Next() {
    if (m_position >= m_file.size()) return {};
    if (!m_found) {
        const size_t start = m_position;
        m_marker = FindMarker().value_or(m_file.size());
        if (m_marker > start) {
            m_found = m_marker < m_file.size();
            m_position = m_marker;
            return CJPEGSegment{CJPEGSegment::kStray, start, m_marker - start};
        }
    }
    m_found = false;
    const uint8_t code = m_file[m_marker + 1];
    CJPEGSegment segment{static_cast<uint16_t>(0xFF00 | code), m_marker, 2};
    if (!StandsAlone(code)) {
        CBigEndianCursor in(m_file, m_marker + 2);
        segment.length += in.U16();
    }
    segment.length = std::min(segment.length, m_file.size() - m_marker);
    if (code == jpeg_marker::kAPP1) {
        const auto data = SubRange(m_file.subspan(m_marker, segment.length), 4);
        segment.isExif = StartsWith(data, kExifMark);
        segment.isXmp = StartsWith(data, kXmpMark);
    }
    m_position = m_marker + segment.length;
    return segment;
}

std::vector<CJPEGSegment> ScanJPEG(std::span<const uint8_t> file) {
    std::vector<CJPEGSegment> segments;
    if (file.empty() || file[0] != 0xFF) return segments;
    CJPEGSegmentWalk walk(file);
    while (const auto segment = walk.Next()) segments.push_back(*segment);
    return segments;
}

std::span<const uint8_t> JPEGTail(std::span<const uint8_t> file) {
    if (file.empty() || file[0] != 0xFF) return {};
    CJPEGSegment last;
    CJPEGSegmentWalk walk(file);
    while (const auto segment = walk.Next()) last = *segment;
    if (last.marker != CJPEGSegment::kStray) return {};
    return file.subspan(last.offset, last.length);
}

bool MergeMarker(const KESTR_CHAR* source, const KESTR_CHAR* target, const CMarkerMerge& merge,
                 std::string& errorText) {
    const auto fail = [&](int id) {
        errorText = Message(id);
        return false;
    };
    const std::vector<uint8_t> added = NewSegment(merge);
    CMappedFileImpl file;
    if (!file.OpenRead(source)) return fail(message::kCommentMapSource);
    const std::vector<CJPEGSegment> segments = ScanJPEG(file.Bytes());
    if (segments.empty()) return fail(message::kCommentReadMarkers);
    if (added.size() > kMostSegmentBytes + 2) return fail(message::kCommentRenameFailed);

    const WideString temporary = WideString(target) + TextToWide(".tmp.jpg");
    COutputFile out;
    if (!out.Create(temporary.c_str())) return fail(message::kCommentOpenTarget);
    for (const auto piece : Arrange(file.Bytes(), segments, merge, added)) out.Write(piece);
    file.Close();
    if (!out.Close()) {
        out.Discard();
        return fail(message::kCommentRenameFailed);
    }
    if (merge.deleteSource && !SameIgnoringCase(source, target)) RemoveFile(source);
    if (!RenameFile(temporary.c_str(), target, true)) {
        RemoveFile(temporary.c_str());
        return fail(message::kCommentRenameFailed);
    }
    return true;
}

}  // namespace kestr
