#include "requests/bodyerrors.h"

#include "text.h"

namespace webcontainer {

BodyError::BodyError(const Refusal& rAnswer)
    : Exception(GDString(toWide(rAnswer.sReason))),
      m_tAnswer(rAnswer) {}

BodyError* BodyError::clone() const {
    return new BodyError(*this);
}

}  // namespace webcontainer
