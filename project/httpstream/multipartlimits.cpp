#include "zq/httpstream/multipartlimits.h"

#include "zq/services/setting.h"

namespace {

/// Part numbers are handed on as int.
constexpr unsigned int s_knMostCount = 0x7FFFFFFF;
constexpr MultipartLimits::Values s_tUsual;

const Setting s_tMaxHeaderBytesPerPart(numberSetting(
    L"Multipart/MaxHeaderBytesPerPart", "bytes", s_tUsual.nMaxHeaderBytesPerPart, 1,
    MultipartLimits::s_knMostHeaderBytes,
    "header lines of each part, line ends included: room for a long file name and some more headers",
    "MultipartHeaderBytesExceeded"));
const Setting s_tMaxHeadersPerPart(numberSetting(L"Multipart/MaxHeadersPerPart", "fields",
                                                 s_tUsual.nMaxHeadersPerPart, 1, s_knMostCount,
                                                 "header fields of each part; browsers send at most three",
                                                 "MultipartHeaderCountExceeded"));
const Setting s_tMaxParts(numberSetting(
    L"Multipart/MaxParts", "parts", s_tUsual.nMaxParts, 1, s_knMostCount,
    "parts of each body: applications keep fields in memory, and pay for each one, however small",
    "MultipartPartCountExceeded"));
const Setting s_tMaxFieldBytes(numberSetting(
    L"Multipart/MaxFieldBytes", "bytes", MultipartLimits::s_knServersMaxFieldBytes, 0, s_knMostCount,
    "content of each part that is no file: applications hold it in memory; 0: no limit",
    "MultipartFieldBytesExceeded"));

unsigned int readValue(const ConfigReader& rReader, const Setting& rSetting, unsigned int nDefault) {
    return rReader.getConfigValue(rSetting.pKey, nDefault, rSetting.nLeast, rSetting.nMost);
}

constinit MultipartLimits::Values s_tDefaults;
MultipartLimits s_tLimits;

}  // namespace

MultipartLimits::MultipartLimits() : m_tConfig(kConfigDontSupportReload) {
    m_tConfig.init(this);
}

bool MultipartLimits::loadConfig(const ConfigReader& rReader, EConfig) {
    const Values tValues{
        .nMaxHeaderBytesPerPart =
            readValue(rReader, s_tMaxHeaderBytesPerPart, s_tDefaults.nMaxHeaderBytesPerPart),
        .nMaxHeadersPerPart = readValue(rReader, s_tMaxHeadersPerPart, s_tDefaults.nMaxHeadersPerPart),
        .nMaxParts = readValue(rReader, s_tMaxParts, s_tDefaults.nMaxParts),
        .nMaxFieldBytes = readValue(rReader, s_tMaxFieldBytes, s_tDefaults.nMaxFieldBytes),
    };
    m_tValues = tValues;
    return true;
}

const MultipartLimits::Values& MultipartLimits::get() noexcept {
    return s_tLimits.getValues();
}

void MultipartLimits::setDefaults(const Values& rDefaults) noexcept {
    s_tDefaults = rDefaults;
}
