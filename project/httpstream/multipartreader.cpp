#include "zq/httpstream/multipartreader.h"

#include <algorithm>
#include <limits>

#include "multipartheaders.h"
#include "multipartscanner.h"
#include "zq/foundation/encodingcopy.h"
#include "zq/foundation/utf8text.h"
#include "zq/httpstream/multiparterrors.h"
#include "zq/httpstream/multipartparsingutils.h"

namespace {

const ZQNarrowString s_ksContentDisposition("Content-Disposition");
const ZQWString s_ksFileName(L"filename");
constexpr std::size_t s_knNoLimit = std::numeric_limits<std::size_t>::max();

std::unique_ptr<MultipartScanner> makeScanner(const Handle<InputStream>& hInput, const ZQWString& sBoundary) {
    NarrowStringBuffer tBoundary;
    EncodingCopy<wchar_t, char>().encode(tBoundary, sBoundary);
    return std::make_unique<MultipartScanner>(hInput, tBoundary.view());
}

}  // namespace

MultipartReader::MultipartReader(const Handle<InputStream>& hInput, const ZQWString& sBoundary,
                                 const MultipartLimits::Values& rLimits)
    : m_tLimits(rLimits),
      m_pScanner(makeScanner(hInput, sBoundary)) {}

MultipartReader::~MultipartReader() = default;

std::size_t MultipartReader::nextPart(HeadersN& rHeaders) {
    rHeaders.clear();
    if (!m_pScanner->advance()) return knNoPart;
    const std::size_t nIndex = m_pScanner->countParts();
    if (nIndex >= m_tLimits.nMaxParts)
        ZQTHROW_prethrowProcessException(MultipartPartCountExceeded(m_tLimits.nMaxParts), true, ZQ_WFILE,
                                         __LINE__);
    const std::string_view sBlock = m_pScanner->readHeaderBlock(m_tLimits.nMaxHeaderBytesPerPart);
    if (!parsePartHeaders(sBlock, m_tLimits.nMaxHeadersPerPart, rHeaders))
        ZQTHROW_prethrowProcessException(
            MultipartHeaderCountExceeded(nIndex + 1, m_tLimits.nMaxHeadersPerPart), true, ZQ_WFILE, __LINE__);
    m_pScanner->endHeaders();
    const auto it = rHeaders.find(s_ksContentDisposition);
    m_sDisposition = it == rHeaders.end() ? ZQNarrowString() : it->second;
    m_nUntilLimit = m_tLimits.nMaxFieldBytes == 0 ? s_knNoLimit : m_tLimits.nMaxFieldBytes;
    return nIndex;
}

std::size_t MultipartReader::readPart(void* pBuffer, std::size_t nSize) {
    if (nSize == 0 || !m_pScanner->isInPart()) return 0;
    if (m_nUntilLimit == 0 && !m_pScanner->getContent().empty()) requireFile();
    const std::size_t nCount =
        m_pScanner->readContent(static_cast<char*>(pBuffer), std::min(nSize, m_nUntilLimit));
    m_nUntilLimit -= nCount;
    return nCount;
}

void MultipartReader::requireFile() {
    Headers tAttributes;
    MultipartParsingUtils::parseCompositeHeader(fromUtf8(m_sDisposition), tAttributes);
    if (!tAttributes.contains(s_ksFileName))
        ZQTHROW_prethrowProcessException(
            MultipartFieldBytesExceeded(m_pScanner->countParts(), m_tLimits.nMaxFieldBytes), true, ZQ_WFILE,
            __LINE__);
    m_nUntilLimit = s_knNoLimit;
}
