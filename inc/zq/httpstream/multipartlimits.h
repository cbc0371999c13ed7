#pragma once

#include <cstddef>

#include "zq/services/config.h"

/// What one multipart body may ask of this process. Read from the configuration ("Multipart/...") when the
/// library is loaded and at the first configuration load, before any request; reloads are refused, so that
/// requests read the values without a lock. A value out of its range is a ConfigError and changes nothing.
class ZQ_EXPORT MultipartLimits {
public:
    /// The limits, each with what happens beyond it.
    struct ZQ_EXPORT Values {
        /// Bytes of header lines in each part, line ends and the empty line included. Beyond it:
        /// MultipartHeaderBytesExceeded.
        unsigned int nMaxHeaderBytesPerPart = 8192;
        /// Header fields in each part. Beyond it: MultipartHeaderCountExceeded.
        unsigned int nMaxHeadersPerPart = 32;
        /// Parts in each body. Beyond it: MultipartPartCountExceeded.
        unsigned int nMaxParts = 1000;
        /// Bytes of content in each part that is no file, which is one whose Content-Disposition has no
        /// filename: streams hold the value of a field in memory, as bytes and, four times as large, as text.
        /// 0: there is no limit. Beyond it: MultipartFieldBytesExceeded, unless the content is skipped.
        unsigned int nMaxFieldBytes = 0;

        bool operator==(const Values&) const = default;
    };

    /// The most that nMaxHeaderBytesPerPart can be, in bytes: headers are read in place, in the reader's
    /// buffer. The others can be anything to 2147483647 (results of ZQHttpStream are int), from 0 or 1 up.
    static constexpr unsigned int s_knMostHeaderBytes = 32768;
    /// What nMaxFieldBytes is in a server whose clients may be anybody and whose configuration says nothing.
    static constexpr unsigned int s_knServersMaxFieldBytes = 10u << 20;
    /// Characters of a boundary: RFC 2046 section 5.1.1 allows 70, and searching stays fast up to here. Not
    /// configurable. Beyond it: MultipartBoundaryTooLong.
    static constexpr std::size_t s_knMostBoundaryLength = 250;

    /// The limits of this process.
    static const Values& get() noexcept;
    /// Sets what stands where the configuration says nothing; without a call, that is Values(). For a host's
    /// start, before the first configuration load.
    static void setDefaults(const Values& rDefaults) noexcept;

    MultipartLimits();
    bool loadConfig(const ConfigReader& rReader, EConfig eConfig);
    const Values& getValues() const noexcept { return m_tValues; }

private:
    Values m_tValues;
    Config<MultipartLimits> m_tConfig;
};
