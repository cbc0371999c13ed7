#include "zq/httpextension/httpapplication.h"

HttpRequestStatus::EStatus HttpApplication::post(ZQHttpStream&, const HttpApplicationRequest&) {
    return kBadRequest;
}

HttpRequestStatus::EStatus HttpApplication::soap(ZQHttpStream&, const HttpApplicationRequest&) {
    return kBadRequest;
}
