#pragma once

#include <cstddef>
#include <string_view>

#include "zq/foundation/characterset.h"
#include "zq/foundation/exception.h"
#include "zq/foundation/refstring.h"
#include "zq/foundation/tl.h"
#include "zq/foundation/transcoding.h"
#include "zq/foundation/zqstring.h"

/// The parameters of a query string or of a URL-encoded body, in the order they came, repeated names
/// included.
///
///     const QueryParameters tParameters(pQuery, rStream.GetOutputCharsetHandle());
///     if (const ZQWString* pPage = tParameters.find(L"page")) ...
///
/// A value: it keeps nothing of the bytes it was made from.
class ZQ_EXPORT QueryParameters {
public:
    /// Name and value, decoded.
    struct ZQ_EXPORT Parameter {
        ZQWString sName;
        ZQWString sValue;
    };
    using const_iterator = tl::vector<Parameter>::const_iterator;

    /// How many parameters are allowed when the caller does not say.
    static constexpr std::size_t knMostParameters = 1000;

    QueryParameters() noexcept = default;
    /// Parses "name=value&name=value" (WHATWG URL, section 5.1) in linear time: "+" is a space, "%41" a byte,
    /// and the bytes are text in the character set; what they cannot mean becomes U+FFFD. An escape without
    /// two hexadecimal digits stays as it stands, an "=" after the first one belongs to the value, nothing
    /// between two "&" is no parameter. Names and values may hold any character, NUL included. Throws
    /// TooManyParameters when there are more than nMost, and what the transcoding throws.
    QueryParameters(NarrowRefString sQuery, const Transcoding& rTranscoding,
                    std::size_t nMost = knMostParameters);
    /// The same with the transcoding of a character set, of UTF-8 when the handle is null.
    QueryParameters(NarrowRefString sQuery, const Handle<const CharacterSet>& hCharset,
                    std::size_t nMost = knMostParameters);

    /// The first value of a name, letter case included, or null. Valid as long as this object.
    const ZQWString* find(std::wstring_view sName) const noexcept;
    /// The first value of a name, or sDefault.
    ZQWString get(std::wstring_view sName, const ZQWString& sDefault = {}) const;
    /// All values of a name, in order.
    tl::vector<ZQWString> getAll(std::wstring_view sName) const;

    const_iterator begin() const noexcept { return m_tParameters.begin(); }
    const_iterator end() const noexcept { return m_tParameters.end(); }
    std::size_t size() const noexcept { return m_tParameters.size(); }
    bool empty() const noexcept { return m_tParameters.empty(); }

    /// There are more parameters than allowed.
    class ZQ_EXPORT TooManyParameters : public ClonedException<TooManyParameters> {
    public:
        explicit TooManyParameters(std::size_t nMost);
    };

private:
    void parse(std::string_view sQuery, const Transcoding& rTranscoding, std::size_t nMost);

    tl::vector<Parameter> m_tParameters;
};
