#include "base/starterror.h"

#include <cctype>
#include <system_error>

#include "zq/foundation/utf8text.h"

namespace webcontainer {

// The text is an insert, because percent signs in it mean nothing.
StartError::StartError(const std::string& sWhat) : ClonedException(GDString(L"%1")) {
    setMsgInsert(1, GDString(fromUtf8(sWhat)));
}

void throwStartError(const std::string& sWhat) {
    ZQTHROW_prethrowProcessException(StartError(sWhat), false, ZQ_WFILE, __LINE__);
}

std::string describeError(int nErrno) {
    std::string sText = std::generic_category().message(nErrno);
    // Only a capitalised word changes; an acronym stays as it is.
    if (sText.size() > 1 && std::islower(static_cast<unsigned char>(sText[1])))
        sText[0] = static_cast<char>(std::tolower(static_cast<unsigned char>(sText[0])));
    return sText;
}

}  // namespace webcontainer
