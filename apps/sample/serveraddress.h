#pragma once

#include <string>

#include "zq/httpstream/zqhttpstream.h"

namespace sample {

/// The address that the client reached this application at, by way of a proxy too: "http://127.0.0.1:8080".
/// For links and commands to copy, so that a host that is no plain name or address is not repeated.
std::wstring getServerAddress(ZQHttpStream& rStream);

}  // namespace sample
