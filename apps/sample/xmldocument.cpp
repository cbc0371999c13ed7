#include "xmldocument.h"

namespace sample {

namespace {

/// Hands what pugixml writes to the stream, as it comes.
class StreamWriter final : public pugi::xml_writer {
public:
    explicit StreamWriter(ZQHttpStream& rStream) noexcept : m_rStream(rStream) {}
    void write(const void* pData, std::size_t nSize) override { m_rStream.writeBinary(pData, nSize); }

private:
    ZQHttpStream& m_rStream;
};

}  // namespace

bool parseXml(pugi::xml_document& rDocument, std::string_view sXml, std::wstring& rReason) {
    const pugi::xml_parse_result tResult = rDocument.load_buffer(sXml.data(), sXml.size());
    if (tResult && rDocument.document_element()) return true;
    rReason = tResult ? L"there is no element" : pugi::as_wide(tResult.description());
    return false;
}

void sendXml(ZQHttpStream& rStream, const pugi::xml_document& rDocument, const wchar_t* pContentType) {
    rStream.SetContentType(pContentType);
    rStream.setExpireSeconds(0);
    StreamWriter tWriter(rStream);
    rDocument.save(tWriter, "  ");
}

std::string_view localName(const pugi::xml_node& rNode) {
    const std::string_view sName = rNode.name();
    return sName.substr(sName.find(':') + 1);
}

}  // namespace sample
