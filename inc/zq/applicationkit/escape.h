#pragma once

#include <string>
#include <string_view>

#include "zq/foundation/zqexport.h"

/// Text that anybody may have chosen, written so that it shows as it is and is never run.
///
///     const std::wstring sName = L"<b>O'Neill & \"co\"</b>";
///     rStream.addText(L"<p title=\"" + kit::escapeAttribute(sName) + L"\">" + kit::escapeHtml(sName));
///     rStream.addText(L"</p>\n<a href=\"/find?name=" + kit::escapeUrl(sName) + L"\">find</a>");
///     rStream.addText(L"<script>const name = '" + kit::escapeJs(sName) + L"';</script>");
///
/// Each function knows one place; what is escaped for one is not safe in another. HtmlWriter finds the
/// place by itself. Any thread may call them.
namespace kit {

/// For text between tags and for attributes in quotes, of HTML and XML. Control characters, which markup may
/// not hold, show as their pictures (U+2400 and up).
ZQ_EXPORT std::wstring escapeHtml(std::wstring_view sText);
/// For attributes, safe even where the quotes are missing, and with line ends kept.
ZQ_EXPORT std::wstring escapeAttribute(std::wstring_view sText);
/// For one component of a URL, as a segment of the path or a value in the query (RFC 3986 section 2):
/// everything but unreserved characters becomes percent-encoded UTF-8.
ZQ_EXPORT std::wstring escapeUrl(std::wstring_view sText);
/// For the inside of a string of JavaScript or JSON in double quotes, or of JavaScript in single ones, in a
/// script element too: what could end the string, the line or the element becomes an escape of four
/// hexadecimal digits.
ZQ_EXPORT std::wstring escapeJs(std::wstring_view sText);

/// Undoes escapeUrl(). False, and rsText undefined, when the escapes are none, or are no UTF-8, or a NUL
/// stands for a character.
ZQ_EXPORT bool decodeUrl(std::wstring_view sText, std::wstring& rsText);

}  // namespace kit
