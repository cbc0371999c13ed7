#include "serveraddress.h"

#include <string_view>

#include "zq/httpstream/servervariables.h"

namespace sample {

namespace {

constexpr std::wstring_view s_ksPlain =
    L"ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789-._[]:";

std::wstring getVariable(ZQHttpStream& rStream, const char* pName) {
    ZQWString sValue;
    rStream.GetServerVariable(pName, sValue);
    return std::wstring(sValue.view());
}

}  // namespace

std::wstring getServerAddress(ZQHttpStream& rStream) {
    const bool bSecure = getVariable(rStream, ServerVariable::kHttps) == L"on";
    const std::wstring sScheme = bSecure ? L"https://" : L"http://";
    const std::wstring sHost = getVariable(rStream, "HTTP_HOST");
    const std::wstring sPort = getVariable(rStream, ServerVariable::kServerPort);
    std::wstring sName = getVariable(rStream, ServerVariable::kServerName);
    if (sName.empty() || sName.find_first_not_of(s_ksPlain) != sName.npos) sName = L"localhost";
    // The client's own words, unless a proxy was asked for another host: they have the port that leads here.
    if (sHost == sName || sHost.starts_with(sName + L":")) return sScheme + sHost;
    const bool bDefault = sPort == (bSecure ? L"443" : L"80");
    return sScheme + sName + (bDefault || sPort == L"0" ? L"" : L":" + sPort);
}

}  // namespace sample
