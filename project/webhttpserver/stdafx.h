#pragma once

// Precompiled: the headers of the host and of the standard library that nearly every unit of the module
// needs.

#include <algorithm>
#include <cstddef>
#include <ctime>
#include <map>
#include <string_view>

#include "zq/foundation/exception.h"
#include "zq/foundation/stringbuffer.h"
#include "zq/foundation/zqstring.h"
#include "zq/httpstream/unicodehttpstream.h"
#include "zq/services/config.h"
#include "zq/services/logger.h"
