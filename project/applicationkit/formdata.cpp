#include "zq/applicationkit/formdata.h"

#include <algorithm>

#include "mediatype.h"
#include "zq/httpstream/multiparterrors.h"

namespace kit {

namespace {

constexpr std::size_t knChunk = std::size_t{64} * 1024;
constexpr std::wstring_view s_ksSpace = L" \t\r\n\f\v\u00A0\u3000";

std::wstring_view withoutSpace(std::wstring_view s) noexcept {
    const std::size_t nFirst = s.find_first_not_of(s_ksSpace);
    return nFirst == s.npos ? std::wstring_view()
                            : s.substr(nFirst, s.find_last_not_of(s_ksSpace) + 1 - nFirst);
}

[[noreturn]] void refuseTooManyFields() {
    throw RequestError(400, L"There are too many parameters or fields.");
}

void checkLength(const FormData::Field& rField, const FormLimits& rLimits) {
    if (rField.sValue.length() > rLimits.nMostCharacters)
        throw RequestError(413, L"The text in \"" + std::wstring(rField.sName) + L"\" is too long; at most " +
                                    std::to_wstring(rLimits.nMostCharacters) + L" characters are taken.");
}

/// A body that has been read already is URL-encoded, or something else that no page for forms takes.
void checkType(std::wstring_view sType, bool bBodyInStream) {
    const bool bKnown = bBodyInStream
                            ? equalNoCase(sType, L"multipart/form-data")
                            : sType.empty() || equalNoCase(sType, L"application/x-www-form-urlencoded");
    if (!bKnown)
        throw RequestError(415,
                           L"This page takes forms, of the type multipart/form-data or "
                           L"application/x-www-form-urlencoded.");
}

}  // namespace

/// The parts of a multipart body, one after the other.
class FormData::MultipartBody {
public:
    MultipartBody(FormData& rForm, ZQHttpStream& rStream, const HttpApplicationRequest& rRequest,
                  const FormLimits& rLimits, const TakeFile& fTakeFile)
        : m_rForm(rForm),
          m_rStream(rStream),
          m_hCharset(rRequest.hParameterCharset ? rRequest.hParameterCharset : CharacterSet::utf8()),
          m_rLimits(rLimits),
          m_fTakeFile(fTakeFile) {}

    void read() {
        for (bool bMore = takePart(&ZQHttpStream::getFirstParam); bMore;)
            bMore = takePart(&ZQHttpStream::getNextParam);
    }

private:
    /// The bytes of a file, for whoever takes it.
    class CountedBytes final : public InputStream {
    public:
        explicit CountedBytes(MultipartBody& rBody) noexcept : m_rBody(rBody) {}

    private:
        std::size_t readBytesImpl(void* pBuffer, std::size_t nSize) override {
            return m_rBody.readBytes(pBuffer, nSize);
        }
        MultipartBody& m_rBody;
    };
    using Fetch = int (ZQHttpStream::*)(ZQHttpStream::Param&, const Handle<const CharacterSet>&);

    /// False at the end. A part without a disposition leaves the record alone, as the end does; one with an
    /// empty name does not.
    bool takePart(Fetch pFetch) {
        const ZQWString sUntouched(L"\1");
        m_tParam.sParamName = sUntouched;
        const int nPart = (m_rStream.*pFetch)(m_tParam, m_hCharset);
        const bool bUntouched = m_tParam.sParamName == sUntouched;
        if (bUntouched && nPart < 0) return false;
        if (bUntouched || nPart < 0)
            throw RequestError(400, L"This is no proper form: among its parts is one without a name.");
        if (m_tParam.eValue == ZQHttpStream::Param::kUseStream)
            takeFile();
        else
            takeField();
        return true;
    }
    void takeField() {
        if (m_rForm.m_tFields.size() == m_rLimits.nMostFields) refuseTooManyFields();
        checkLength(m_rForm.m_tFields.emplace_back(Field{m_tParam.sParamName, m_tParam.sParamValue}),
                    m_rLimits);
    }
    /// Browsers send a part without name and content where no file was chosen.
    void takeFile() {
        const FileInfo tInfo{m_tParam.sParamName, m_tParam.sFileName, m_tParam.sParamContentType};
        if (m_fTakeFile && !tInfo.sName.empty()) {
            countFile();
            return m_fTakeFile(tInfo, *makeHandle<CountedBytes>(*this));
        }
        std::size_t n = readChunk();
        if (n == 0 && tInfo.sName.empty()) return;
        countFile();
        UploadedFile tFile{tInfo, NamelessFile(m_rLimits.sFolder)};
        for (; n != 0; n = readChunk())
            tFile.tContent.append({m_tChunk.data(), n});
        m_rForm.m_tFiles.push_back(std::move(tFile));
    }
    void countFile() {
        if (m_nFiles++ == m_rLimits.nMostFiles)
            throw RequestError(
                413, L"At most " + std::to_wstring(m_rLimits.nMostFiles) + L" files can come at once.");
    }
    std::size_t readChunk() {
        m_tChunk.resize(knChunk);
        return readBytes(m_tChunk.data(), m_tChunk.size());
    }
    std::size_t readBytes(void* pBuffer, std::size_t nSize) {
        const std::size_t n = m_tParam.hStream->readBytes(pBuffer, nSize);
        m_nBytes += n;
        if (m_nBytes > m_rLimits.nMostFileBytes)
            throw RequestError(413, L"These files are too large; at most " +
                                        std::to_wstring(m_rLimits.nMostFileBytes) + L" bytes are taken.");
        return n;
    }

