#include "zq/foundation/exception.h"

#include <atomic>

#include "zq/foundation/handle.h"
#include "zq/foundation/messageformatter.h"

namespace {
std::atomic<Exception::PrethrowReporter> s_pReporter{nullptr};
}  // namespace

Exception::Exception(const GDValue& rMessage) : m_tMessage(rMessage) {}
Exception::Exception(const Exception&) = default;
Exception::~Exception() = default;

void Exception::throwMe() const {
    throw Exception(*this);
}

Exception* Exception::clone() const {
    return new Exception(*this);
}

void Exception::setMsgInsert(unsigned int nIndex, const GDValue& rValue) {
    if (nIndex == 0 || nIndex > 9) return;
    if (m_tInserts.size() < nIndex) m_tInserts.resize(nIndex);
    m_tInserts[nIndex - 1] = rValue;
}

ZQWString Exception::getMessageText() const {
    StringBuffer tTemplate, tText;
    m_tMessage.appendTo(tTemplate);
    formatMessage(tText, tTemplate.view(), m_tInserts);
    return tText.toString();
}

void Exception::prethrowProcess(const Exception& rException, bool bLog, const wchar_t* pFile, int nLine) {
    rException.m_pThrowFile = pFile;
    rException.m_nThrowLine = nLine;
    const PrethrowReporter pReporter = s_pReporter.load(std::memory_order_acquire);
    if (bLog && pReporter) pReporter(rException);
}

Exception::PrethrowReporter Exception::setPrethrowReporter(PrethrowReporter pReporter) noexcept {
    return s_pReporter.exchange(pReporter, std::memory_order_acq_rel);
}

InvalidHandleException::InvalidHandleException() : ClonedException(GDString(L"A null handle was used.")) {}

void throwInvalidHandle() {
    ZQTHROW_prethrowProcessException(InvalidHandleException(), true, ZQ_WFILE, __LINE__);
}
