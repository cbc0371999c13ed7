#pragma once

#include "http/requesthead.h"

namespace webcontainer {

/// What the front end demands of a head beyond its grammar: wherever two readers of one request could
/// disagree about its length, its host or its target, it is refused before the module sees it.

/// Checks a complete head whose first byte is *pBegin and whose method, target, version and fields are set;
/// sets what follows from them: authority, path, query, framing and its length, what the client expects and
/// whether it keeps the connection. Never kNeedMore.
Parsed checkHead(const char* pBegin, RequestHead& rHead);

}  // namespace webcontainer
