#include "zq/httpstream/unicodehttpstream.h"

namespace {

EUnmappable unmappableFor(WebContentFormat::EFormat eFormat) noexcept {
    const bool bMarkup = eFormat == WebContentFormat::kHTML || eFormat == WebContentFormat::kXML;
    return bMarkup ? EUnmappable::kCharacterReference : EUnmappable::kQuestionMark;
}

/// Everything that was said about the response, but for the lists that have flags of their own.
void clearDescription(HttpStreamInternals& r) {
    HttpStreamInternals tFresh;
    tFresh.hFeatureTable = r.hFeatureTable;
    tFresh.tOnLoadFunctions.swap(r.tOnLoadFunctions);
    tFresh.tResourceRefs.swap(r.tResourceRefs);
    r = std::move(tFresh);
}

}  // namespace

UnicodeHttpStream::UnicodeHttpStream(const Handle<GDExpressionEvaluator>& hExpressionEvaluator)
    : m_hEvaluator(hExpressionEvaluator) {}

UnicodeHttpStream::~UnicodeHttpStream() = default;

void UnicodeHttpStream::addChars(const wchar_t* pText, std::size_t nLength) {
    if (!m_bDead) m_tText.append({pText, nLength});
}

void UnicodeHttpStream::writeBinary(const void* pData, std::size_t nLength) {
    if (!m_bDead) m_tBytes.append(static_cast<const char*>(pData), nLength);
}

void UnicodeHttpStream::Reset(EResetFlag eResetFlag) {
    if (eResetFlag & kClearBuffer) {
        m_tText.clear();
        m_tBytes.clear();
        m_bTextMarked = false;
    }
    if (eResetFlag & kClearResourceRefs) ResourceRefs().clear();
    if (eResetFlag & kClearHeader) clearDescription(GetInternals());
    if (eResetFlag & kClearStatusCode) setStatusCode(200);
    if (eResetFlag & kClearOnLoadFunc) WindowOnLoadFunctions().clear();
}

void UnicodeHttpStream::markText(std::string_view sMark) {
    if (m_bTextMarked) return;
    m_tBytes.append(sMark);
    m_bTextMarked = true;
}

void UnicodeHttpStream::transformUnicodeBuffer() {
    const Handle<const CharacterSet> hCharset = GetOutputCharsetHandle();
    if (!m_tEncoder || !m_tEncoder->isFor(*hCharset)) {
        finishUnicodeText();
        m_tEncoder.emplace(hCharset);
    }
    m_tEncoder->setUnmappable(unmappableFor(GetFormat()));
    if (hCharset->getKind() == CharacterSet::EKind::kUtf8)
        m_tText.moveTo(m_tBytes);
    else
        m_tText.encodeTo(m_tBytes, *m_tEncoder);
}

void UnicodeHttpStream::finishUnicodeText() {
    if (m_tEncoder) m_tEncoder->finish(m_tBytes);
}
