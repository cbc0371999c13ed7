#pragma once

#include <vector>

/// The containers that cross the interface between the host and its extensions.
namespace tl {
template <class T>
using vector = std::vector<T>;
}  // namespace tl
