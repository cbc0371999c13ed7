#pragma once

#include <concepts>
#include <cstddef>
#include <limits>
#include <nlohmann/json.hpp>
#include <string>
#include <utility>

#include "zq/applicationkit/requesterror.h"
#include "zq/httpextension/httpapplication.h"

namespace kit {

/// How much JSON may come.
struct ZQ_EXPORT JsonLimits {
    std::size_t nMostBytes = 1 << 20;  ///< beyond it: a RequestError of 413
    std::size_t nMostDepth = 64;       ///< arrays and objects within each other; beyond it: 400
};

/// The JSON (RFC 8259) that a program has sent as the body of its request.
///
///     const kit::JsonBody tOrder(rStream, rRequest);
///     const auto nPieces = tOrder.get<unsigned>("pieces");
///     if (nPieces > 99) throw kit::RequestError(400, L"There are 99 pieces.");
///     rStream.setStatusCode(201);
///     kit::sendJson(rStream, {{"ordered", nPieces}, {"item", tOrder.get<std::string>("item")}});
///
/// A value of its own; keeps nothing of the request.
class ZQ_EXPORT JsonBody {
public:
    /// Reads all of the body, once. Throws RequestError: 415 when its type is neither application/json nor
    /// ends in "+json" (RFC 6839 section 3.1), 413 beyond the bytes allowed, and 400, with line and column
    /// counted from 1, for what is no JSON, nests too deep, has numbers that are too large, or has ended
    /// before its declared length. Columns are bytes. Of a name that an object has twice the last one
    /// counts.
    JsonBody(ZQHttpStream& rStream, const HttpApplicationRequest& rRequest, const JsonLimits& rLimits = {});

    const nlohmann::json& value() const noexcept { return m_tValue; }

    /// The member of that name of the whole, which must be an object. A RequestError of 400 names it when
    /// it is not there, is of another kind than T, or is a number that T cannot hold. Numbers within a
    /// container T are converted unchecked.
    template <class T>
    T get(const char* pName) const {
        const nlohmann::json& rMember = require(pName);
        bool bFits = true;
        if constexpr (std::same_as<T, bool>)
            bFits = rMember.is_boolean();
        else if constexpr (std::integral<T>)
            bFits = fits<T>(rMember);
        else if constexpr (std::floating_point<T>)
            bFits = rMember.is_number() && isWithin<T>(rMember.get<double>());
        try {
            if (bFits) return rMember.template get<T>();
        } catch (const nlohmann::json::exception&) {
            // Said below, as for a number that does not fit.
        }
        refuse(pName);
    }
    /// The same, or tDefault where there is no such member or it is null.
    template <class T>
    T get(const char* pName, const T& tDefault) const {
        const auto it = m_tValue.find(pName);
        return it == m_tValue.end() || it->is_null() ? tDefault : get<T>(pName);
    }

private:
    template <class T>
    static bool fits(const nlohmann::json& r) {
        if (r.is_number_unsigned()) return std::in_range<T>(r.get<std::uint64_t>());
        return r.is_number_integer() && std::in_range<T>(r.get<std::int64_t>());
    }
    template <class T>
    static bool isWithin(double n) {
        return n >= std::numeric_limits<T>::lowest() && n <= std::numeric_limits<T>::max();
    }
    const nlohmann::json& require(const char* pName) const;
    [[noreturn]] static void refuse(const char* pName);

    nlohmann::json m_tValue;
};

/// Answers with JSON, in UTF-8. Text that is none has U+FFFD in place of what is wrong. Leaves the status
/// as it is.
ZQ_EXPORT void sendJson(ZQHttpStream& rStream, const nlohmann::json& rValue);

}  // namespace kit
