#include "metadata/wic_metadata.h"

namespace kestr::WicMetadata {

void CTreeBuilder::BeginBlock(ECodecBlock block, std::string name) {
    auto element = std::make_shared<CElement>();
    element->block = block;
    element->name = std::move(name);
    (m_open.empty() ? m_blocks : m_open.back()->children).push_back(element);
    m_open.push_back(std::move(element));
}

void CTreeBuilder::Item(CCodecVariant key, CCodecVariant value) {
    if (m_open.empty()) return;
    m_open.back()->data.push_back(
        std::make_shared<const CData>(CData{std::move(key), std::move(value)}));
}

void CTreeBuilder::EndBlock() {
    if (!m_open.empty()) m_open.pop_back();
}

}  // namespace kestr::WicMetadata
