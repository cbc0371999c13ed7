#pragma once

#include <string_view>

#include "zq/foundation/exception.h"

namespace kit {

/// A request that cannot be answered as it is, with a status and what the person who sent it is told. Every
/// part of this library throws it for what a client may have done wrong; a Router answers with it.
///
///     if (!sProblem.empty()) throw kit::RequestError(400, sProblem);
class ZQ_EXPORT RequestError : public ClonedException<RequestError> {
public:
    /// nStatus: 400 to 599 (RFC 9110 section 15). sMessage: sentences for people, plain text that may repeat
    /// what the client has sent; to be escaped where it is shown.
    RequestError(unsigned int nStatus, std::wstring_view sMessage);
    unsigned int getStatus() const noexcept { return m_nStatus; }

private:
    unsigned int m_nStatus;
};

}  // namespace kit
