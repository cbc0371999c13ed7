#pragma once

/// Marks what a shared library of this system offers to others; everything else is hidden by the build.
/// A class template carries it too, so that run-time type information agrees between libraries.
#define ZQ_EXPORT __attribute__((visibility("default")))
