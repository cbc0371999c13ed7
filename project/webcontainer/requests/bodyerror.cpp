#include "requests/bodyerror.h"

#include "zq/foundation/utf8text.h"

namespace webcontainer {

BodyError::BodyError(const Refusal& rAnswer)
    : ClonedException(GDString(fromUtf8(rAnswer.pReason))),
      m_tAnswer(rAnswer) {}

}  // namespace webcontainer
