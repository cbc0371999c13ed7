#pragma once

#include <unicode/ucnv.h>

#include <memory>

#include "zq/foundation/characterset.h"

struct UConverterDeleter {
    void operator()(UConverter* p) const noexcept { ucnv_close(p); }
};
using UConverterPtr = std::unique_ptr<UConverter, UConverterDeleter>;

/// Opens ICU's converter of a character set. Throws CharacterSet::UnknownCharset when ICU cannot any more.
UConverterPtr openIcuConverter(const CharacterSet& rCharset);
