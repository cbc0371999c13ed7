#pragma once

#include <string_view>

#include "zq/foundation/stringbuffer.h"

namespace webcontainer {

/// What the front end tells of a request that it answers itself.
struct ErrorNotice {
    unsigned nStatus = 500;
    std::string_view sReason;     ///< a constant text, without markup; empty: the status says it all
    std::string_view sRequestId;  ///< to quote; hexadecimal digits
};

/// For people: the page with this design, or the built-in one when it is empty. In it become
///
///     %{status}  the number                     %{reason}  a sentence
///     %{title}   the status's reason phrase     %{id}      the request's id
///
/// None of them holds a byte that the client could choose, but for the digits of the id.
void appendErrorPage(NarrowStringBufferBase& rBuffer, std::string_view sDesign, const ErrorNotice& rNotice);

/// For programs: "400 Bad Request: no Host field", and the request's id on a second line.
void appendErrorText(NarrowStringBufferBase& rBuffer, const ErrorNotice& rNotice);

}  // namespace webcontainer
