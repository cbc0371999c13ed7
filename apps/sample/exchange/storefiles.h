#pragma once

#include <string>
#include <string_view>
#include <vector>

#include "exchange/descriptor.h"

namespace sample {

/// How the files of a store stand in its directory, for those who put them there, list and remove them:
///
///     ID.name   the client's name for it, UTF-8
///     ID.data   the bytes; made last and removed first, so that it alone says whether the file exists
///
/// Failures of the system are std::system_error.
namespace storefiles {

inline constexpr const char* s_ksData = ".data";
inline constexpr const char* s_ksName = ".name";

/// Throws errno.
[[noreturn]] void fail(const std::string& sWhat);

/// 32 lower-case hexadecimal digits that nobody can guess.
std::string makeId();
/// The id that a text is, or nothing.
std::string toId(std::wstring_view s);
/// The ids that have a file of that ending.
std::vector<std::string> listIds(int nDirectory, std::string_view sEnding);

/// A file without a name, which goes with its descriptor unless linkFile() gives it one.
Descriptor makeNameless(int nDirectory);
void writeAll(const Descriptor& rFile, const char* pData, std::size_t nLength);
/// Gives a nameless file its name, which must be free.
void linkFile(const Descriptor& rFile, int nDirectory, const std::string& sName);
/// False when there was no data; a name goes in any case.
bool unlinkFile(int nDirectory, const std::string& sId);

}  // namespace storefiles

}  // namespace sample
