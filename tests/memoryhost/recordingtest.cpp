#include "zq/recording/recording.h"

#include <gmock/gmock.h>

#include "zq/memoryhost/memoryhost.h"
#include "zq/memoryhost/recorded.h"

namespace {

using testing::HasSubstr;

/// Every word of the format, in the form in which it is written.
constexpr std::string_view s_ksRequest = R"(webcontainer recording 1
time 2026-11-23T15:57:14.123456Z
id 0af7651916cd43dd8448eb211c80319c
client 192.0.2.1:40000
request POST /form?x=\\1 HTTP/1.1
seen POST
header Host: h
header X: \xff\x7f tab\t \xc3\xa9 \x20
header Y: "é"
variable URL: /form
length 7
+1 body 4
| é\r\n
+2 body 0
+3 bodyfailed the body ended early
+4 add A: gone
+4 clear
+5 errorstatus 404
+5 announce 70
+5 add Content-Type: text/plain; charset=utf-8
+6 commit ok
+7 write 65 ok
= AAECAwQFBgcICQoLDA0ODxAREhMUFRYXGBkaGxwdHh8gISIjJCUmJygpKissLS4vMDEyMzQ1Njc4
= OTo7PD0+P0A=
+8 write 70000 ok omitted 2
+8 write 3 ok
| abc
+9 end 9 clientdead
| two\n
| lines
+10 exception no luck
+11 sent 404 cut
crc 00000000
)";
constexpr std::string_view s_ksRefused = R"(webcontainer recording 1
time 2026-11-23T15:57:14.123456Z
id 0af7651916cd43dd8448eb211c80319c
client unix:
raw 15
| GET / HTTP/1.2\n
refused 505 a version \\ of no use
crc 00000000
)";

std::string sealed(std::string_view sText) {
    return Recording::read(sText, true).write();
}

std::string replaced(std::string s, std::string_view sWhat, std::string_view sBy) {
    return s.replace(s.find(sWhat), sWhat.size(), sBy);
}

/// The request's recording after an edit.
Recording edited(std::string_view sWhat, std::string_view sBy) {
    return Recording::read(replaced(std::string(s_ksRequest), sWhat, sBy), true);
}

TEST(Recording, IsReadAsItWasWrittenAndNotOtherwise) {
    for (const std::string_view sText : {s_ksRequest, s_ksRefused}) {
        const std::string sSealed = sealed(sText);
        const std::size_t nSum = sSealed.size() - 9;
        EXPECT_EQ(sSealed.substr(0, nSum), sText.substr(0, nSum));
        const Recording tRecording = Recording::read(sSealed);
        EXPECT_EQ(tRecording.write(), sSealed);
        for (std::size_t n = 0; n < sSealed.size(); ++n) {
            EXPECT_THROW(Recording::read(sSealed.substr(0, n)), Recording::Unreadable) << n;
            std::string sChanged = sSealed;
            sChanged[n] = static_cast<char>(sChanged[n] ^ 1);
            EXPECT_THROW(Recording::read(sChanged), Recording::Unreadable) << n;
        }
        EXPECT_EQ(Recording::read(sSealed.substr(0, nSum) + "any\n"), tRecording) << "it says so itself";
    }
    // As zlib has it.
    EXPECT_THAT(sealed(s_ksRefused), testing::EndsWith("\ncrc bef56e99\n"));
}

TEST(Recording, HoldsAnyBytes) {
    Recording t;
    t.tRefusal = {400, "r"};
    for (int n = 0; n < 1000; ++n) {
        EXPECT_EQ(Recording::read(t.write()), t) << n;
        t.sRaw += static_cast<char>(n % 3 == 0 ? n : n % 5 == 0 ? '\n' : ' ');
        t.tRefusal->sReason = t.sId = t.sRaw.substr(t.sRaw.size() / 2);
    }
    for (const std::string_view s :
         {" ", "a ", " \n \n", "\xc3", "\xf0\x9f\x8c\x8d", "\\x", "| a\n= b", "#\n"}) {
        t.sRaw = t.sTime = s;
        EXPECT_EQ(Recording::read(t.write()), t) << s;
    }
    Recording tRan = edited("Host: h", "\\x3aA\\x3a: : b");
    EXPECT_EQ(tRan.tHeaders[0], std::pair(std::string(":A:"), std::string(": b")));
    tRan.sMethod = tRan.sTarget = " a: ";
    EXPECT_EQ(Recording::read(tRan.write()), tRan);
    t.sRaw = "a\n ";
    EXPECT_THAT(t.write(), HasSubstr("\n| a\\n\n| \\x20\n"));
    t.sRaw = '\x7f' + std::string(20, 'a');
    EXPECT_THAT(t.write(), HasSubstr("\n= f2Fh")) << "it is no text";
}

