// The metadata that a codec of the system found, as a tree, and the records that are filled from
// it.
#pragma once

#include <memory>
#include <string>
#include <vector>

#include "metadata/exif_members.h"
#include "metadata/iptc_members.h"
#include "platform/system_codec.h"

namespace kestr::WicMetadata {

/// One key with its value.
struct CData {
    CCodecVariant key;
    CCodecVariant value;
};

/// One block of metadata.
struct CElement {
    ECodecBlock block = ECodecBlock::kOther;
    std::string name;  // of the reader that found it
    std::vector<std::shared_ptr<const CElement>> children;
    std::vector<std::shared_ptr<const CData>> data;
};
using CElements = std::vector<std::shared_ptr<const CElement>>;

/// Makes the tree of what it is told.
class CTreeBuilder final : public CCodecMetadataVisitor {
public:
    void BeginBlock(ECodecBlock block, std::string name) override;
    void Item(CCodecVariant key, CCodecVariant value) override;
    void EndBlock() override;
    [[nodiscard]] CElements Take() { return std::move(m_blocks); }

private:
    CElements m_blocks;
    std::vector<std::shared_ptr<CElement>> m_open;  // outermost first
};

/// Sets the fields of an EXIF record whose tags are in the tree's directories; whether there were
/// any.
bool FillExif(const CElements& blocks, CEXIF_Members& record);
/// Replaces an IPTC record by what the tree has for one; whether it had anything. Keys are names of
/// datasets, in upper or lower case, or their numbers. Bytes of a directory's IPTC tags count too.
bool FillIPTC(const CElements& blocks, CIPTC_Members& record);

}  // namespace kestr::WicMetadata
