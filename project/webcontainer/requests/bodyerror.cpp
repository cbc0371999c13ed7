#include "requests/bodyerror.h"

#include "zq/foundation/utf8text.h"

namespace webcontainer {

BodyError::BodyError(const Refusal& rAnswer)
    : Exception(GDString(fromUtf8(rAnswer.pReason))),
      m_tAnswer(rAnswer) {}

BodyError* BodyError::clone() const {
    return new BodyError(*this);
}

}  // namespace webcontainer
