#include "http/responsehead.h"

#include <algorithm>
#include <span>
#include <string>

#include "http/byteclass.h"
#include "http/fieldtext.h"
#include "http/reasonphrase.h"

namespace webcontainer {

namespace {

constexpr std::string_view s_ksFramingFields[] = {"Connection", "Content-Length", "Keep-Alive",
                                                  "Transfer-Encoding", "Upgrade"};
constexpr std::string_view s_ksBodyFields[] = {"Content-Type",  "Content-Encoding", "Content-Disposition",
                                               "Content-Range", "Last-Modified",    "ETag"};
constexpr std::string_view s_ksEndOfLine = "\r\n";

bool isIn(std::span<const std::string_view> tNames, std::string_view sName) {
    return std::any_of(tNames.begin(), tNames.end(),
                       [sName](std::string_view s) { return equalsNoCase(s, sName); });
}

bool isControl(char c) {
    return !isOf(kValueByte, c);
}

void appendField(NarrowStringBufferBase& rBuffer, std::string_view sName, std::string_view sValue) {
    rBuffer.append(sName);
    rBuffer.append(": ");
    rBuffer.append(sValue);
    rBuffer.append(s_ksEndOfLine);
}

void appendFraming(NarrowStringBufferBase& rBuffer, const ResponseLine& rLine) {
    if (rLine.eFraming == EResponseFraming::kChunked) rBuffer.append("Transfer-Encoding: chunked\r\n");
    if (rLine.eFraming != EResponseFraming::kLength) return;
    rBuffer.append("Content-Length: ");
    appendDecimal(rBuffer, rLine.nLength);
    rBuffer.append(s_ksEndOfLine);
}

}  // namespace

ResponseHead::EAdded ResponseHead::addField(std::string_view sName, std::string_view sValue) {
    if (!isAllOf(kTokenByte, sName) || isIn(s_ksFramingFields, sName)) return EAdded::kDropped;
    m_bHasDate = m_bHasDate || equalsNoCase(sName, "Date");
    if (std::none_of(sValue.begin(), sValue.end(), isControl)) {
        appendField(m_tFields, sName, sValue);
        return EAdded::kAdded;
    }
    std::string sClean(sValue);
    std::replace_if(sClean.begin(), sClean.end(), isControl, ' ');
    appendField(m_tFields, sName, sClean);
    return EAdded::kCleaned;
}

void ResponseHead::clear() noexcept {
    m_tFields.clear();
    m_bHasDate = false;
}

void ResponseHead::removeBodyFields() noexcept {
    for (const std::string_view sName : s_ksBodyFields)
        removeFields(sName);
}

void ResponseHead::removeFields(std::string_view sName) noexcept {
    for (std::size_t nLine = 0; nLine < m_tFields.length();) {
        const std::string_view sRest = m_tFields.view().substr(nLine);
        const std::size_t nLength = sRest.find(s_ksEndOfLine) + s_ksEndOfLine.size();
        if (equalsNoCase(sRest.substr(0, sRest.find(':')), sName))
            m_tFields.erase(nLine, nLength);
        else
            nLine += nLength;
    }
}

void ResponseHead::append(NarrowStringBufferBase& rBuffer, const ResponseLine& rLine,
                          std::string_view sDate) const {
    rBuffer.append("HTTP/1.1 ");
    appendDecimal(rBuffer, rLine.nStatus);
    rBuffer.append(' ');
    rBuffer.append(getReasonPhrase(rLine.nStatus));
    rBuffer.append(s_ksEndOfLine);
    if (!m_bHasDate) appendField(rBuffer, "Date", sDate);
    appendFraming(rBuffer, rLine);
    if (!rLine.bKeepAlive)
        rBuffer.append("Connection: close\r\n");
    else if (rLine.bSayKeepAlive)
        rBuffer.append("Connection: keep-alive\r\n");
    rBuffer.append(m_tFields.view());
    rBuffer.append(s_ksEndOfLine);
}

}  // namespace webcontainer
