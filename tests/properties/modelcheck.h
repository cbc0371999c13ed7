#pragma once

#include "kivserverstream.h"
#include "properties/streammodel.h"
#include "zq/memoryhost/memoryexchange.h"

namespace test {

/// Where a stream and its model differ after these calls and the end of the response, or nothing.
inline std::string findDifference(const std::vector<StreamCall>& rCalls,
                                  const std::vector<StreamModel::EResponseCode>& rResults,
                                  std::size_t nThrowing) {
    MemoryRequest tRequest;
    tRequest.tResults = rResults;
    tRequest.tResults.push_back(kiv::HttpResponseProvider::kRCOK);
    tRequest.fOnCall = [&](const MemoryRequest::Calls& r) {
        if (r.size() == nThrowing + 1) throw std::runtime_error("thrown");
    };
    MemoryResponse tResponse;
    MemoryExchange tExchange(tRequest, tResponse);
    kiv::KIVServerHttpStream tStream(tExchange.getRequest(), tExchange.getResponse(), {});
    StreamModel tModel(rResults, nThrowing);

    const auto fFailure = [](const auto& fAct) -> std::string {
        try {
            fAct();
            return "";
        } catch (const Exception& e) {
            return toUtf8(e.getMessageText());
        } catch (const std::runtime_error& e) {
            return e.what();
        }
    };
    const auto fDescribe = [&] {
        return std::to_string(tStream.getStatusCode()) + (tStream.IsCommitted() ? " committed" : "") +
               (tStream.isStreamDead() ? " dead" : "") + " text " +
               std::string(tStream.getUnicodeBuffer().getUtf8()) + " bytes " +
               std::string(tStream.getByteBuffer().view());
    };
    const auto fSameCall = [](const std::string& sCall, std::string sExpected) {
        if (!sExpected.ends_with("<now>")) return sCall == sExpected;
        sExpected.resize(sExpected.size() - 5);
        return sCall.starts_with(sExpected) && sCall.size() == sExpected.size() + 29;
    };
    for (std::size_t n = 0; n <= rCalls.size(); ++n) {
        const auto fStep = [&](auto& r) {
            return fFailure([&] { n < rCalls.size() ? rCalls[n].apply(r, false) : r.endResponse(); });
        };
        const std::string sThere = fStep(tStream) + " / " + fDescribe();
        const std::string sHere = fStep(tModel) + " / " + tModel.describe();
        if (sThere != sHere) return "call " + std::to_string(n) + ": " + sThere + "; expected " + sHere;
    }
    const auto [itCall, itExpected] = std::ranges::mismatch(tResponse.tCalls, tModel.getCalls(), fSameCall);
    if (itCall != tResponse.tCalls.end() || itExpected != tModel.getCalls().end())
        return (itCall == tResponse.tCalls.end() ? "" : *itCall) + "; expected " +
               (itExpected == tModel.getCalls().end() ? "" : *itExpected);
    if (!tModel.isMisused() && !tResponse.tBreaches.empty()) return tResponse.tBreaches[0];
    return "";
}

}  // namespace test
