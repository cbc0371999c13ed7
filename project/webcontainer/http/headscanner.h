#pragma once

#include <cstddef>
#include <cstdint>

#include "base/limits.h"
#include "http/byteclass.h"
#include "http/fieldscanner.h"
#include "http/requesthead.h"

namespace webcontainer {

/// Finds the end of a request's head and checks its grammar on the way (RFC 9112 sections 3 and 5), stricter
/// than a recipient has to be: what two readers might take apart differently is refused. Looks at every byte
/// once, in whatever pieces they come, and decides at the first one that is out of place or beyond a limit,
/// so that the answer does not depend on the pieces.
class HeadScanner {
public:
    explicit HeadScanner(const Limits& rLimits) noexcept;

    /// Scans a head whose first byte is *pBegin and of which nEnd bytes have come. Raises rnFrom, the bytes
    /// scanned so far, up to nEnd or for kDone to the head's length.
    EParsed scan(const char* pBegin, std::size_t& rnFrom, std::size_t nEnd) noexcept;
    /// Whether the request line has come as a whole, and is in order.
    bool hasRequestLine() const noexcept { return m_eState == EState::kFields; }
    /// Of the request line: 10 or 11.
    unsigned getVersion() const noexcept { return m_nVersion; }
    /// After kRefused.
    const Refusal& getRefusal() const noexcept { return m_tRefusal; }

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

    EParsed scanLine(const char*& p, const char* pEnd) noexcept;
    EParsed step(const char*& p, const char* pEnd) noexcept;
    EParsed beginPart(char c, EByteClass eClass, EState eState, const Refusal& rRefusal) noexcept;
    EParsed scanMethod(const char*& p, const char* pEnd) noexcept;
    EParsed scanTarget(const char*& p, const char* pEnd) noexcept;
    EParsed scanVersion(char c) noexcept;
    EParsed endLine(char c) noexcept;
    EParsed go(EState eState) noexcept;
    EParsed refuse(const Refusal& rRefusal) noexcept;

    std::size_t m_nMaxLine;
    std::size_t m_nMaxHead;
    EState m_eState = EState::kMethodStart;
    std::uint8_t m_nVersionBytes = 0;  ///< of the version that have come
    unsigned m_nVersion = 0;           ///< both its digits
    FieldScanner m_tFields;
    Refusal m_tRefusal;
};

}  // namespace webcontainer