TEST(Recording, SaysWhatIsWrongAndWhere) {
    const std::string sRequest(s_ksRequest);
    const std::tuple<const char*, const char*, const char*> tCases[] = {
        {"recording 1", "recording 2", "line 1: this is no recording"},
        {"+1 body 4", "+1 body 5", "line 14: 4 bytes end here, and their first line says 5"},
        {"| two", "| t\\wo", "line 29: there is no such escape"},
        {"\\xff", "\\xfg", "line 8: there is no such escape"},
        {"A=\n", "A\n", "line 24: this is no base64"},
        {"A=\n", "A*\n", "line 24: this is no base64"},
        {"header Host: h", "header Host", "line 7: a name, a colon"},
        {"length 7", "raw 1\n| x\nlength 7", "line 34: a request that ran has no bytes"},
        {"length 7", "refused 400 x\n", "line 11: of a request that was refused there are only"},
        {"+11 sent 404", "+11 sent 1000", "line 32: a number should stand here"},
        {"header Host", "heeder Host", "line 7: there is no line that begins with \"heeder\""},
        {"length 7", "length -7", "line 11: a number should stand here"},
        {"+4 clear", "+4 clear it", "line 17: the line says more"},
        {"ok omitted 2", "ok committed", "line 25: only that they were omitted"},
        {"omitted 2", "omitted 100000000\n+8 end 1 ok omitted", "line 26: there are more than 100,000,000"},
        {"commit ok", "commit good", "line 21: the result of a call"},
        {"+6 commit", "+6 omit", "line 21: there is no call \"omit\""},
        {"+11 sent 404 cut", "+11 sent 404 half", "line 32: a response is whole or cut"},
        {"+11 sent 404 cut\n", "", "line 32: what was sent is missing"},
        {"crc", "+12 clear\ncrc", "line 33: only the checksum"},
        {"seen POST", "| seen POST", "line 6: there is nothing that these bytes could belong to"},
        {"request POST", "# POST", "line 12: there is no request line"},
        {"00000000\n", "00000000\nmore\n", "line 33: something follows"},
        {"crc 00000000\n", "", "line 33: the file is torn"},
    };
    for (const auto& [pWhat, pBy, pSays] : tCases) {
        try {
            Recording::read(replaced(sRequest, pWhat, pBy));
            ADD_FAILURE() << pBy;
        } catch (const Recording::Unreadable& e) {
            EXPECT_THAT(e.what(), testing::StartsWith(pSays)) << pBy;
        }
    }
    EXPECT_EQ(edited("seen POST\n", "").sSeenMethod, "POST");
    EXPECT_EQ(edited("| two", "# a note\n\n| three").tEvents.back().sBytes, "no luck");
}

TEST(Recording, BecomesARequestAndItsResponse) {
    const Recording tRecording = edited("| two", "| three");
    EXPECT_THAT(tRecording.write(), HasSubstr("\n+9 end 11 clientdead\n| three\\n\n| lines\n"));
    const MemoryRequest tRequest = toMemoryRequest(tRecording);
    EXPECT_EQ(tRequest.sMethod + tRequest.sTarget, "POST/form?x=\\1");
    EXPECT_EQ(tRequest.tHeaders[1].second, "\xff\x7f tab\t \xc3\xa9  ");
    EXPECT_EQ(tRequest.tBody, (std::vector<std::string>{"\xc3\xa9\r\n", ""}));
    EXPECT_EQ(tRequest.tVariables.at("URL"), "/form");
    EXPECT_EQ(tRequest.nContentLength, 7u);
    EXPECT_TRUE(tRequest.bVanishes);
    using enum kiv::HttpResponseProvider::EResponseCode;
    EXPECT_THAT(tRequest.tResults, testing::ElementsAre(kRCOK, kRCOK, kRCOK, kRCOK, kRCOK, kRCClientDead));
    const MemoryResponse tResponse = toMemoryResponse(tRecording);
    EXPECT_EQ(tResponse.nStatus, 404u);
    EXPECT_TRUE(tResponse.bError && tResponse.bEnded && tResponse.bCommitted);
    EXPECT_EQ(tResponse.tHeaders, (Recording::Fields{{"Content-Type", "text/plain; charset=utf-8"}}));
    EXPECT_EQ(tResponse.nContentLength, 70u);
    EXPECT_EQ(tResponse.eResult, kRCClientDead);
    EXPECT_EQ(tResponse.sException, "no luck");
    ASSERT_EQ(tResponse.sBody.size(), 65u);
    for (std::size_t n = 0; n < tResponse.sBody.size(); ++n)
        EXPECT_EQ(tResponse.sBody[n], static_cast<char>(n));
    for (const char* const p :
         {"commit ok\n+6 add Late: 1\n+6 clear", "commit timeout\n+6 add Late: 1\n+6 clear"})
        EXPECT_EQ(toMemoryResponse(edited("commit ok", p)).tHeaders, tResponse.tHeaders);
    EXPECT_EQ(toMemoryResponse(edited(" omitted 2", "")).sBody, tResponse.sBody + "abc");
    EXPECT_EQ(toMemoryRequest(edited("length 7", "length none")).nContentLength, MemoryRequest::knUndeclared);
}

}  // namespace
