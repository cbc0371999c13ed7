#include "crosssite.h"

namespace sample {

bool isCrossSite(ZQHttpStream& rStream) {
    ZQWString sSite, sOrigin, sHost;
    rStream.GetRequestHeader(L"Sec-Fetch-Site", sSite);
    if (sSite == L"cross-site") return true;
    if (!rStream.getRequestHeader(L"Origin", sOrigin)) return false;
    rStream.GetRequestHeader(L"Host", sHost);
    // "null" stands for an origin that is not to be known. Browsers write hosts in lower case.
    const std::size_t nScheme = sOrigin.view().find(L"://");
    return nScheme == std::wstring_view::npos || sOrigin.view().substr(nScheme + 3) != sHost.view();
}

}  // namespace sample
