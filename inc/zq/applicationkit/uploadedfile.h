#pragma once

#include <cstdint>
#include <string>
#include <string_view>

#include "zq/applicationkit/descriptor.h"
#include "zq/foundation/zqexport.h"
#include "zq/foundation/zqstring.h"

namespace kit {

/// What a form says about a file.
struct ZQ_EXPORT FileInfo {
    ZQWString sField;  ///< the name of the field
    ZQWString sName;   ///< what the client calls the file, without directories; any characters, or none
    ZQWString sType;   ///< the media type that the client takes it for, or none
};

/// A file without a name (O_TMPFILE).
///
///     kit::NamelessFile tBill(tFolder.getPath());
///     tBill.append("%PDF-1.7");
///     tBill.keepAs(sPath);  // from now on it is there, and whole
///
/// It goes when this object does unless keepAs() has given it a name: nothing stays of an upload that is
/// never finished, even if the process is killed. Failures of the system are std::system_error, but for
/// want of room, which is a RequestError of 507 (RFC 4918 section 11.5). For one thread at a time.
class ZQ_EXPORT NamelessFile {
public:
    /// In that folder, whose file system must support such files; "" means the one for temporary files.
    /// Only this user may read it.
    explicit NamelessFile(const std::string& sFolder = {});

    void append(std::string_view sBytes);
    std::uint64_t getSize() const noexcept { return m_nSize; }
    /// For reading from the first byte on, by pread() or by whoever moves its position.
    const Descriptor& getDescriptor() const noexcept { return m_tDescriptor; }
    /// Gives the file a name, which must be free, in the file system that it was made in. The bytes are there
    /// before the name is.
    void keepAs(const std::string& sPath) const;

private:
    Descriptor m_tDescriptor;
    std::uint64_t m_nSize = 0;
};

/// A file of a form, whole.
struct ZQ_EXPORT UploadedFile : FileInfo {
    NamelessFile tContent;
};

}  // namespace kit
