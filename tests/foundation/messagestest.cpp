#include <gmock/gmock.h>

#include "support/asserttext.h"
#include "support/manythreads.h"
#include "support/temporarydirectory.h"
#include "zq/foundation/exception.h"
#include "zq/foundation/messagefilesregistry.h"
#include "zq/foundation/messageformatter.h"

namespace {

using test::filled;
using testing::HasSubstr;

std::string formatted(std::wstring_view sMessage, std::initializer_list<GDValue> tInserts) {
    return toUtf8(filled<wchar_t>([&](WideStringBufferBase& r) { formatMessage(r, sMessage, tInserts); }));
}

TEST(FormatMessage, FillsInserts) {
    struct {
        const wchar_t* pMessage;
        const char* pResult;
    } const kpCases[] = {
        {L"", ""},
        {L"plain", "plain"},
        {L"%1, %2!", "one %2, 10485760!"},  // what an insert holds is not looked at again
        {L"%2%1%2", "10485760one %210485760"},
        {L"%3 %9 %0", "%3 %9 %0"},
        {L"100% 100%% %", "100% 100% %"},
        {L"%%1", "%1"},
        {L"%{bytes:2}", "10 MiB"},
        {L"%{BYTES:2}", "10 MiB"},
        {L"%{bytes:1}", "one %2"},  // a text has no bytes to count
        {L"%{other:2} %{:2}", "10485760 10485760"},
        {L"%{bytes:2 %{bytes2} %{:} %{2}", "%{bytes:2 %{bytes2} %{:} %{2}"},
    };
    for (const auto& r : kpCases)
        EXPECT_EQ(formatted(r.pMessage, {GDString(L"one %2"), GDUInteger(10485760)}), r.pResult);
}

TEST(MessageFormatterTagRegistrar, TakesTagsUntilThePeriodEnds) {
    const auto fShout = [](WideStringBufferBase& r, const GDValue& rValue) {
        rValue.appendTo(r);
        r.append(L'!');
    };
    EXPECT_TRUE(MessageFormatterTagRegistrar::registerTag(ZQWString(L"shout"), fShout));
    MessageFormatterTagRegistrar::endRegistrationPeriod();
    EXPECT_FALSE(MessageFormatterTagRegistrar::registerTag(ZQWString(L"late"), fShout));
    MessageFormatterTagRegistrar::endRegistrationPeriod();
    EXPECT_EQ(formatted(L"%{shout:1} %{late:1}", {GDString(L"hey")}), "hey! hey");
}

class MessageFiles : public testing::Test {
protected:
    MessageFiles() { m_rRegistry.addDirectory(m_tDirectory.path()); }

    /// Registers a file with these contents and returns what is wrong with it.
    std::string load(const std::string& sName, std::string_view sXml) {
        m_tDirectory.write(sName, sXml);
        m_rRegistry.registerMessageFiles(ZQWString(std::wstring(sName.begin(), sName.end())));
        return m_rRegistry.loadMessages();
    }
    static std::string text(const wchar_t* pKey) {
        return toUtf8(
            MessageFilesRegistry::getInstance().findMessage(ZQWString(pKey)).value_or(ZQWString(L"(none)")));
    }

    test::TemporaryDirectory m_tDirectory;
    MessageFilesRegistry& m_rRegistry = MessageFilesRegistry::getInstance();
};

TEST_F(MessageFiles, GiveExceptionsTheirText) {
    Exception e(ExternalMessage(ZQWString(L"kmsgGood"), ExternalMessage::kNone));
    e.setMsgInsert(1, GDUInteger(42));
    EXPECT_EQ(e.getMessageText(), L"kmsgGood");
    EXPECT_EQ(load("good.xml", "<messages><message key='kmsgGood'>%1 &lt;b\xC3\xA9&gt;</message></messages>"),
              "");
    EXPECT_EQ(toUtf8(e.getMessageText()), "42 <b\xC3\xA9>");
    EXPECT_EQ(text(L"kmsgUnknown"), "(none)");
}

TEST_F(MessageFiles, AreReadOnceAndByTheFirstLookup) {
    m_tDirectory.write("lazy.xml", "<messages><message key='lazy'>first</message></messages>");
    m_rRegistry.registerMessageFiles(ZQWString(L"lazy.xml"));
    EXPECT_EQ(text(L"lazy"), "first");
    EXPECT_EQ(load("lazy.xml", "<messages><message key='lazy'>second</message></messages>"), "");
    EXPECT_EQ(text(L"lazy"), "first");
}

TEST_F(MessageFiles, SayWhatIsWrongWithThem) {
    m_rRegistry.registerMessageFiles(ZQWString(L"missing.xml"));
    EXPECT_THAT(m_rRegistry.loadMessages(), HasSubstr("missing.xml: "));
    EXPECT_THAT(load("broken.xml", "<messages><message key='k1'>"), HasSubstr("broken.xml: "));
    EXPECT_THAT(load("other.xml", "<texts><message key='k2'>x</message></texts>"), HasSubstr("other.xml: "));
    EXPECT_THAT(load("nokey.xml", "<messages><message>x</message></messages>"), HasSubstr("nokey.xml: "));
    EXPECT_THAT(
        load("twice.xml", "<messages><message key='k3'>a</message><message key='k3'>b</message></messages>"),
        HasSubstr("\"k3\""));
    EXPECT_THAT(load("again.xml", "<messages><message key='k3'>c</message></messages>"),
                HasSubstr("again.xml: "));
    EXPECT_EQ(text(L"k3"), "a");
}

TEST_F(MessageFiles, ComeFromTheDirectoryAddedLast) {
    const test::TemporaryDirectory tOverride;
    m_rRegistry.addDirectory(tOverride.path());
    tOverride.write("both.xml", "<messages><message key='both'>override</message></messages>");
    EXPECT_EQ(load("both.xml", "<messages><message key='both'>plain</message></messages>"), "");
    EXPECT_EQ(text(L"both"), "override");
}

TEST_F(MessageFiles, AreLookedUpWhileOthersAreRegistered) {
    EXPECT_EQ(load("stable.xml", "<messages><message key='stable'>here</message></messages>"), "");
    const auto fLookUp = [] {
        for (int n = 0; n < 200; ++n)
            ASSERT_EQ(text(L"stable"), "here");
    };
    test::onThreads(3, fLookUp, [this] {
        for (int n = 0; n < 20; ++n)
            EXPECT_EQ(load("more" + std::to_string(n) + ".xml", "<messages/>"), "");
    });
}

}  // namespace
