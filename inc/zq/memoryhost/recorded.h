#pragma once

#include "zq/memoryhost/memoryrequest.h"
#include "zq/memoryhost/memoryresponse.h"
#include "zq/recording/recording.h"

/// The request of a recording, to be run again: its body in the pieces that were read, what became of the
/// response's calls, and the server variables that the front end had. Where a read failed, the client
/// vanishes. rRecording: none of a refused request, and one whose request's bytes are all there.
ZQ_EXPORT MemoryRequest toMemoryRequest(const Recording& rRecording);

/// What came of it then, without calls and breaches. Of an exception there is only the message; of a body of
/// which bytes were omitted, what stands before them.
ZQ_EXPORT MemoryResponse toMemoryResponse(const Recording& rRecording);
