#include "zq/applicationkit/requesterror.h"

namespace kit {

RequestError::RequestError(unsigned int nStatus, std::wstring_view sMessage)
    : ClonedException(GDString(ZQWString(sMessage))),
      m_nStatus(nStatus) {}

}  // namespace kit
