#pragma once

#include <functional>

#include "zq/httpextension/httpapplication.h"

/// An application whose answers are functions; without one it returns kOK and writes nothing.
class ScriptedApplication final : public HttpApplication {
public:
    using Answer = std::function<EStatus(ZQHttpStream&, const HttpApplicationRequest&)>;

    Answer fGet, fPost, fSoap;

    EStatus get(ZQHttpStream& rStream, const HttpApplicationRequest& r) override {
        return run(fGet, rStream, r);
    }
    EStatus post(ZQHttpStream& rStream, const HttpApplicationRequest& r) override {
        return run(fPost, rStream, r);
    }
    EStatus soap(ZQHttpStream& rStream, const HttpApplicationRequest& r) override {
        return run(fSoap, rStream, r);
    }

private:
    static EStatus run(const Answer& f, ZQHttpStream& rStream, const HttpApplicationRequest& r) {
        return f ? f(rStream, r) : kOK;
    }
};
