// EXIF and IPTC records from the tree of a codec of the system. A codec gives a value the type that
// it likes best: what a field takes is told by its kind.
#include <algorithm>
#include <array>
#include <bit>
#include <optional>
#include <span>
#include <string_view>
#include <type_traits>
#include <utility>

#include "metadata/exif_fields.h"
#include "metadata/image_resources.h"
#include "metadata/wic_metadata.h"

namespace kestr::WicMetadata {
namespace {

using enum EExifKind;
using M = CEXIF_Members;
using V = CCodecVariant;

constexpr uint16_t kTagIPTC = 33723;
constexpr uint16_t kTagImageResources = 34377;
constexpr std::array<uint8_t, 8> kAsciiComment{'A', 'S', 'C', 'I', 'I', 0, 0, 0};

// ---- values -------------------------------------------------------------------------------------

std::span<const uint64_t> Numbers(const V& value) {
    const auto* numbers = std::get_if<V::Numbers>(&value.value);
    return numbers ? std::span<const uint64_t>(*numbers) : std::span<const uint64_t>();
}

bool IsShort(const V& value) {
    return value.ElementType() == V::kI2 || value.ElementType() == V::kUI2;
}
bool IsLong(const V& value) {
    const uint16_t type = value.ElementType();
    return type == V::kI4 || type == V::kUI4 || type == V::kInt || type == V::kUInt;
}
bool IsByte(const V& value) {
    return value.ElementType() == V::kI1 || value.ElementType() == V::kUI1;
}
bool IsRational(const V& value) {
    return value.ElementType() == V::kI8 || value.ElementType() == V::kUI8;
}
bool IsReal(const V& value) {
    return value.ElementType() == V::kR4 || value.ElementType() == V::kR8;
}

/// A tag or a dataset.
std::optional<uint32_t> KeyNumber(const V& key) {
    const auto numbers = Numbers(key);
    if (numbers.size() != 1 || !(IsByte(key) || IsShort(key) || IsLong(key))) return {};
    return static_cast<uint32_t>(numbers[0]) & (IsShort(key) ? 0xFFFF : IsByte(key) ? 0xFF : ~0u);
}

/// Bytes as a blob or as a list of bytes.
std::optional<M::Bytes> Bytes(const V& value) {
    if (const auto* bytes = std::get_if<V::Bytes>(&value.value)) return *bytes;
    if (!IsByte(value)) return {};
    const auto numbers = Numbers(value);
    return M::Bytes(numbers.begin(), numbers.end());
}

const V::Texts* Texts(const V& value) {
    return std::get_if<V::Texts>(&value.value);
}

WideView Stripped(WideView text) {
    const auto isSpace = [](KESTR_CHAR c) { return c == ' ' || (c >= '\t' && c <= '\r'); };
    while (!text.empty() && isSpace(text.front())) text.remove_prefix(1);
    while (!text.empty() && isSpace(text.back())) text.remove_suffix(1);
    return text;
}

/// A text as bytes: those that it was made of, or in the code page.
std::string Narrow(const V& value, WideView text) {
    if (value.ElementType() != V::kText8) return WideToText(text);
    std::string bytes;
    for (const KESTR_CHAR unit : text) bytes += static_cast<char>(unit & 0xFF);
    return bytes;
}

// ---- EXIF ---------------------------------------------------------------------------------------

M::Rationals Rationals(const V& value, bool isSigned) {
    M::Rationals rationals;
    for (const uint64_t number : Numbers(value)) {
        const auto numerator = static_cast<uint32_t>(number);
        const auto denominator = static_cast<uint32_t>(number >> 32);
        rationals.push_back(isSigned ? CExifRational::Signed(numerator, denominator)
                                     : CExifRational::Unsigned(numerator, denominator));
    }
    return rationals;
}

/// Sets one field; false when the value is of no use to it.
class CFieldSetter {
public:
    CFieldSetter(const CExifField& field, const V& value, M& record)
        : m_field(field), m_value(value), m_record(record) {}

