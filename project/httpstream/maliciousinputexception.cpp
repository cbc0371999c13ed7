#include "zq/httpstream/maliciousinputexception.h"

namespace http {

MaliciousInputException::MaliciousInputException(const GDValue& rMessage) : Exception(rMessage) {}

MaliciousInputException* MaliciousInputException::clone() const {
    return new MaliciousInputException(*this);
}

}  // namespace http
