#pragma once

#include <pugixml.hpp>
#include <string_view>

#include "zq/httpstream/zqhttpstream.h"

namespace sample {

/// Reads a whole XML document: in UTF-8, UTF-16 or ISO-8859-1, as it says itself. False: it is not
/// well-formed, and rReason says why. Entities of its own are not expanded, so that a small document stays
/// small.
bool parseXml(pugi::xml_document& rDocument, std::string_view sXml, std::wstring& rReason);

/// Answers with an XML document, in UTF-8.
void sendXml(ZQHttpStream& rStream, const pugi::xml_document& rDocument, const wchar_t* pContentType);

/// The name of an element without its namespace's prefix.
std::string_view localName(const pugi::xml_node& rNode);

}  // namespace sample
