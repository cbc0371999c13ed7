#pragma once

#include <string>
#include <vector>

/// The calls that the test doubles saw, one text each, in order. One log may serve both doubles of a request.
using CallLog = std::vector<std::string>;
