#include <gtest/gtest.h>

#include <memory>
#include <typeinfo>
#include <vector>

#include "support/asserttext.h"
#include "zq/foundation/characterset.h"
#include "zq/foundation/exception.h"
#include "zq/foundation/inputstream.h"

namespace {

TEST(Exception, ClonesKeepClassTextAndPlace) {
    const auto fCheck = [](const auto& rException) {
        Exception::prethrowProcess(rException, false, L"place.cpp", 12);
        const std::unique_ptr<Exception> pClone(rException.clone());
        const Exception& rClone = *pClone;
        EXPECT_EQ(typeid(rClone), typeid(rException));
        EXPECT_EQ(rClone.getMessageText(), rException.getMessageText());
        EXPECT_FALSE(rClone.getMessageText().empty());
        EXPECT_STREQ(rClone.getThrowFile(), L"place.cpp");
        EXPECT_EQ(rClone.getThrowLine(), 12);
    };
    fCheck(InputStream::UnexpectedEOF(7, 3));
    fCheck(InputStream::SeekNotSupported());
    fCheck(InvalidHandleException());
    const CharacterSet::UnknownCharset tCharset(L"x-%1");
    fCheck(tCharset);
    EXPECT_EQ(toUtf8(tCharset.getMessageText()), "The character set \"x-%1\" is not known.");
}

TEST(Exception, ThrowMeKeepsAllButTheClass) {
    try {
        InputStream::UnexpectedEOF(1, 0).throwMe();
        FAIL();
    } catch (const Exception& e) {
        EXPECT_EQ(typeid(e), typeid(Exception));
        EXPECT_EQ(e.getMessageText(), InputStream::UnexpectedEOF(1, 0).getMessageText());
    }
}

TEST(Exception, FillsInsertsOneToNine) {
    Exception e(GDString(L"%1 %2 %9"));
    e.setMsgInsert(9, GDString(L"nine"));
    e.setMsgInsert(1, GDUInteger(18446744073709551615u));
    e.setMsgInsert(0, GDString(L"none"));
    e.setMsgInsert(10, GDString(L"none"));
    EXPECT_EQ(toUtf8(e.getMessageText()), "18446744073709551615  nine");
}

std::vector<std::string> s_tReported;

TEST(Exception, PrethrowNotesThePlaceAndReportsOnDemand) {
    const auto pBefore = Exception::setPrethrowReporter([](const Exception& e) noexcept {
        s_tReported.push_back(toUtf8(e.getThrowFile()) + ":" + std::to_string(e.getThrowLine()));
    });
    for (bool bLog : {true, false}) {
        try {
            ZQTHROW_prethrowProcessException(InvalidHandleException(), bLog, L"file.cpp", 34);
        } catch (const InvalidHandleException& e) {
            EXPECT_EQ(e.getThrowLine(), 34);
        }
    }
    Exception::setPrethrowReporter(pBefore);
    EXPECT_EQ(s_tReported, std::vector<std::string>{"file.cpp:34"});
}

}  // namespace
