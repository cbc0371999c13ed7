#pragma once

#include <cstdint>
#include <ctime>
#include <set>

#include "zq/foundation/characterset.h"
#include "zq/foundation/handle.h"
#include "zq/foundation/tl.h"
#include "zq/foundation/zqstring.h"
#include "zq/httpstream/contentdisposition.h"
#include "zq/httpstream/featuretable.h"
#include "zq/httpstream/webcontentformat.h"

/// The response hints: a set, so that a hint given twice is sent once.
using ResponseHints = std::set<ZQWString>;

/// What an application has said about its response so far. Plain data of ZQHttpStream, which has the
/// operations that applications use.
struct ZQ_EXPORT HttpStreamInternals {
    /// The expiry of a response that has none.
    static constexpr std::uint32_t knExpireNotSet = 0xFFFFFFFF;

    ZQWString sContentType;
    WebContentFormat::EFormat eFormat = WebContentFormat::kUnknown;
    Handle<const CharacterSet> hOutputCharset = CharacterSet::utf8();
    std::time_t nLastModified = 0;
    std::uint32_t nExpireSeconds = knExpireNotSet;
    ContentDisposition tContentDisposition;
    ResponseHints tResponseHints;
    Handle<const FeatureTable> hFeatureTable;  ///< null: the global one
    tl::vector<ZQWString> tOnLoadFunctions;
    tl::vector<ZQWString> tResourceRefs;
};
