#pragma once

#include <cstddef>
#include <string_view>

#include "zq/httpstream/multipartreader.h"

/// Adds the fields of a block of header lines, each with its line end, to rHeaders as
/// MultipartReader::nextPart() describes. False: there are more than nMost.
bool parsePartHeaders(std::string_view sBlock, std::size_t nMost, HeadersN& rHeaders);
