#include "http/errorpage.h"

#include <algorithm>
#include <cctype>

#include "http/reasonphrase.h"

namespace webcontainer {

namespace {

/// In the sample application's colours. Loads nothing.
constexpr std::string_view s_ksDesign =
    R"(<!DOCTYPE html>
<html lang="en"><head><meta charset="utf-8"><title>%{status} %{title}</title>
<meta name="viewport" content="width=device-width, initial-scale=1"><link rel="icon" href="data:,">
<style>
:root { color-scheme: light dark; --back: #f6f7f9; --card: #fff; --ink: #1d2330; --soft: #5b6475; --line: #dfe3ea;
  --accent: #1f5fbf; --code: #eef1f6 }
@media (prefers-color-scheme: dark) { :root { --back: #14171d; --card: #1d222b; --ink: #e7eaf0; --soft: #a0a9b8;
  --line: #333b48; --accent: #7db0ff; --code: #262d39 } }
* { box-sizing: border-box }
body { display: grid; place-items: center; min-height: 100vh; margin: 0; padding: 1.25rem; background: var(--back);
  color: var(--ink); font: 1rem/1.55 system-ui, "Noto Sans", sans-serif }
main { width: 100%; max-width: 36rem; padding: 1.75rem 2rem; border: 1px solid var(--line); border-radius: .7rem;
  background: var(--card) }
strong { color: var(--accent) } h1 { margin: .1rem 0 .8rem; font-size: 1.8rem; line-height: 1.25 }
small { display: block; margin-top: 1.6rem; padding-top: 1rem; border-top: 1px solid var(--line); color: var(--soft) }
code { display: block; margin-top: .4rem; padding: .4rem .6rem; border-radius: .3rem; background: var(--code);
  color: var(--ink); font: 1em ui-monospace, "Noto Sans Mono", monospace; overflow-wrap: anywhere }
</style></head>
<body><main><strong>%{status}</strong><h1>%{title}</h1><p>%{reason}</p>
<small>Should it happen again, quote this number to those who run the site: <code>%{id}</code></small></main></body></html>
)";

void appendSentence(NarrowStringBufferBase& rBuffer, const ErrorNotice& r) {
    if (r.sReason.empty())
        return rBuffer.append(r.nStatus < 500 ? "The request cannot be answered as it is."
                                              : "The server could not answer the request.");
    rBuffer.append(static_cast<char>(std::toupper(static_cast<unsigned char>(r.sReason.front()))));
    rBuffer.appendAll(r.sReason.substr(1), ".");
}

/// False: there is no such place in a design.
bool fillIn(NarrowStringBufferBase& rBuffer, std::string_view sName, const ErrorNotice& r) {
    if (sName == "status")
        appendDecimal(rBuffer, r.nStatus);
    else if (sName == "title")
        rBuffer.append(getReasonPhrase(r.nStatus));
    else if (sName == "reason")
        appendSentence(rBuffer, r);
    else if (sName == "id")
        rBuffer.append(r.sRequestId);
    else
        return false;
    return true;
}

}  // namespace

void appendErrorPage(NarrowStringBufferBase& rBuffer, std::string_view sDesign, const ErrorNotice& rNotice) {
    constexpr std::string_view sOpen = "%{";
    if (sDesign.empty()) sDesign = s_ksDesign;
    while (!sDesign.empty()) {
        const std::size_t nPlace = std::min(sDesign.find(sOpen), sDesign.size());
        rBuffer.append(sDesign.substr(0, nPlace));
        sDesign.remove_prefix(nPlace);
        const std::size_t nEnd = sDesign.find('}');
        const bool bName = nEnd != std::string_view::npos &&
                           fillIn(rBuffer, sDesign.substr(sOpen.size(), nEnd - sOpen.size()), rNotice);
        const std::size_t nDone = bName ? nEnd + 1 : std::min(sOpen.size(), sDesign.size());
        if (!bName) rBuffer.append(sDesign.substr(0, nDone));
        sDesign.remove_prefix(nDone);
    }
}

void appendErrorText(NarrowStringBufferBase& rBuffer, const ErrorNotice& rNotice) {
    appendDecimal(rBuffer, rNotice.nStatus);
    rBuffer.appendAll(" ", getReasonPhrase(rNotice.nStatus), rNotice.sReason.empty() ? "" : ": ",
                      rNotice.sReason, "\nrequest ", rNotice.sRequestId, "\n");
}

}  // namespace webcontainer
