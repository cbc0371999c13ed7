#include "stdafx.h"

#include "filenameencoding.h"

#include <array>

#include "zq/foundation/encodingbase64.h"
#include "zq/foundation/encodingcopy.h"
#include "zq/foundation/encodingurl.h"
#include "zq/foundation/encodingutf8.h"

namespace kiv {

namespace {

constexpr std::string_view s_kpInvalidChars = "\\/:*?\"<>|;#";
constexpr char s_kcReplacement = '_';
constexpr std::size_t npos = static_cast<std::size_t>(-1);

/// What each character up to 0x7E becomes.
constexpr std::array<char, 256> s_kpCharMap = [] {
    std::array<char, 256> tMap{};
    for (std::size_t n = 0; n < tMap.size(); ++n)
        tMap[n] = n < 0x20 ? s_kcReplacement : static_cast<char>(n);
    for (char c : s_kpInvalidChars)
        tMap[static_cast<unsigned char>(c)] = s_kcReplacement;
    return tMap;
}();

const W2NEncodingURL kUrlEncoder(W2NEncodingURL::kNotEncodeReservedChars);
const B2NEncodingBase64 kBase64Encoder;
const W2NEncodingUTF8 kUtf8Encoder;
const EncodingCopy<wchar_t, char> s_ktW2NEncodingHttpHeader;

/// A file name on its way into a header: its characters mapped, and what the shortening needs to know.
struct SafeName {
    StringBuffer tText;
    std::size_t nDotPos = npos;  ///< the last dot, or npos when there is none or it has been cut away
    bool bInvalid = false;       ///< some character needs encoding
};

void mapCharacters(SafeName& rName, std::wstring_view sFilename) {
    for (wchar_t ch : sFilename) {
        // Compared unsigned: a negative character is far above 0x7E.
        if (static_cast<unsigned>(ch) > 0x7E) {
            rName.tText.append(ch);
            rName.bInvalid = true;
            continue;
        }
        if (ch == L'.') rName.nDotPos = rName.tText.length();
        rName.tText.append(static_cast<wchar_t>(s_kpCharMap[static_cast<unsigned char>(ch)]));
    }
}

/// Shortens rBuffer to nNewSize characters: in front of the dot while at least one character stays there,
/// else at the end, and then the dot no longer counts.
void truncateFilename(StringBuffer& rBuffer, std::size_t nNewSize, std::size_t& nDotPos) {
    const std::size_t nLen = rBuffer.length();
    if (nNewSize >= nLen) return;
    const std::size_t nToErase = nLen - nNewSize;
    if (nDotPos != npos && nToErase < nDotPos) {
        nDotPos -= nToErase;
        rBuffer.erase(nDotPos, nToErase);
    } else {
        rBuffer.truncate(nNewSize);
        nDotPos = npos;
    }
}

void encodeName(NarrowStringBufferBase& rEncoded, std::wstring_view sName, bool bRFC2047) {
    rEncoded.clear();
    if (!bRFC2047) {
        kUrlEncoder.encode(rEncoded, sName);
        return;
    }
    NarrowStringBuffer tTemp;
    kUtf8Encoder.encode(tTemp, sName);
    B2NEncodingBase64::State tState;
    kBase64Encoder.update(tState, rEncoded, tTemp.view());
    kBase64Encoder.finalize(tState, rEncoded);
}

/// The number of characters that are likely to fit when nLen of them took nEncLen bytes; below nLen whenever
/// nMaxEncLen is below nEncLen, so that every pass shortens the name.
std::size_t scaledLength(std::size_t nLen, std::size_t nMaxEncLen, std::size_t nEncLen) {
    const double q = static_cast<double>(nMaxEncLen) / static_cast<double>(nEncLen);
    return static_cast<std::size_t>(q * static_cast<double>(nLen));
}

}  // namespace

void encodeAsFilename(bool bRFC2047, NarrowStringBufferBase& rBuffer, const ZQWString& sFilename,
                      std::size_t nMaxEncLen) {
    SafeName tName;
    mapCharacters(tName, sFilename);
    if (!tName.bInvalid) {
        truncateFilename(tName.tText, nMaxEncLen, tName.nDotPos);
        s_ktW2NEncodingHttpHeader.encode(rBuffer, tName.tText.view());
        return;
    }
    NarrowStringBuffer tEncodedFilenameSafe;
    encodeName(tEncodedFilenameSafe, tName.tText.view(), bRFC2047);
    while (tEncodedFilenameSafe.length() > nMaxEncLen) {
        const std::size_t nNewSize =
            scaledLength(tName.tText.length(), nMaxEncLen, tEncodedFilenameSafe.length());
        truncateFilename(tName.tText, nNewSize, tName.nDotPos);
        encodeName(tEncodedFilenameSafe, tName.tText.view(), bRFC2047);
    }
    if (bRFC2047) rBuffer.append(std::string_view("=?utf-8?b?"));
    rBuffer.append(tEncodedFilenameSafe.view());
    if (bRFC2047) rBuffer.append(std::string_view("?="));
}

}  // namespace kiv
