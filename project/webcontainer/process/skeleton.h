#pragma once

#include <string>

namespace webcontainer {

/// A file of the project that a new application begins as, which is called hello here.
struct SkeletonFile {
    const char* pName;
    const char* pText;
    bool bProgram;
};
/// Made of the folder skeleton and of apps/hello; the last one has no name.
extern const SkeletonFile s_tSkeletonFiles[];

/// Makes the folder sName with an application of that name, its test, its configuration and its build in
/// it. Throws StartError, and leaves nothing, when the name is none for a class or for a target of the
/// build, when either has it already, when there is such a folder, and when the files cannot be written.
void writeSkeleton(const std::string& sName);

}  // namespace webcontainer
