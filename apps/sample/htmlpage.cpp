#include "htmlpage.h"

#include <string>

#include "htmlescape.h"

namespace sample {

namespace {

constexpr std::wstring_view s_ksStyle =
    LR"(
:root { color-scheme: light dark; --back: #f6f7f9; --card: #fff; --ink: #1d2330; --soft: #5b6475; --line: #dfe3ea;
  --accent: #1f5fbf; --code: #eef1f6; --on-accent: #fff }
@media (prefers-color-scheme: dark) { :root { --back: #14171d; --card: #1d222b; --ink: #e7eaf0; --soft: #a0a9b8;
  --line: #333b48; --accent: #7db0ff; --code: #262d39; --on-accent: #10141b } }
* { box-sizing: border-box }
body { margin: 0; background: var(--back); color: var(--ink); font: 1rem/1.55 system-ui, "Noto Sans", sans-serif }
header, main, footer { max-width: 58rem; margin: auto; padding: 0 1.25rem }
header { padding-top: 1.25rem } header a { font-weight: 600; text-decoration: none }
h1 { margin: .6rem 0 1rem; font-size: 1.8rem; line-height: 1.25 } h2 { margin: 1.8rem 0 .6rem; font-size: 1.15rem }
a { color: var(--accent) }
.cards { display: grid; grid-template-columns: repeat(auto-fill, minmax(15rem, 1fr)); gap: .9rem; padding: 0 }
.cards li { list-style: none }
.cards a { display: block; height: 100%; padding: 1rem 1.1rem; border: 1px solid var(--line); border-radius: .7rem;
  background: var(--card); color: var(--soft); text-decoration: none }
.cards a:hover, .cards a:focus { border-color: var(--accent) }
.cards strong { display: block; margin-bottom: .2rem; color: var(--accent) }
table { width: 100%; border-collapse: collapse; background: var(--card); border: 1px solid var(--line) }
th, td { padding: .5rem .8rem; border-top: 1px solid var(--line); text-align: start; vertical-align: top }
th { width: 12rem; font-weight: 600; overflow-wrap: anywhere } td { overflow-wrap: anywhere }
pre, code { background: var(--code); border-radius: .3rem; font: .92em ui-monospace, "Noto Sans Mono", monospace }
code { padding: .1rem .3rem; overflow-wrap: anywhere } pre { padding: .8rem 1rem; white-space: pre-wrap }
pre { overflow-wrap: anywhere }
.choices a { display: inline-block; margin-inline-end: .6rem }
form { display: flex; flex-wrap: wrap; gap: .6rem; align-items: end; margin: 1rem 0 }
label { flex: 1 1 15rem; color: var(--soft) }
input, select { display: block; width: 100%; margin-top: .2rem; padding: .55rem .7rem; border: 1px solid var(--line);
  border-radius: .5rem; background: var(--card); color: var(--ink); font: inherit }
button { padding: .6rem 1.2rem; border: 0; border-radius: .5rem; background: var(--accent); color: var(--on-accent);
  font: inherit; font-weight: 600; cursor: pointer }
.files th, .files td { width: auto; vertical-align: middle } .files thead { font-size: .88rem; color: var(--soft) }
.files td:nth-child(2), .files td:nth-child(3) { white-space: nowrap; color: var(--soft) }
.files td:last-child { text-align: end } .files form { display: block; margin: 0 }
button.quiet, ::file-selector-button { padding: .3rem .8rem; border: 1px solid var(--line); border-radius: .5rem;
  background: none; color: var(--ink); font: inherit; cursor: pointer }
::file-selector-button { margin-inline-end: .8rem; background: var(--code) }
button.quiet:hover, button.quiet:focus, ::file-selector-button:hover { border-color: var(--accent) }
input[type=file] { padding: 1.1rem .9rem; border: 2px dashed var(--line) }
input[type=file]:hover { border-color: var(--accent) }
.empty { padding: 1.5rem; border: 1px dashed var(--line); border-radius: .7rem; color: var(--soft); text-align: center }
#transfer { display: flex; gap: .9rem; align-items: center; margin: 1rem 0 } [hidden] { display: none !important }
progress { flex: 1; height: .8rem; accent-color: var(--accent) }
footer { margin-top: 2.5rem; padding-bottom: 1.5rem; color: var(--soft); font-size: .88rem }
@media (max-width: 34rem) { th, td { display: block; width: auto } td { border-top: 0; padding-top: 0 }
  .files thead { display: none } .files tbody tr { display: block; padding: .6rem 0; border-top: 1px solid var(--line) }
  .files td { padding-bottom: 0 } .files td:last-child { margin-top: -2rem } }
)";

/// Nothing but this page's own style may be loaded or run, whatever slips into the markup.
constexpr const wchar_t* s_ksPolicy =
    L"default-src 'none'; style-src 'unsafe-inline'; img-src data:; form-action 'self'; base-uri 'none'; "
    L"frame-ancestors 'none'";

}  // namespace

HtmlPage::HtmlPage(ZQHttpStream& rStream, std::wstring_view sTitle, std::wstring_view sMorePolicy)
    : m_rStream(rStream) {
    rStream.SetFormat(WebContentFormat::kHTML);
    rStream.AddHeader(L"Content-Security-Policy", ZQWString(std::wstring(s_ksPolicy).append(sMorePolicy)));
    rStream.AddHeader(L"X-Content-Type-Options", L"nosniff");
    markup(L"<!DOCTYPE html>\n<html lang=\"en\"><head><title>").text(sTitle).markup(L"</title>\n");
    markup(L"<meta name=\"viewport\" content=\"width=device-width, initial-scale=1\">\n");
    markup(L"<link rel=\"icon\" href=\"data:,\">\n<style>").markup(s_ksStyle).markup(L"</style></head>\n");
    markup(L"<body><header><a href=\"/\">Sample application</a></header>\n<main><h1>");
    text(sTitle).markup(L"</h1>\n");
}

HtmlPage& HtmlPage::markup(std::wstring_view s) {
    m_rStream.addText(s);
    return *this;
}

HtmlPage& HtmlPage::text(std::wstring_view s) {
    addEscaped(m_rStream, s);
    return *this;
}

HtmlPage& HtmlPage::number(std::size_t n) {
    return markup(std::to_wstring(n));
}

HtmlPage& HtmlPage::row(std::wstring_view sName, std::wstring_view sValue) {
    return markup(L"<tr><th scope=\"row\">")
        .text(sName)
        .markup(L"</th><td>")
        .text(sValue)
        .markup(L"</td></tr>\n");
}

void HtmlPage::end() {
    markup(
        L"</main>\n<footer>Every page is made by <code>apps/sample</code>, one source file each.</footer>");
    markup(L"</body></html>\n");
}

}  // namespace sample
