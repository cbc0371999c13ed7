#include "zq/applicationkit/sendfile.h"

#include <sys/stat.h>

#include <algorithm>
#include <cerrno>
#include <system_error>
#include <vector>

#include "conditions.h"
#include "zq/applicationkit/requesterror.h"

namespace kit {

namespace {

constexpr std::size_t knStep = std::size_t{64} * 1024;
/// Coarser than the clocks of all file systems that files are served from, in seconds.
constexpr std::time_t knSettled = 2;

std::wstring hex(unsigned long long n) {
    std::wstring s;
    for (; n != 0 || s.empty(); n >>= 4)
        s.insert(s.begin(), L"0123456789abcdef"[n & 15]);
    return s;
}

Validators makeValidators(const struct stat& rStatus, const FileDescription& rDescription) {
    const std::time_t nNow = std::time(nullptr), nChanged = rStatus.st_mtim.tv_sec;
    const std::wstring sTag = L'"' + hex(static_cast<unsigned long long>(nChanged)) + L'.' +
                              hex(static_cast<unsigned long long>(rStatus.st_mtim.tv_nsec)) + L'-' +
                              hex(static_cast<unsigned long long>(rStatus.st_size)) +
                              std::wstring(rDescription.sEncoding) + L'"';
    // ZQHttpStream takes 0 for now.
    return {sTag, std::clamp<std::time_t>(nChanged, 1, nNow), nChanged <= nNow - knSettled};
}

bool isHead(ZQHttpStream& rStream) {
    ZQWString sMethod;
    return rStream.GetServerVariable("REQUEST_METHOD", sMethod) && sMethod == L"HEAD";
}

/// Sends that part. Of a HEAD no more than it takes for the head to be that of a GET.
void sendBytes(ZQHttpStream& rStream, const Descriptor& rFile, WantedRange tPart, bool bHead,
               const std::function<bool()>& fCancelled) {
    const bool bOneStep = tPart.nCount <= knStep;
    std::vector<char> tBuffer(std::min<std::uint64_t>(tPart.nCount, knStep));
    while (tPart.nCount != 0) {
        if (fCancelled && fCancelled()) throw Exception(GDString(L"The sending of a file was cancelled."));
        const std::size_t nWanted = std::min<std::uint64_t>(tPart.nCount, tBuffer.size());
        const ssize_t n = pread(rFile.get(), tBuffer.data(), nWanted, static_cast<off_t>(tPart.nFirst));
        if (n < 0 && errno == EINTR) continue;
        if (n < 0) throw std::system_error(errno, std::generic_category(), "cannot read a file");
        if (n == 0) throw Exception(GDString(L"A file became shorter while it was sent."));
        rStream.writeBinary(tBuffer.data(), static_cast<std::size_t>(n));
        if (!bOneStep) rStream.Flush();
        if (bHead && !bOneStep) return;
        tPart.nFirst += static_cast<std::size_t>(n);
        tPart.nCount -= static_cast<std::size_t>(n);
    }
}

void describe(ZQHttpStream& rStream, const FileDescription& r, const Validators& rValidators) {
    rStream.SetContentType(r.sType);
    const bool bText = r.sType.view().starts_with(L"text/");
    rStream.SetOutputCharset(bText ? CharacterSet::utf8() : Handle<const CharacterSet>());
    if (!r.sEncoding.empty()) rStream.AddHeader(L"Content-Encoding", r.sEncoding);
    rStream.AddHeader(L"X-Content-Type-Options", L"nosniff");
    rStream.SetLastModified(rValidators.nModified);
}

}  // namespace

void sendFile(ZQHttpStream& rStream, const Descriptor& rFile, const FileDescription& rDescription) {
    struct stat tStatus {};
    if (fstat(rFile.get(), &tStatus) != 0)
        throw std::system_error(errno, std::generic_category(), "cannot look at a file");
    const auto nSize = static_cast<std::uint64_t>(tStatus.st_size);
    const Validators tValidators = makeValidators(tStatus, rDescription);
    const bool bHead = isHead(rStream);
    const EPrecondition eCondition = evaluateConditions(rStream, tValidators);
    WantedRange tPart = bHead ? WantedRange() : readRange(rStream, tValidators, nSize);

    if (eCondition == EPrecondition::kFailed) return rStream.setErrorStatusCode(412);
    rStream.AddHeader(L"Accept-Ranges", L"bytes");
    if (eCondition == EPrecondition::kHolds && tPart.eKind == WantedRange::kUnsatisfiable) {
        rStream.AddHeader(L"Content-Range", ZQWString(L"bytes */" + std::to_wstring(nSize)));
        return rStream.setStatusCode(416);
    }
    rStream.AddHeader(L"ETag", ZQWString((tValidators.bStrong ? L"" : L"W/") + tValidators.sTag));
    if (eCondition == EPrecondition::kNotModified) rStream.SendNotModified();
    if (rDescription.nFreshSeconds) rStream.setExpireSeconds(*rDescription.nFreshSeconds);
    if (eCondition == EPrecondition::kNotModified) return;
    describe(rStream, rDescription, tValidators);
    if (tPart.eKind == WantedRange::kWhole) {
        tPart.nCount = nSize;
    } else {
        rStream.setStatusCode(206);
        rStream.AddHeader(L"Content-Range", ZQWString(L"bytes " + std::to_wstring(tPart.nFirst) + L'-' +
                                                      std::to_wstring(tPart.nFirst + tPart.nCount - 1) +
                                                      L'/' + std::to_wstring(nSize)));
    }
    sendBytes(rStream, rFile, tPart, bHead, rDescription.fCancelled);
}

bool sendNotModified(ZQHttpStream& rStream, std::time_t nModified) {
    const EPrecondition eCondition = evaluateConditions(rStream, {L"", nModified, true});
    if (eCondition == EPrecondition::kFailed)
        throw RequestError(412, L"This has changed since you have seen it.");
    if (eCondition == EPrecondition::kNotModified)
        rStream.SendNotModified();
    else
        rStream.SetLastModified(nModified);
    return eCondition == EPrecondition::kNotModified;
}

}  // namespace kit
