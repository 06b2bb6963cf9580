#pragma once

#include <array>
#include <cstdint>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "platform/code_page.h"

namespace kestr {

/// Parsed IPTC data: the datasets of record 2 of the Information Interchange Model (IPTC-NAA 4.1).
/// Record 1, which could name a character set, is not read: texts are the file's bytes, and come
/// out of a load and a save as they were. They are widened for display only.
class CIPTC_Members {
public:
    using Text = std::string;
    using List = std::vector<std::string>;

    virtual ~CIPTC_Members() = default;

    void Clear() { *this = {}; }
    [[nodiscard]] bool Empty() const;
    void CopyFrom(const CIPTC_Members& other) { *this = other; }
    /// Takes over what this record lacks: texts that are empty, list items and datasets not there.
    void MergeFrom(const CIPTC_Members& other);

    /// Replaces the record by what a block holds; whether it held anything. Of a repeated text the
    /// first value is kept, of a list each different one.
    bool Parse(std::span<const uint8_t> data);
    /// The block of this record. An empty one gives the 7 bytes of the record's version.
    [[nodiscard]] std::vector<uint8_t> Serialise() const;

    /// Sets a dataset: a text is replaced unless `repeated`, a list gets the value if it is not
    /// there, a dataset without a field goes to `extended`. An empty value clears a text and
    /// removes an extended dataset. True when something was stored.
    bool SetDataset(uint8_t dataset, std::string value, bool repeated = false);
    /// Puts a value at a place of a list, which is lengthened with empty texts when it must be, or
    /// with a negative index at its end. A value that is in the list already is ignored.
    static bool SetListItem(int index, std::string value, List& list);
    /// The number of a dataset by its name, such as "By-line", in upper or lower case.
    static std::optional<uint8_t> DatasetByName(std::string_view name);

    /// A line for each value: label, separator, value, line end.
    [[nodiscard]] WideString AsText(WideView separator, WideView lineEnd) const;

    Text ObjectType;
    List ObjectAttribute;
    Text ObjectName;
    Text EditStatus;
    Text EditorialUpdate;
    Text Urgency;
    List SubjectReference;
    Text Category;
    List SupplementalCategory;
    Text FixtureIdentifier;
    List Keywords;
    List LocationCode;
    List LocationName;
    Text ReleaseDate;
    Text ReleaseTime;
    Text ExpirationDate;
    Text ExpirationTime;
    Text SpecialInstructions;
    Text ActionAdvised;
    List ReferenceService;
    List ReferenceDate;
    List ReferenceNumber;
    Text DateCreated;
    Text TimeCreated;
    Text DigitalCreationDate;
    Text DigitalCreationTime;
    Text OriginatingProgram;
    Text ProgramVersion;
    Text ObjectCycle;
    List ByLine;
    List ByLineTitle;
    Text City;
    Text SubLocation;
    Text ProvinceState;
    Text CountryCode;
    Text CountryName;
    Text TransmissionReference;
    Text Headline;
    Text Credit;
    Text Source;
    Text CopyrightNotice;
    List Contact;
    Text Caption;
    List WriterEditor;
    Text ImageType;
    Text ImageOrientation;
    Text LanguageIdentifier;
    Text History;

    /// Datasets without a field, in the order in which they came.
    std::vector<std::pair<uint8_t, std::string>> extended;
};

}  // namespace kestr
