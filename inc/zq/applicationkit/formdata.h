#pragma once

#include <functional>
#include <limits>
#include <vector>

#include "zq/applicationkit/numbertext.h"
#include "zq/applicationkit/requesterror.h"
#include "zq/applicationkit/uploadedfile.h"
#include "zq/httpextension/httpapplication.h"
#include "zq/httpstream/queryparameters.h"

namespace kit {

/// How much a form may hold. Beyond it: a RequestError, of 413, or 400 for the number of fields.
struct ZQ_EXPORT FormLimits {
    std::size_t nMostFields = QueryParameters::knMostParameters;
    /// Characters of each value. What a multipart body may bring of one into memory is for MultipartLimits.
    std::size_t nMostCharacters = 1 << 20;
    std::size_t nMostFiles = 100;                           ///< each holds a descriptor
    std::uint64_t nMostFileBytes = std::uint64_t{1} << 30;  ///< of all files together
    std::string sFolder = {};  ///< for the files; "": the one for temporary files
};

/// What a person has sent with a form: the query of a GET, or a body, URL-encoded or multipart (RFC 7578),
/// all read alike, once, by the constructor.
///
///     kit::FormData tForm(rStream, rRequest);
///     const ZQWString sName = tForm.required(L"name", L"Your name");
///     const int nGuests = tForm.number(L"guests", 1, 12, L"Guests");
///     tForm.check();  // or show tForm.getProblems() beside the fields
///     rStream.addText(std::wstring(sName) + L" and " + std::to_wstring(nGuests - 1));
///
/// Values come in the order of the form, repeated names included. For one thread.
class ZQ_EXPORT FormData {
public:
    using Field = QueryParameters::Parameter;
    /// Takes the bytes of a file that has a name while they come in, instead of a temporary file, and within
    /// the limits. What it leaves of them is skipped; what it throws passes.
    using TakeFile = std::function<void(const FileInfo& rInfo, InputStream& rBytes)>;

    /// A field that is not as it should be.
    struct ZQ_EXPORT Problem {
        ZQWString sField;    ///< its name
        ZQWString sMessage;  ///< a sentence for the person at the form; plain text
    };

    /// Reads the body if there is one, and else the query. Throws RequestError: 400 for a malformed form or
    /// one with too many fields, 413 beyond the other limits, 415 for a body that is no form (RFC 9110
    /// section 15.5.16), 507 when there is no room for its files. Failures of the system are
    /// std::system_error.
    FormData(ZQHttpStream& rStream, const HttpApplicationRequest& rRequest, const FormLimits& rLimits = {},
             const TakeFile& fTakeFile = {});

    /// The first value of a name, letter case included, or null; valid as long as this object. A check box
    /// that is not ticked is not there.
    const ZQWString* find(std::wstring_view sName) const noexcept;
    /// The first value of a name, or sDefault.
    ZQWString get(std::wstring_view sName, const ZQWString& sDefault = {}) const;
    /// All values of a name, in order.
    tl::vector<ZQWString> getAll(std::wstring_view sName) const;
    const tl::vector<Field>& getFields() const noexcept { return m_tFields; }
    /// The files of a multipart form, in order, unless they were taken. A field for a file where none was
    /// chosen has none.
    std::vector<UploadedFile>& getFiles() noexcept { return m_tFiles; }

    /// The first value of a name, without white space around it. One that is missing, or has nothing but
    /// white space, is noted as a problem, with the label that the person sees; "": the name.
    ZQWString required(std::wstring_view sName, std::wstring_view sLabel = {});
    /// The first value of a name as a whole number. One that is missing, none, or out of range is noted as a
    /// problem, and nLeast returned.
    template <WholeNumber T = int>
    T number(std::wstring_view sName, T nLeast = std::numeric_limits<T>::min(),
             T nMost = std::numeric_limits<T>::max(), std::wstring_view sLabel = {}) {
        return static_cast<T>(readNumber(sName, nLeast, nMost, sLabel));
    }
    /// Notes a problem that the application sees.
    void addProblem(std::wstring_view sName, std::wstring_view sMessage);
    const std::vector<Problem>& getProblems() const noexcept { return m_tProblems; }
    /// Throws a RequestError of 400 with all messages if there is a problem.
    void check() const;

private:
    class MultipartBody;

    void readUrlEncoded(NarrowRefString sText, const HttpApplicationRequest& rRequest,
                        const FormLimits& rLimits);
    long long readNumber(std::wstring_view sName, long long nLeast, long long nMost,
                         std::wstring_view sLabel);

    tl::vector<Field> m_tFields;
    std::vector<UploadedFile> m_tFiles;
    std::vector<Problem> m_tProblems;
};

}  // namespace kit
