#include "zq/httpstream/maliciousinputexception.h"

namespace http {

MaliciousInputException::MaliciousInputException(const GDValue& rMessage) : ClonedException(rMessage) {}

}  // namespace http
