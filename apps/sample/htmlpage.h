#pragma once

#include <cstddef>
#include <string_view>

#include "zq/httpstream/zqhttpstream.h"

namespace sample {

/// One HTML page in the frame that all pages share. The constructor describes the response and writes the
/// top, end() the bottom; what is written between them is the content.
///
///     HtmlPage tPage(rStream, L"Greeting");
///     tPage.markup(L"<p>Good morning, ").text(sName).markup(L"!</p>").end();
class HtmlPage {
public:
    /// sTitle is text. The stream must live as long as the page and must not have been flushed. sMorePolicy:
    /// further directives of the content security policy, each after a semicolon.
    HtmlPage(ZQHttpStream& rStream, std::wstring_view sTitle, std::wstring_view sMorePolicy = {});

    /// Markup, as it stands.
    HtmlPage& markup(std::wstring_view s);
    /// Text from anywhere, escaped.
    HtmlPage& text(std::wstring_view s);
    HtmlPage& number(std::size_t n);
    /// One row of a table of names and values, both text.
    HtmlPage& row(std::wstring_view sName, std::wstring_view sValue);
    void end();

private:
    ZQHttpStream& m_rStream;
};

}  // namespace sample
