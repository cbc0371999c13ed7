#pragma once

#include <cstddef>  // the macros of the standard library

#include "zq/foundation/zqexport.h"
#include "zq/httpextension/buildversion.h"

/// The contract between an application's library and its host: what the public headers say, to the compiler
/// too. It grows by one whenever classes, virtual operations or members change in a way that libraries built
/// before do not fit.
#define ZQ_HTTP_APPLICATION_CONTRACT 1

/// The standard library's ways to lay out its classes, of which those of the public headers are made.
#if defined(_LIBCPP_VERSION)
#define ZQ_HTTP_APPLICATION_ABI "libc++"
#elif defined(_GLIBCXX_DEBUG)
#define ZQ_HTTP_APPLICATION_ABI "libstdc++ in its debug mode"
#elif !_GLIBCXX_USE_CXX11_ABI
#define ZQ_HTTP_APPLICATION_ABI "libstdc++ with its strings from before C++11"
#else
#define ZQ_HTTP_APPLICATION_ABI "libstdc++"
#endif

/// What an application's library says about itself before the host calls any of its functions. The members
/// keep their order and types in every contract; new ones come at the end.
struct HttpApplicationRecord {
    unsigned nContract;    ///< ZQ_HTTP_APPLICATION_CONTRACT of the headers that it was built against
    const char* pVersion;  ///< the release that they came with, for people
    const char* pAbi;      ///< ZQ_HTTP_APPLICATION_ABI of its compiler
};

#define ZQ_HTTP_APPLICATION_RECORD_NAME "zqHttpApplicationRecord"

/// Leaves the record in a library that defines its factory itself.
#define ZQ_HTTP_APPLICATION_RECORD                                            \
    extern "C" ZQ_EXPORT const HttpApplicationRecord zqHttpApplicationRecord; \
    extern "C" const HttpApplicationRecord zqHttpApplicationRecord{           \
        ZQ_HTTP_APPLICATION_CONTRACT, ZQ_BUILD_VERSION, ZQ_HTTP_APPLICATION_ABI};
