#pragma once

#include <memory>

#include "support/fakerequestprovider.h"
#include "support/fakeresponseprovider.h"
#include "zq/webhttpserver/kivhttpserver.h"

extern "C" HttpApplication* zqCreateHttpApplication();

/// The sample application behind the module.
struct SampleFixture {
    std::unique_ptr<HttpApplication> pApplication{zqCreateHttpApplication()};
    HttpServerInitContext tContext{*pApplication};
    kiv::KIVHttpServer tServer{tContext};
};
