#include <gtest/gtest.h>

#include <memory>
#include <string>

#include "support/manythreads.h"
#include "zq/foundation/autobuffer.h"
#include "zq/foundation/exception.h"
#include "zq/foundation/handle.h"
#include "zq/foundation/refcounted.h"
#include "zq/foundation/stringbuffer.h"
#include "zq/foundation/zqstring.h"

namespace {

using namespace std::string_literals;

TEST(ZQString, CopiesShareTheirCharacters) {
    const ZQWString sFirst(L"shared");
    ZQWString sCopy(sFirst);
    EXPECT_EQ(sFirst.c_str(), sCopy.c_str());
    sCopy = ZQWString(L"other");
    EXPECT_EQ(sFirst, L"shared");
    const ZQWString sMoved(std::move(sCopy));
    EXPECT_EQ(sMoved, L"other");
    EXPECT_TRUE(sCopy.empty());  // NOLINT(bugprone-use-after-move): a moved-from text is empty
}

TEST(ZQString, AssignsFromItsOwnCharacters) {
    ZQNarrowString s("keep the tail");
    s.assign(s.c_str() + 9, 4);
    EXPECT_EQ(s, "tail");
    const ZQNarrowString& rSelf = s;
    s = rSelf;
    EXPECT_EQ(s, "tail");
}

TEST(ZQString, KeepsNulsAndEndsInOne) {
    const std::string sWithNuls = "a\0b\0"s;
    const ZQNarrowString s(sWithNuls.data(), sWithNuls.size());
    EXPECT_EQ(s.view(), sWithNuls);
    EXPECT_EQ(s.c_str()[s.length()], '\0');
    EXPECT_EQ(ZQNarrowString().c_str()[0], '\0');
    EXPECT_EQ(ZQNarrowString("", 0), ZQNarrowString());
}

TEST(ZQString, IsCopiedAndDroppedOnManyThreads) {
    static const ZQWString s_ksEternal = ZQWString::eternal(L"there for ever");
    for (const ZQWString& sShared : {ZQWString(L"shared by all"), s_ksEternal}) {
        const std::wstring sText(sShared.view());
        test::onThreads(4, [sShared] {
            for (int n = 0; n < 1000; ++n) {
                ZQWString sCopy(sShared), sOther(L"own");
                sOther = sCopy;
                sCopy = ZQWString();
                ASSERT_EQ(sOther, sShared);
            }
        });
        EXPECT_EQ(sShared.view(), sText);
    }
    EXPECT_TRUE(ZQWString::eternal({}).empty());
}

TEST(StringBuffer, KeepsItsTextAcrossGrowth) {
    StringBufferTemplate<4, char> tBuffer;
    std::string sExpected;
    for (int n = 0; n < 100; ++n) {
        const std::string sPiece(static_cast<std::size_t>(n % 7), static_cast<char>('a' + n % 26));
        tBuffer.append(sPiece);
        tBuffer.append('|');
        sExpected += sPiece + '|';
        ASSERT_EQ(tBuffer.view(), sExpected);
        ASSERT_EQ(tBuffer.c_str()[tBuffer.length()], '\0');
    }
    const std::size_t nCapacity = tBuffer.capacity();
    tBuffer.erase(0, 3);
    EXPECT_EQ(tBuffer.view(), sExpected.substr(3));
    tBuffer.truncate(5);
    EXPECT_EQ(tBuffer.view(), sExpected.substr(3, 5));
    tBuffer.clear();
    EXPECT_TRUE(tBuffer.empty());
    EXPECT_EQ(tBuffer.capacity(), nCapacity);
}

TEST(StringBuffer, RefusesSizesThatWouldWrap) {
    StringBuffer tBuffer;
    tBuffer.append(std::wstring_view(L"kept"));
    EXPECT_THROW(tBuffer.getAppendBuffer(SIZE_MAX), std::length_error);
    EXPECT_THROW(tBuffer.getAppendBuffer(SIZE_MAX / sizeof(wchar_t)), std::length_error);
    EXPECT_THROW(tBuffer.reserve(SIZE_MAX / 2), std::length_error);
    EXPECT_EQ(tBuffer.view(), L"kept");
}

TEST(AutoBuffer, UsesTheHeapOnlyBeyondItsOwnRoom) {
    for (std::size_t nCount : {0u, 1u, 16u, 17u, 100000u}) {
        AutoBuffer<char, 16> tBuffer(nCount);
        std::fill_n(tBuffer.get(), nCount, 'x');  // the address sanitizer watches the ends
        const auto* const pObject = reinterpret_cast<const char*>(&tBuffer);
        const bool bInside = tBuffer.get() >= pObject && tBuffer.get() < pObject + sizeof tBuffer;
        EXPECT_EQ(bInside, nCount <= 16) << nCount;
    }
}

struct Probe : RefCounted {
    explicit Probe(int& rnLiving) : m_rnLiving(rnLiving) { ++m_rnLiving; }
    ~Probe() override {
        --m_rnLiving;
        if (m_phWatched) m_bWatchedWasNull = m_phWatched->isNull();
    }
    int& m_rnLiving;
    const Handle<Probe>* m_phWatched = nullptr;
    static inline bool m_bWatchedWasNull = false;
};

TEST(Handle, DeletesWithTheLastOneAndThrowsWhenNullIsUsed) {
    int nLiving = 0;
    Handle<Probe> hFirst = makeHandle<Probe>(nLiving);
    {
        const Handle<const Probe> hConst(hFirst);
        Handle<Probe> hSecond(hFirst), hThird(std::move(hSecond));
        EXPECT_TRUE(hSecond.isNull());  // NOLINT(bugprone-use-after-move): a moved-from handle is null
        EXPECT_THROW(*hSecond, InvalidHandleException);
        EXPECT_THROW(hSecond->addRef(), InvalidHandleException);
        EXPECT_EQ(hThird, hFirst);
        const Handle<Probe>& rSelf = hFirst;
        hFirst = rSelf;
        hFirst.reset();
        EXPECT_EQ(nLiving, 1);
        hFirst = hThird;
    }
    EXPECT_EQ(nLiving, 1);
    hFirst = makeHandle<Probe>(nLiving);
    EXPECT_EQ(nLiving, 1);
    hFirst->makeEternal();
    const std::unique_ptr<Probe> pEternal(hFirst.getPtr());
    Handle<Probe>(hFirst).reset();
    hFirst = nullptr;
    EXPECT_EQ(hFirst, nullptr);
    EXPECT_EQ(nLiving, 1);
}

TEST(Handle, IsNullBeforeItsObjectGoes) {
    int nLiving = 0;
    Handle<Probe> h = makeHandle<Probe>(nLiving);
    h->m_phWatched = &h;
    h.reset();
    EXPECT_EQ(nLiving, 0);
    EXPECT_TRUE(Probe::m_bWatchedWasNull);
}

}  // namespace