    bool operator()(M::Text M::*member) { return SetText(m_record.*member); }
    bool operator()(M::Short M::*member) { return SetShort(m_record.*member); }
    bool operator()(M::Long M::*member) {
        const auto numbers = Numbers(m_value);
        if (numbers.empty() || !(IsShort(m_value) || IsLong(m_value))) return false;
        if (m_field.kind == kSingleLong && numbers.size() != 1) return false;
        m_record.*member = static_cast<uint32_t>(numbers[0]) & (IsShort(m_value) ? 0xFFFF : ~0u);
        return true;
    }
    bool operator()(M::Byte M::*member) {
        const auto bytes = Bytes(m_value);
        if (!bytes || bytes->empty()) return false;
        m_record.*member = bytes->front();
        return true;
    }
    bool operator()(M::Rational M::*member) { return SetRational(m_record.*member); }
    bool operator()(M::Rationals M::*member) {
        if (!IsRational(m_value) || Numbers(m_value).empty()) return false;
        M::Rationals values = Rationals(m_value, m_value.ElementType() == V::kI8);
        if (m_field.kind == kTriple && values.size() < 3) values.resize(3);
        m_record.*member = std::move(values);
        return true;
    }
    bool operator()(M::Bytes M::*member) {
        if (auto bytes = Bytes(m_value); bytes && !bytes->empty()) {
            m_record.*member = std::move(*bytes);
            return true;
        }
        const V::Texts* const texts = Texts(m_value);
        if (m_field.kind != kUserComment || !texts || texts->empty()) return false;
        const std::string text = Narrow(m_value, Stripped(texts->front()));
        if (text.empty()) return false;
        M::Bytes& comment = m_record.*member;
        comment.assign(kAsciiComment.begin(), kAsciiComment.end());
        comment.insert(comment.end(), text.begin(), text.end());
        return true;
    }
    bool operator()(M::Shorts M::*member) {
        // A point or a circle; a rectangle, of four numbers, is not taken.
        const auto numbers = Numbers(m_value);
        if (!IsShort(m_value) || numbers.size() < 2 || numbers.size() > 3) return false;
        (m_record.*member).assign(numbers.begin(), numbers.end());
        return true;
    }

private:
    bool SetText(M::Text& text) {
        if (m_field.kind == kFourChars || m_field.kind == kFourDigits || m_field.kind == kDigits) {
            const auto bytes = Bytes(m_value);
            if (!bytes || bytes->empty() || (m_field.kind != kDigits && bytes->size() != 4)) {
                return false;
            }
            const int add = m_field.kind == kFourChars ? 0 : '0';
            text.clear();
            for (const uint8_t byte : *bytes) text += static_cast<KESTR_CHAR>(byte + add);
            return true;
        }
        const V::Texts* const texts = Texts(m_value);
        if (!texts || texts->empty()) return false;
        if (m_field.kind == kRawText) {  // the parts of a list stood with NULs between them
            text = texts->front();
            for (size_t i = 1; i < texts->size(); ++i) {
                text += KESTR_CHAR{0};
                text += (*texts)[i];
            }
        } else {
            text = Stripped(texts->front());
        }
        return !text.empty();
    }

    bool SetShort(M::Short& field) {
        if (m_field.kind == kShortFromByte) {
            const auto bytes = Bytes(m_value);
            if (!bytes || bytes->size() != 1) return false;
            field = bytes->front();
            return true;
        }
        const auto numbers = Numbers(m_value);
        if (numbers.empty() || !(IsShort(m_value) || IsLong(m_value) || IsByte(m_value))) {
            return false;
        }
        if (m_field.firstKept && field) return true;
        field = static_cast<uint16_t>(numbers[0]);
        if (m_field.kind == kLocation) {
            m_record.SubjectLocationY.reset();
            if (numbers.size() > 1) m_record.SubjectLocationY = static_cast<uint16_t>(numbers[1]);
        }
        return true;
    }

    bool SetRational(M::Rational& field) {
        const auto numbers = Numbers(m_value);
        if (numbers.empty()) return false;
        if (m_field.firstKept && field) return true;
        if (IsReal(m_value)) {
            field = CExifRational{0, 0, std::bit_cast<double>(numbers[0])};
            return true;
        }
        if (!IsRational(m_value)) return false;
        const bool isSigned = m_value.ElementType() == V::kI8 || m_field.kind == kSignedRational;
        const M::Rationals values = Rationals(m_value, isSigned);
        field = values[0];
        if (m_field.kind == kDistance) {
            m_record.SubjectDistanceMax.reset();
            if (values.size() > 1) m_record.SubjectDistanceMax = values[1];
        }
        return true;
    }

