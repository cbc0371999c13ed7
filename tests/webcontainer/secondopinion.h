#pragma once

#include <algorithm>
#include <array>
#include <boost/beast/http/empty_body.hpp>
#include <boost/beast/http/parser.hpp>
#include <limits>
#include <string_view>

#include "http/headrules.h"
#include "http/headscanner.h"

namespace test {

/// Whether a widely used parser reads the same in a head as ours does, if ours accepts one at the beginning
/// of sBytes that come in pieces of nPiece bytes. Ours may refuse what the other one accepts, never the other
/// way round. There is no exception; only the Host field is compared before the target's authority takes its
/// place.
inline bool agree(std::string_view sBytes, std::size_t nPiece, const webcontainer::Limits& rLimits) {
    using namespace webcontainer;
    namespace http = boost::beast::http;
    using enum http::field;
    HeadScanner tScanner(rLimits);
    RequestHead tHead;
    Parsed tParsed = Parsed::kNeedMore;
    std::size_t nScanned = 0;
    for (std::size_t n = 0; tParsed == Parsed::kNeedMore && n < sBytes.size(); n += nPiece)
        tParsed = tScanner.scan(sBytes.data(), nScanned, std::min(n + nPiece, sBytes.size()), tHead);
    RequestHead tChecked = tHead;
    if (tParsed != Parsed::kDone || checkHead(sBytes.data(), tChecked) != Parsed::kDone) return true;

    http::request_parser<http::empty_body> tParser;
    tParser.header_limit(std::numeric_limits<std::uint32_t>::max());
    tParser.body_limit(boost::none);
    boost::beast::error_code eError;
    tParser.put({sBytes.data(), nScanned}, eError);
    if (eError || !tParser.is_header_done()) return false;
    const auto text = [&](const Stretch& r) { return sBytes.substr(r.nFrom, r.nLength); };
    const auto& rTheirs = tParser.get();
    http::fields tOurs;  // which holds fields of one name together, as the library does
    for (const HeaderField& r : tHead.tFields) {
        // From the end of EKnownField on, so that what is none of them comes to kOther, 0.
        constexpr std::array tKnown = {
            transfer_encoding, content_length, proxy_connection, connection, expect, content_type, host};
        const auto* const pKnown =
            std::find(tKnown.begin(), tKnown.end(), http::string_to_field(text(r.tName)));
        if (tKnown.end() - pKnown != static_cast<int>(r.eKnown)) return false;
        tOurs.insert(text(r.tName), text(r.tValue));
    }
    return text(tHead.tMethod) == rTheirs.method_string() && text(tHead.tTarget) == rTheirs.target() &&
           (tHead.eVersion == EVersion::k10 ? 10 : 11) == rTheirs.version() &&
           std::equal(tOurs.begin(), tOurs.end(), rTheirs.begin(), rTheirs.end(),
                      [](const auto& a, const auto& b) {
                          return a.name_string() == b.name_string() && a.value() == b.value();
                      });
}

}  // namespace test
