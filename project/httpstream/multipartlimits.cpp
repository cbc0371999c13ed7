#include "zq/httpstream/multipartlimits.h"

namespace {

constexpr wchar_t s_ksMaxHeaderBytesPerPart[] = L"Multipart/MaxHeaderBytesPerPart";
constexpr wchar_t s_ksMaxHeadersPerPart[] = L"Multipart/MaxHeadersPerPart";
constexpr wchar_t s_ksMaxParts[] = L"Multipart/MaxParts";
constexpr wchar_t s_ksMaxFieldBytes[] = L"Multipart/MaxFieldBytes";
/// Part numbers are handed on as int.
constexpr unsigned int s_knMostCount = 0x7FFFFFFF;

void readValue(const ConfigReader& rReader, const wchar_t* pKey, unsigned int nLeast, unsigned int nMost,
               unsigned int& rnValue) {
    rnValue = rReader.getConfigValue(pKey, rnValue, nLeast, nMost);
}

constinit MultipartLimits::Values s_tDefaults;
MultipartLimits s_tLimits;

}  // namespace

MultipartLimits::MultipartLimits() : m_tConfig(kConfigDontSupportReload) {
    m_tConfig.init(this);
}

bool MultipartLimits::loadConfig(const ConfigReader& rReader, EConfig) {
    Values tValues = s_tDefaults;
    readValue(rReader, s_ksMaxHeaderBytesPerPart, 1, s_knMostHeaderBytes, tValues.nMaxHeaderBytesPerPart);
    readValue(rReader, s_ksMaxHeadersPerPart, 1, s_knMostCount, tValues.nMaxHeadersPerPart);
    readValue(rReader, s_ksMaxParts, 1, s_knMostCount, tValues.nMaxParts);
    readValue(rReader, s_ksMaxFieldBytes, 0, s_knMostCount, tValues.nMaxFieldBytes);
    m_tValues = tValues;
    return true;
}

const MultipartLimits::Values& MultipartLimits::get() noexcept {
    return s_tLimits.getValues();
}

void MultipartLimits::setDefaults(const Values& rDefaults) noexcept {
    s_tDefaults = rDefaults;
}
