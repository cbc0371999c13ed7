#pragma once

#include <string_view>

#include "zq/foundation/characterset.h"
#include "zq/foundation/stringbuffer.h"

/// Turns whole texts from bytes into wide text. Has no state; may be shared between threads. What the bytes
/// cannot mean becomes U+FFFD.
class ZQ_EXPORT Transcoding {
public:
    virtual ~Transcoding();
    /// Appends the wide text of s.
    virtual void decode(WideStringBufferBase& rBuffer, std::string_view s) const = 0;
};

/// The transcoding of UTF-8.
class ZQ_EXPORT TranscodingUTF8 final : public Transcoding {
public:
    void decode(WideStringBufferBase& rBuffer, std::string_view s) const override;
};

/// The transcoding of any character set.
class ZQ_EXPORT UniversalTranscoding final : public Transcoding {
public:
    explicit UniversalTranscoding(const Handle<const CharacterSet>& hCharset) : m_hCharset(hCharset) {}
    /// Throws CharacterSet::UnknownCharset when ICU cannot open the character set, InvalidHandleException
    /// when there is none.
    void decode(WideStringBufferBase& rBuffer, std::string_view s) const override;

private:
    Handle<const CharacterSet> m_hCharset;
};
