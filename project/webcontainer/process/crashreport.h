#pragma once

#include <string>

namespace webcontainer {

/// From now on a crash of the process says what it was on standard error, and then ends the process as it
/// would have without, with a core file where they are wanted:
///
///     webcontainer: crash: 2026-11-23T12:55:41Z SIGSEGV at address 0x0 in thread 4711
///     webcontainer: crash: request 0af7651916cd43dd8448eb211c80319c: GET /page?x=1
///     webcontainer: crash: application /usr/lib/webhttpserver/libapplication.so at 0x7f0a4e6f2000
///     webcontainer: crash: in /usr/lib/webhttpserver/libapplication.so 0x1234
///     webcontainer: crash: in /usr/bin/webcontainer 0x56789
///     ...
///
/// A crash is SIGSEGV, SIGBUS, SIGABRT, SIGFPE or SIGILL; one that somebody handles already, such as a
/// sanitizer, is left to him. The request is the one that the thread ran. What follows "in" is what
/// addr2line -e wants, the innermost function first. A report that does not get on is cut off after some
/// seconds, and so is one that crashes itself, at once.
///
/// To be called once, by the main thread, before any other thread starts. The other threads need an
/// AlternateStack for a report that they have used up their stacks.
void reportCrashes();
/// Makes a report go to the end of a file as well, by whatever name it then has. Empty: to none.
void reportCrashesTo(const std::string& sFile);
/// pCode: an address in the application's library.
void reportApplication(const void* pCode) noexcept;

}  // namespace webcontainer
