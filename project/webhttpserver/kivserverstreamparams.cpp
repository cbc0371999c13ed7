// Multipart parameters: each call fills the application's record with the next part.

#include "stdafx.h"

#include "inputonhttpstream.h"
#include "kivserverstream.h"

#include <optional>

#include "zq/foundation/i18nutils.h"
#include "zq/foundation/utf8text.h"
#include "zq/httpstream/httputils.h"
#include "zq/httpstream/multipartparsingutils.h"
#include "zq/webhttpserverproxy/multipartstream.h"

namespace kiv {

namespace {

const ZQNarrowString s_ksContentDisposition("Content-Disposition");
const ZQNarrowString s_ksContentTypeN("Content-Type");
const ZQWString s_ksContentTypeW(L"Content-Type");
const ZQWString ks_boundary(L"boundary");
const ZQWString ks_filename(L"filename");
const ZQWString ks_name(L"name");

/// The value of a part's header as text, always UTF-8 (RFC 7578 section 5.1); empty when it has none.
ZQWString headerText(const HeadersN& rHeaders, const ZQNarrowString& sName) {
    const auto it = rHeaders.find(sName);
    return it == rHeaders.end() ? ZQWString() : fromUtf8(it->second);
}

ZQWString attribute(const Headers& rAttributes, const ZQWString& sName) {
    const auto it = rAttributes.find(sName);
    return it == rAttributes.end() ? ZQWString() : it->second;
}

/// What stands behind the last slash or backslash: browsers once sent whole paths (RFC 7578 section 4.2).
ZQWString withoutDirectory(const ZQWString& sPath) {
    const std::wstring_view s = sPath.view();
    const std::size_t nSeparator = s.find_last_of(L"/\\");
    return nSeparator == s.npos ? sPath : ZQWString(s.substr(nSeparator + 1));
}

ZQNarrowString readAll(InputStream& rStream) {
    constexpr std::size_t knChunk = 512;
    NarrowStringBuffer tRaw;
    char tChunk[knChunk];
    while (const std::size_t nRead = rStream.readBytes(tChunk, knChunk))
        tRaw.append(tChunk, nRead);
    return tRaw.toString();
}

void readFieldValue(ZQHttpStream::Param& rParam, const Transcoding& rTranscoding) {
    if (rParam.hStream.isNull())
        debug_tools::Assertion::handleFailure(debug_tools::Assertion::kAssert, L"!rParam.hStream.isNull()",
                                              ZQ_WFILE, __LINE__);
    // What is not needed any more goes first: values may be large, and text is four times the size of bytes.
    rParam.sParamValue = ZQWString();
    HttpUtils::convertHttpInputToUnicode(rTranscoding, rParam.sParamName, readAll(*rParam.hStream),
                                         rParam.sParamValue);
}

void populateParam(ZQHttpStream::Param& rParam, const HeadersN& rHeaders,
                   const Handle<const CharacterSet>& hCharset) {
    TWLogger& rLogger = TWLogger::getLogger();
    const TWLoggerPushSource tPushSource(rLogger, kPopulateParam);
    std::optional<UniversalTranscoding> tOfCharset;
    if (!hCharset.isNull())
        tOfCharset.emplace(hCharset);
    else if (rLogger.calcEnabledWriters(kSevWarning))
        rLogger.logToEnabledWriters(
            kSevWarning, GDStringRef(L"A charset was not specified. Falling back to utf-8"), ZQ_LOG_LOCATION);
    const Transcoding& rTranscoding =
        tOfCharset ? static_cast<const Transcoding&>(*tOfCharset) : I18NUtils::kUTF8;

    Headers tAttributes;
    MultipartParsingUtils::parseCompositeHeader(headerText(rHeaders, s_ksContentDisposition), tAttributes);
    if (tAttributes.contains(ks_filename)) {
        rParam.sFileName = withoutDirectory(attribute(tAttributes, ks_filename));
        rParam.eValue = ZQHttpStream::Param::kUseStream;
        rParam.sParamName = attribute(tAttributes, ks_name);
    } else if (tAttributes.contains(ks_name)) {
        rParam.sParamName = attribute(tAttributes, ks_name);
        rParam.eValue = ZQHttpStream::Param::kUseString;
        readFieldValue(rParam, rTranscoding);
    } else {
        debug_tools::Assertion::handleFailure(debug_tools::Assertion::kAssert, L"false", ZQ_WFILE, __LINE__);
    }
    rParam.sParamContentType = headerText(rHeaders, s_ksContentTypeN);
}

}  // namespace

int KIVServerHttpStream::getFirstParam(Param& rParam, const Handle<const CharacterSet>& hCharset) {
    ZQWString sContentType;
    getRequestHeader(s_ksContentTypeW, sContentType);
    Headers tAttributes;
    MultipartParsingUtils::parseCompositeHeader(sContentType, tAttributes);
    const Handle<InputStream> hBody(new InputOnHttpStream(*this));
    m_hMultipartReader = makeHandle<MultipartReader>(hBody, attribute(tAttributes, ks_boundary));
    HeadersN tHeaders;
    const std::size_t nResult = m_hMultipartReader->nextPart(tHeaders);
    rParam.hStream = Handle<InputStream>(new MultipartStream(*m_hMultipartReader));
    populateParam(rParam, tHeaders, hCharset);
    return rParam.sParamName.empty() ? -1 : static_cast<int>(nResult);
}

int KIVServerHttpStream::getNextParam(Param& rParam, const Handle<const CharacterSet>& hCharset) {
    HeadersN tHeaders;
    const std::size_t nResult = m_hMultipartReader->nextPart(tHeaders);
    if (nResult == MultipartReader::knNoPart) return -1;
    populateParam(rParam, tHeaders, hCharset);
    return rParam.sParamName.empty() ? -1 : static_cast<int>(nResult);
}

}  // namespace kiv
