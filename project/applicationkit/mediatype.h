#pragma once

#include <string_view>

#include "zq/foundation/nocasecompareless.h"
#include "zq/httpstream/zqhttpstream.h"

namespace kit {

/// The media type of a request's body as it came, without its parameters; empty when the request names none.
/// What follows a comma counts as a parameter too, as in the first forms that browsers sent (RFC 1867 section
/// 6).
inline ZQWString getMediaType(ZQHttpStream& rStream) {
    ZQWString sType;
    rStream.GetRequestHeader(L"Content-Type", sType);
    return ZQWString(sType.view().substr(0, sType.view().find_first_of(L";, \t")));
}

}  // namespace kit
