#include "zq/httpstream/zqhttpstream.h"

ZQHttpStream::~ZQHttpStream() = default;

void ZQHttpStream::SetFormat(WebContentFormat::EFormat eFormat) {
    SetContentType(WebContentFormat::getContentType(eFormat));
    m_tInternals.eFormat = eFormat;
}

WebContentFormat::EFormat ZQHttpStream::GetFormat() const {
    return m_tInternals.eFormat;
}

HttpStreamInternals& ZQHttpStream::GetInternals() {
    return m_tInternals;
}

const HttpStreamInternals& ZQHttpStream::GetInternals() const {
    return m_tInternals;
}

void ZQHttpStream::setContentTypeHook(const ZQWString&) {}

bool ZQHttpStream::GetRequestHeader(const ZQWString& sName, ZQWString& rValue) {
    rValue = ZQWString();
    return getRequestHeader(sName, rValue);
}

void ZQHttpStream::SetContentType(const ZQWString& sContentType) {
    m_tInternals.sContentType = sContentType;
    m_tInternals.eFormat = WebContentFormat::fromContentType(sContentType);
    setContentTypeHook(sContentType);
}

const Handle<const FeatureTable>& ZQHttpStream::getFeatureTable() const noexcept {
    return m_tInternals.hFeatureTable.isNull() ? FeatureTable::getGlobal() : m_tInternals.hFeatureTable;
}
