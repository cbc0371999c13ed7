#pragma once

#include <string_view>

#include "zq/foundation/stringbuffer.h"
#include "zq/services/logger.h"

/// Appends s in UTF-8 so that it stays on one line and can be read back: control characters (C0, DEL, C1),
/// the separators U+2028 and U+2029, and the backslash itself become \n, \r, \t, \\, \xNN or \uNNNN. What is
/// no Unicode scalar value becomes U+FFFD.
void appendLogText(NarrowStringBufferBase& rBuffer, std::wstring_view s);

/// The time of a log entry: UTC, "2031-05-04T09:08:07.006Z".
void appendLogTime(NarrowStringBufferBase& rBuffer);

/// One entry as a line for people, without the line end:
/// "TIME SEVERITY source [thread] text (file:line)".
void appendTextLine(NarrowStringBufferBase& rBuffer, const LogEntry& rEntry);

/// One entry as a JSON object, without the line end; the characters that appendLogText() escapes, and all
/// beyond ASCII, are JSON escapes.
void appendJsonLine(NarrowStringBufferBase& rBuffer, const LogEntry& rEntry);
