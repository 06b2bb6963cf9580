// What the application markers of a JPEG stream hold.
// Layout: Exif 2.3 (APP1); Adobe XMP, part 3 (APP1); ICC.1:2010, annex B.4 (APP2); FlashPix (APP2
// with sound); Photoshop image resources (APP13).

#include "formats/jpeg_markers.h"

#include <algorithm>
#include <cstddef>
#include <cstring>
#include <memory>
#include <optional>
#include <string_view>
#include <utility>
#include <vector>

#include "base/byte_cursor.h"
#include "formats/jpeg_marker_names.h"
#include "metadata/image_resources.h"
#include "metadata/jpeg_segments.h"
#include "readers/image_reader.h"

namespace kestr {
namespace {

using CBytes = std::span<const uint8_t>;

constexpr std::string_view kExif("exif\0", 5);
constexpr std::string_view kICC = kICCName.substr(0, 11);  // readers ask no more
constexpr std::string_view kRIFF = "RIFF";
constexpr std::string_view kCamera = "HEAPJPGM";
constexpr size_t kShortestExif = 15;
constexpr size_t kShortestXmp = 41;  // bytes of a marker worth looking at
constexpr size_t kShortestICC = 17;
constexpr size_t kShortestPhotoshop = 21;
constexpr size_t kMostTailBytes = 65535;  // of IPTC data behind the picture
constexpr size_t kSoundStart = 41;        // of the clip, in the first marker of a sound stream
constexpr size_t kSoundContinued = 13;    // the same in the markers that follow
constexpr size_t kCameraName = 6;         // offset of kCamera

bool HasText(CBytes data, size_t offset, std::string_view text) {
    return data.size() >= offset + text.size() &&
           std::memcmp(data.data() + offset, text.data(), text.size()) == 0;
}

bool BeginsIgnoringCase(CBytes data, std::string_view lower) {
    return data.size() >= lower.size() &&
           std::ranges::equal(data.first(lower.size()), lower, [](uint8_t a, char b) {
               return (a >= 'A' && a <= 'Z' ? a + 32 : a) == static_cast<uint8_t>(b);
           });
}

void Append(std::vector<uint8_t>& out, CBytes data, size_t from) {
    if (data.size() > from) out.insert(out.end(), data.begin() + from, data.end());
}

/// A profile in pieces, each of which tells its number and how many there are.
class CProfilePieces {
public:
    void Add(CBytes data) {
        if (!m_count) m_count = data[13];
        if (data[12] <= *m_count) m_pieces.push_back(data);
    }

    std::vector<uint8_t> Join() {
        // A number is a byte, so that no place beyond 255 can have its piece.
        const size_t places = std::min<size_t>(m_pieces.size(), 255);
        for (size_t i = 0; i < places; ++i) {
            const auto wanted = [i](CBytes piece) { return piece[12] == i + 1; };
            const auto found = std::find_if(m_pieces.begin() + i, m_pieces.end(), wanted);
            if (found != m_pieces.end()) std::swap(m_pieces[i], *found);
        }
        std::vector<uint8_t> profile;
        for (const CBytes piece : m_pieces) Append(profile, piece, kICCHeader);
        return profile;
    }

private:
    std::vector<CBytes> m_pieces;
    std::optional<uint8_t> m_count;  // as the first piece tells it
};

class CMarkerPass {
public:
    CMarkerPass(CImageReader& reader, const CJPEGMarkers& input)
        : m_reader(reader), m_input(input) {}