    const CExifField& m_field;
    const V& m_value;
    M& m_record;
};

std::optional<EExifDirectory> DirectoryOf(ECodecBlock block) {
    switch (block) {
        case ECodecBlock::kMain:
            return EExifDirectory::kMain;
        case ECodecBlock::kExif:
            return EExifDirectory::kExif;
        case ECodecBlock::kGPS:
            return EExifDirectory::kGPS;
        case ECodecBlock::kInteroperability:
            return EExifDirectory::kInteroperability;
        default:
            return {};
    }
}

// ---- IPTC ---------------------------------------------------------------------------------------

char LowerCase(char c) {
    return c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c;
}

bool SameName(std::string_view a, std::string_view b) {
    return std::ranges::equal(a, b, {}, LowerCase, LowerCase);
}

/// Names that codecs use and the table of the record lacks or writes in its own way.
constexpr std::array<std::pair<std::string_view, uint8_t>, 3> kOtherNames{{
    {"Caption", 120},
    {"Country/Primary Location Code", 100},
    {"Sub-location", 92},
}};

std::optional<uint8_t> DatasetOf(const V& key) {
    if (const V::Texts* const texts = Texts(key); texts && texts->size() == 1) {
        const std::string name = Narrow(key, texts->front());
        for (const auto& [other, dataset] : kOtherNames) {
            if (SameName(name, other)) return dataset;
        }
        return CIPTC_Members::DatasetByName(name);
    }
    const auto number = KeyNumber(key);
    if (!number || *number == 0 || *number > 255) return {};
    return static_cast<uint8_t>(*number);
}

/// Appends a value as it stands in an IPTC block.
void AppendDataset(uint8_t dataset, std::string_view text, M::Bytes& block) {
    const auto size = static_cast<uint32_t>(text.size());
    block.insert(block.end(), {0x1C, 2, dataset, 0x80, 4, uint8_t(size >> 24), uint8_t(size >> 16),
                               uint8_t(size >> 8), uint8_t(size)});
    block.insert(block.end(), text.begin(), text.end());
}

void AppendDatasets(const CElement& block, M::Bytes& bytes) {
    for (const auto& item : block.data) {
        const auto dataset = DatasetOf(item->key);
        const V::Texts* const texts = Texts(item->value);
        if (!dataset || !texts) continue;
        for (const WideString& text : *texts) {
            AppendDataset(*dataset, Narrow(item->value, text), bytes);
        }
    }
}

/// The bytes of a tag that no block was made of. A TIFF file may have them as 32-bit numbers.
M::Bytes RawBytes(const V& value) {
    if (auto bytes = Bytes(value)) return std::move(*bytes);
    M::Bytes bytes;
    if (!IsLong(value)) return bytes;
    for (const uint64_t number : Numbers(value)) {
        for (int shift = 0; shift < 32; shift += 8) {
            bytes.push_back(static_cast<uint8_t>(number >> shift));
        }
    }
    return bytes;
}

void AppendRawDatasets(const CElement& main, M::Bytes& bytes) {
    for (const auto& item : main.data) {
        const auto tag = KeyNumber(item->key);
        if (tag != kTagIPTC && tag != kTagImageResources) continue;
        const M::Bytes raw = RawBytes(item->value);
        const auto block = tag == kTagIPTC ? std::span<const uint8_t>(raw)
                                           : FindImageResource(raw, image_resource::kIPTC);
        bytes.insert(bytes.end(), block.begin(), block.end());
    }
}

template <typename Visit>
void ForEachBlock(const CElements& blocks, Visit visit) {
    for (const auto& block : blocks) {
        visit(*block);
        ForEachBlock(block->children, visit);
    }
}

}  // namespace

bool FillExif(const CElements& blocks, CEXIF_Members& record) {
    bool found = false;
    ForEachBlock(blocks, [&](const CElement& block) {
        const auto directory = DirectoryOf(block.block);
        if (!directory) return;
        for (const auto& item : block.data) {
            const auto tag = KeyNumber(item->key);
            if (!tag || *tag > 0xFFFF) continue;
            const auto* const field = FindExifField(*directory, static_cast<uint16_t>(*tag));
            if (!field) continue;
            found |= std::visit(CFieldSetter(*field, item->value, record), field->member);
        }
    });
    return found;
}

bool FillIPTC(const CElements& blocks, CIPTC_Members& record) {
    M::Bytes bytes;
    ForEachBlock(blocks, [&](const CElement& block) {
        if (block.block == ECodecBlock::kIPTC) AppendDatasets(block, bytes);
    });
    ForEachBlock(blocks, [&](const CElement& block) {
        if (block.block == ECodecBlock::kMain) AppendRawDatasets(block, bytes);
    });
    return record.Parse(bytes);
}

}  // namespace kestr::WicMetadata
