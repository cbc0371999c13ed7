#pragma once

#include "zq/applicationkit/htmlwriter.h"

namespace sample {

/// One HTML page in the frame that all pages share. The constructor describes the response and writes the
/// top, end() the bottom; what is written between them is the content.
///
///     HtmlPage tPage(rStream, L"Greeting");
///     tPage.write(L"<p>Good morning, {}!</p>", sName);
///     tPage.end();
class HtmlPage : public kit::HtmlWriter {
public:
    /// sTitle is text. The stream must not have been flushed. Content from elsewhere is not loaded, nor is
    /// anything run that stands in the page, whatever slips into the markup.
    HtmlPage(ZQHttpStream& rStream, std::wstring_view sTitle);

    /// One row of a table of names and values, both text.
    HtmlPage& row(std::wstring_view sName, std::wstring_view sValue);
    void end();
};

}  // namespace sample