    void Run() {
        for (auto* marker = m_input.markers; marker != nullptr; marker = marker->next) {
            Take(marker->marker, {marker->data, marker->data_length});
        }
        if (!m_sound.empty()) m_reader.m_soundClip = std::move(m_sound);
        m_reader.SetICCProfile(m_profile.Join());
        PlaceMakerNote();
        TakeTail();
    }

private:
    // The first rule that fits a marker is the only one for it.
    void Take(int marker, CBytes data) {
        switch (marker - JPEG_APP0) {
            case 0:
                if (HasText(data, kCameraName, kCamera)) KeepCameraHeader(kBlockOfHEAPJPGM, data);
                break;
            case 1:
                TakeAPP1(data);
                break;
            case 2:
                TakeAPP2(data);
                break;
            case 12:
                KeepCameraHeader(kBlockOfAPP12, data);
                m_reader.m_cameraText.push_back(0);
                break;
            case 13:
                TakeAPP13(data);
                break;
            default:
                break;
        }
    }

    void KeepCameraHeader(uint8_t kind, CBytes data) {
        m_reader.m_cameraText.assign(1, kind);
        Append(m_reader.m_cameraText, data, 0);
    }

    void TakeAPP1(CBytes data) {
        if (BeginsIgnoringCase(data, kExif)) {
            if (data.size() >= kShortestExif) TakeExif(data.subspan(kExifHeader));
        } else if (BeginsIgnoringCase(data, kXmpName) && data.size() >= kShortestXmp) {
            m_reader.m_xmpData.assign(data.begin() + kXmpName.size(), data.end());
        }
    }

    void TakeExif(CBytes block) {
        m_reader.m_exif = std::make_unique<CEXIF_Members>();
        m_reader.m_exif->Parse(block, false, true);
        if (m_reader.physicalX == 0 || m_reader.physicalY == 0) {
            m_reader.m_exif->ResolutionAsDPI(m_reader.physicalX, m_reader.physicalY);
        }
    }

    void TakeAPP13(CBytes data) {
        if (m_hasIPTC || data.size() < kShortestPhotoshop || !HasText(data, 0, kPhotoshopName)) {
            return;
        }
        const CBytes block =
            FindImageResource(data.subspan(kPhotoshopName.size()), image_resource::kIPTC);
        m_hasIPTC = m_reader.m_iptc.Parse(block);
    }

    // Turns the place of the maker note, counted from the EXIF block's TIFF header, into one
    // counted from the start of the file.
    void PlaceMakerNote() {
        CEXIF_Members* const exif = m_reader.m_exif.get();
        const CBytes source = m_input.source;
        if (exif == nullptr || exif->MakerNote.empty()) return;
        if (exif->makerNoteOffset >= source.size()) return;
        const CBytes searched = source.first(source.size() - exif->makerNoteOffset);
        for (size_t p = 0; p + kExifHeader <= searched.size(); ++p) {
            if ((searched[p] | 0x20) != 'e') continue;
            if (!BeginsIgnoringCase(searched.subspan(p), kExif) || searched[p + 5] != 0) continue;
            exif->makerNoteOffset += static_cast<uint32_t>(p + kExifHeader);
            return;
        }
    }

    // Some programs put the IPTC record behind the picture.
    void TakeTail() {
        if (!m_input.isFile || (m_hasIPTC && m_reader.stopAtMarkerIPTC)) return;
        const CBytes tail = JPEGTail(m_input.source);
        CIPTC_Members record;
        if (tail.size() <= kMostTailBytes && record.Parse(tail)) m_reader.m_iptc.MergeFrom(record);
    }

    void TakeAPP2(CBytes data) {
        if (data.size() >= kShortestICC && HasText(data, 0, kICC)) {
            if (!m_input.isCMYK) m_profile.Add(data);
        } else if (HasText(data, kSoundStart, kRIFF)) {
            m_sound.assign(data.begin() + kSoundStart, data.end());
        } else if (!m_sound.empty()) {
            Append(m_sound, data, kSoundContinued);
        }
    }

    CImageReader& m_reader;
    const CJPEGMarkers& m_input;
    CProfilePieces m_profile;
    std::vector<uint8_t> m_sound;
    bool m_hasIPTC = false;  // from a marker
};

}  // namespace

void TakeJPEGMarkers(CImageReader& reader, const CJPEGMarkers& input) {
    CMarkerPass(reader, input).Run();
}

}  // namespace kestr
