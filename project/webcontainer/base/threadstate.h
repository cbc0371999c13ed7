#pragma once

namespace webcontainer {

/// Whether a thread of this process waits for something, rather than run or lack a processor to run on.
/// nThread: its number, as of gettid(2). False for one that has ended.
bool isAsleep(int nThread) noexcept;

}  // namespace webcontainer
