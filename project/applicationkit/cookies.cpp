#include "zq/applicationkit/cookies.h"

#include <algorithm>
#include <stdexcept>

#include "zq/foundation/nocasecompareless.h"

namespace kit {

namespace {

/// What RFC 6265 section 6.1 asks every browser to take.
constexpr std::size_t knMostBytes = 4096;

/// tchar (RFC 9110 section 5.6.2).
bool isTokenByte(char c) noexcept {
    constexpr std::string_view ksSeparators = "\"(),/:;<=>?@[\\]{}";
    return c > 0x20 && c < 0x7F && ksSeparators.find(c) == ksSeparators.npos;
}

/// cookie-octet (RFC 6265 section 4.1.1).
bool isCookieOctet(char c) noexcept {
    return c > 0x20 && c < 0x7F && c != '"' && c != ',' && c != ';' && c != '\\';
}

/// av-octet.
bool isAttributeOctet(char c) noexcept {
    return c >= 0x20 && c < 0x7F && c != ';';
}

void require(bool bHolds, std::string_view sName, const char* pWhat) {
    if (!bHolds) throw std::invalid_argument("the cookie \"" + std::string(sName) + "\" " + pWhat);
}

std::string_view withoutSpace(std::string_view s) noexcept {
    const std::size_t nFirst = s.find_first_not_of(" \t");
    return nFirst == s.npos ? std::string_view() : s.substr(nFirst, s.find_last_not_of(" \t") + 1 - nFirst);
}

std::string_view withoutQuotes(std::string_view s) noexcept {
    return s.size() >= 2 && s.front() == '"' && s.back() == '"' ? s.substr(1, s.size() - 2) : s;
}

bool isSecureRequest(ZQHttpStream& rStream) {
    ZQWString sHttps;
    return rStream.GetServerVariable("HTTPS", sHttps) && sHttps == L"on";
}

/// Header text is one byte in each character.
std::string toBytes(const ZQWString& sHeader) {
    std::string sBytes;
    for (const wchar_t c : sHeader.view())
        sBytes += static_cast<char>(c);
    return sBytes;
}

const char* toText(Cookies::ESameSite e) noexcept {
    return e == Cookies::ESameSite::kStrict ? "Strict" : e == Cookies::ESameSite::kLax ? "Lax" : "None";
}

}  // namespace

Cookies::Cookies(ZQHttpStream& rStream) {
    tl::vector<ZQWString> tFields;
    rStream.getRequestHeaders(L"Cookie", tFields);
    for (const ZQWString& sField : tFields) {
        const std::string sBytes = toBytes(sField);
        for (std::string_view sRest = sBytes; !sRest.empty();) {
            const std::string_view sPair = sRest.substr(0, sRest.find(';'));
            sRest.remove_prefix(std::min(sPair.size() + 1, sRest.size()));
            const std::size_t nEqual = sPair.find('=');
            if (nEqual == sPair.npos) continue;
            m_tPairs.emplace_back(withoutSpace(sPair.substr(0, nEqual)),
                                  withoutSpace(sPair.substr(nEqual + 1)));
        }
    }
}

const std::string* Cookies::find(std::string_view sName) const noexcept {
    const auto it = std::ranges::find_if(m_tPairs, [sName](const auto& r) { return r.first == sName; });
    return it == m_tPairs.end() ? nullptr : &it->second;
}

std::string Cookies::get(std::string_view sName, const std::string& sDefault) const {
    const std::string* const p = find(sName);
    return p ? *p : sDefault;
}

void Cookies::set(ZQHttpStream& rStream, std::string_view sName, std::string_view sValue,
                  const Attributes& r) {
    // Browsers take these prefixes in any case.
    const bool bHost = startsWithNoCase(fromUtf8(sName), L"__Host-");
    const bool bMustBeSecure =
        bHost || r.eSameSite == ESameSite::kNone || startsWithNoCase(fromUtf8(sName), L"__Secure-");
    require(!sName.empty() && std::ranges::all_of(sName, isTokenByte), sName, "has no token for a name");
    require(std::ranges::all_of(withoutQuotes(sValue), isCookieOctet), sName, "has other than cookie-octets");
    require(r.sPath.starts_with('/') && std::ranges::all_of(r.sPath, isAttributeOctet), sName,
            "has no such path");
    require(std::ranges::all_of(r.sDomain, isAttributeOctet), sName, "has no such domain");
    require(!bMustBeSecure || r.eSecure != ESecure::kNever, sName, "must be Secure");
    require(!bHost || (r.sPath == "/" && r.sDomain.empty()), sName, "is for the whole of one host");

    std::string sField = std::string(sName) + '=';
    sField.append(sValue).append("; Path=").append(r.sPath);
    if (!r.sDomain.empty()) sField.append("; Domain=").append(r.sDomain);
    if (r.tMaxAge) {
        // A digit first: RFC 6265 section 4.1.1 has no other Max-Age, and old browsers know only Expires.
        sField += "; Max-Age=" + std::to_string(std::max<long long>(r.tMaxAge->count(), 0));
        if (r.tMaxAge->count() <= 0) sField += "; Expires=Thu, 01 Jan 1970 00:00:00 GMT";
    }
    if (r.eSecure == ESecure::kAlways || bMustBeSecure ||
        (r.eSecure == ESecure::kAsRequested && isSecureRequest(rStream)))
        sField += "; Secure";
    if (r.bHttpOnly) sField += "; HttpOnly";
    sField.append("; SameSite=").append(toText(r.eSameSite));
    require(sField.size() <= knMostBytes, sName, "is too long");
    rStream.AddHeader(L"Set-Cookie", fromUtf8(sField));
}

void Cookies::set(ZQHttpStream& rStream, std::string_view sName, std::string_view sValue) {
    set(rStream, sName, sValue, Attributes());
}

void Cookies::remove(ZQHttpStream& rStream, std::string_view sName, const Attributes& rAttributes) {
    Attributes tAttributes = rAttributes;
    tAttributes.tMaxAge = std::chrono::seconds(0);
    set(rStream, sName, {}, tAttributes);
}

void Cookies::remove(ZQHttpStream& rStream, std::string_view sName) {
    remove(rStream, sName, Attributes());
}

}  // namespace kit