    FormData& m_rForm;
    ZQHttpStream& m_rStream;
    const Handle<const CharacterSet> m_hCharset;
    const FormLimits& m_rLimits;
    const TakeFile& m_fTakeFile;
    ZQHttpStream::Param m_tParam;
    std::vector<char> m_tChunk;
    std::size_t m_nFiles = 0;
    std::uint64_t m_nBytes = 0;
};

FormData::FormData(ZQHttpStream& rStream, const HttpApplicationRequest& rRequest, const FormLimits& rLimits,
                   const TakeFile& fTakeFile) {
    if (rRequest.bBodyInStream || !rRequest.sBody.empty())
        checkType(getMediaType(rStream), rRequest.bBodyInStream);
    if (!rRequest.bBodyInStream) {
        readUrlEncoded(rRequest.sBody.empty() ? rRequest.sQueryString : rRequest.sBody, rRequest, rLimits);
        return;
    }
    try {
        MultipartBody(*this, rStream, rRequest, rLimits, fTakeFile).read();
    } catch (const MultipartError& e) {
        throw RequestError(400,
                           L"This form is incomplete, or no proper one. " + std::wstring(e.getMessageText()));
    }
}

void FormData::readUrlEncoded(NarrowRefString sText, const HttpApplicationRequest& rRequest,
                              const FormLimits& rLimits) {
    try {
        const QueryParameters tParameters(sText, rRequest.hParameterCharset, rLimits.nMostFields);
        m_tFields.assign(tParameters.begin(), tParameters.end());
    } catch (const QueryParameters::TooManyParameters&) {
        refuseTooManyFields();
    }
    for (const Field& rField : m_tFields)
        checkLength(rField, rLimits);
}

const ZQWString* FormData::find(std::wstring_view sName) const noexcept {
    const auto it = std::ranges::find_if(m_tFields, [sName](const Field& r) { return r.sName == sName; });
    return it == m_tFields.end() ? nullptr : &it->sValue;
}

ZQWString FormData::get(std::wstring_view sName, const ZQWString& sDefault) const {
    const ZQWString* const p = find(sName);
    return p ? *p : sDefault;
}

tl::vector<ZQWString> FormData::getAll(std::wstring_view sName) const {
    tl::vector<ZQWString> tValues;
    for (const Field& rField : m_tFields)
        if (rField.sName == sName) tValues.push_back(rField.sValue);
    return tValues;
}

ZQWString FormData::required(std::wstring_view sName, std::wstring_view sLabel) {
    const ZQWString sValue = get(sName);
    const std::wstring_view sText = withoutSpace(sValue);
    if (sText.empty())
        addProblem(sName, L"Please fill in \"" + std::wstring(sLabel.empty() ? sName : sLabel) + L"\".");
    return ZQWString(sText);
}

long long FormData::readNumber(std::wstring_view sName, long long nLeast, long long nMost,
                               std::wstring_view sLabel) {
    const ZQWString sText = required(sName, sLabel);
    long long nValue = nLeast;
    if (!sText.empty() && !parseNumber(sText, nLeast, nMost, nValue))
        addProblem(sName, L"\"" + std::wstring(sLabel.empty() ? sName : sLabel) + L"\" should be " +
                              describeNumber(nLeast, nMost) + L".");
    return nValue;
}

void FormData::addProblem(std::wstring_view sName, std::wstring_view sMessage) {
    m_tProblems.push_back({ZQWString(sName), ZQWString(sMessage)});
}

void FormData::check() const {
    std::wstring sAll;
    for (const Problem& rProblem : m_tProblems)
        sAll += (sAll.empty() ? L"" : L" ") + std::wstring(rProblem.sMessage);
    if (!sAll.empty()) throw RequestError(400, sAll);
}

}  // namespace kit
