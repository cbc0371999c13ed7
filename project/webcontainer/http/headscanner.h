#pragma once

#include <cstddef>
#include <cstdint>
#include <vector>

#include "base/limits.h"
#include "http/byteclass.h"
#include "http/fieldscanner.h"
#include "http/requesthead.h"

namespace webcontainer {

/// Reads a request's head into a RequestHead and checks its grammar on the way (RFC 9112 sections 3 and 5),
/// stricter than a recipient has to be: what two readers might take apart differently is refused. Looks at
/// every byte once, in whatever pieces they come, and decides at the first one that is out of place or beyond
/// a limit, so that the answer does not depend on the pieces.
class HeadScanner {
public:
    explicit HeadScanner(const Limits& rLimits) noexcept;

    /// Scans a head whose first byte is *pBegin and of which nEnd bytes have come. Raises rnFrom, the bytes
    /// scanned so far, up to nEnd or for kDone to the head's length. Method, target and version stand in
    /// rHead as soon as the request line has come, for those who log or answer a request that is refused or
    /// does not come to its end; the fields for kDone.
    Parsed scan(const char* pBegin, std::size_t& rnFrom, std::size_t nEnd, RequestHead& rHead);

private:
    enum class EState : std::uint8_t {
        kMethodStart,
        kMethod,
        kTargetStart,
        kTarget,
        kVersion,
        kLineEnd,
        kLineEndWithoutVersion,
        kFields,
    };

    Parsed scanLine(const char*& p, const char* pEnd) noexcept;
    void beginFields(RequestHead& rHead) noexcept;
    Parsed step(const char*& p, const char* pEnd) noexcept;
    Parsed beginPart(char c, EByteClass eClass, EState eState, const Refusal& rRefusal) noexcept;
    Parsed scanMethod(const char*& p, const char* pEnd) noexcept;
    Parsed scanTarget(const char*& p, const char* pEnd) noexcept;
    Parsed scanVersion(const char*& p, const char* pEnd) noexcept;
    Parsed endLine(char c) noexcept;
    Parsed go(EState eState) noexcept;

    std::size_t m_nMaxLine;
    std::size_t m_nMaxHead;
    EState m_eState = EState::kMethodStart;
    std::uint8_t m_nVersionBytes = 0;  ///< of the version that have come
    unsigned m_nVersion = 0;           ///< both its digits
    std::uint32_t m_nMethod = 0;       ///< bytes of the method that have come
    std::uint32_t m_nTarget = 0;       ///< and of the target
    FieldScanner m_tScanner;
    std::vector<HeaderField> m_tFields;  ///< until all have come; in the head's storage
};

}  // namespace webcontainer
