#include "bodyerrors.h"

namespace webcontainer {

namespace {

const wchar_t* describe(BodyError::EReason eReason) {
    switch (eReason) {
        case BodyError::EReason::kTruncated:
            return L"The client went away before the end of the request body.";
        case BodyError::EReason::kMalformed:
            return L"The chunks of the request body are malformed.";
        case BodyError::EReason::kTimeout:
            return L"The request body comes too slowly.";
        default:
            return L"The server stops.";
    }
}

}  // namespace

BodyError::BodyError(EReason eReason) : Exception(GDString(describe(eReason))), m_eReason(eReason) {}

BodyError* BodyError::clone() const {
    return new BodyError(*this);
}

}  // namespace webcontainer
