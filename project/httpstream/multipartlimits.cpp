#include "zq/httpstream/multipartlimits.h"

namespace {

constexpr wchar_t s_ksMaxHeaderBytesPerPart[] = L"Multipart/MaxHeaderBytesPerPart";
constexpr wchar_t s_ksMaxHeadersPerPart[] = L"Multipart/MaxHeadersPerPart";
constexpr wchar_t s_ksMaxParts[] = L"Multipart/MaxParts";
constexpr wchar_t s_ksMaxFieldBytes[] = L"Multipart/MaxFieldBytes";
/// Part numbers are handed on as int.
constexpr unsigned int s_knMostCount = 0x7FFFFFFF;

void readValue(const ConfigReader& rReader, const wchar_t* pKey, unsigned int nMost, unsigned int& rnValue) {
    const unsigned int nValue = rReader.getConfigValue(pKey, rnValue);
    if (nValue == 0 || nValue > nMost) {
        StringBuffer tWhat;
        tWhat.append(L"write a number from 1 to ");
        appendDecimal(tWhat, nMost);
        rReader.throwBadValue(pKey, tWhat.toString());
    }
    rnValue = nValue;
}

MultipartLimits s_tLimits;

}  // namespace

MultipartLimits::MultipartLimits() : m_tConfig(kConfigDontSupportReload) {
    m_tConfig.init(this);
}

bool MultipartLimits::loadConfig(const ConfigReader& rReader, EConfig) {
    Values tValues;
    readValue(rReader, s_ksMaxHeaderBytesPerPart, s_knMostHeaderBytes, tValues.nMaxHeaderBytesPerPart);
    readValue(rReader, s_ksMaxHeadersPerPart, s_knMostCount, tValues.nMaxHeadersPerPart);
    readValue(rReader, s_ksMaxParts, s_knMostCount, tValues.nMaxParts);
    readValue(rReader, s_ksMaxFieldBytes, s_knMostCount, tValues.nMaxFieldBytes);
    m_tValues = tValues;
    return true;
}

const MultipartLimits::Values& MultipartLimits::get() noexcept {
    return s_tLimits.getValues();
}
