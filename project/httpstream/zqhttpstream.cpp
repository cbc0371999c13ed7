#include "zq/httpstream/zqhttpstream.h"

ZQHttpStream::~ZQHttpStream() = default;

void ZQHttpStream::SetFormat(WebContentFormat::EFormat eFormat) {
    setContentType(WebContentFormat::getContentType(eFormat), eFormat);
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
    setContentType(sContentType, WebContentFormat::fromContentType(sContentType));
}

void ZQHttpStream::setContentType(const ZQWString& sContentType, WebContentFormat::EFormat eFormat) {
    m_tInternals.sContentType = sContentType;
    m_tInternals.eFormat = eFormat;
    setContentTypeHook(sContentType);
}

const Handle<const FeatureTable>& ZQHttpStream::getFeatureTable() const noexcept {
    return m_tInternals.hFeatureTable.isNull() ? FeatureTable::getGlobal() : m_tInternals.hFeatureTable;
}
