#pragma once

#include "zq/httpstream/zqhttpstream.h"

namespace sample {

/// Whether a browser says that a page of another site makes this request: such a page can send forms here,
/// files among them, without anybody's consent, to a server that only this machine can reach as well. The
/// origin must be the host that the request is for (RFC 6454 section 7); programs that send none of these
/// headers are not meant.
bool isCrossSite(ZQHttpStream& rStream);

}  // namespace sample
