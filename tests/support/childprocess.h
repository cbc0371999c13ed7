#pragma once

#include <functional>
#include <string>

/// Runs f in a child process, a copy of this one, and returns its result: for state that a process has only
/// once. The calling process must have one thread. A child that dies gives "child died".
std::string runInChild(const std::function<std::string()>& f);
