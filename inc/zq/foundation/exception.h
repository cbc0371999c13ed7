#pragma once

#include "zq/foundation/gdvalue.h"
#include "zq/foundation/hostallocator.h"
#include "zq/foundation/tl.h"
#include "zq/foundation/zqexport.h"

/// Root of this system's exceptions: a message with numbered inserts, and the place it was thrown from.
/// Thrown by value and caught by reference; clone() is for those who keep one beyond the catch block.
class ZQ_EXPORT Exception : public HostAllocated {
public:
    /// rMessage: a fixed text, or an ExternalMessage whose text the message files hold.
    explicit Exception(const GDValue& rMessage);
    Exception(const Exception&);
    Exception& operator=(const Exception&) = delete;
    virtual ~Exception();

    /// Throws a copy of this exception as an Exception: message, inserts and place are kept, the class is
    /// not.
    [[noreturn]] virtual void throwMe() const;
    /// A heap copy of the same class; the caller deletes it.
    virtual Exception* clone() const;

    /// Gives the message's insert %nIndex (1 to 9) a value.
    void setMsgInsert(unsigned int nIndex, const GDValue& rValue);
    const GDValue& getMessage() const noexcept { return m_tMessage; }
    /// The message as people read it, inserts filled.
    ZQWString getMessageText() const;
    /// Where it was thrown; null and 0 until prethrowProcess() has seen it.
    const wchar_t* getThrowFile() const noexcept { return m_pThrowFile; }
    int getThrowLine() const noexcept { return m_nThrowLine; }

    /// To be called with every exception just before it is thrown: notes the place in it, and reports it when
    /// bLog is true. pFile must live as long as the process.
    static void prethrowProcess(const Exception& rException, bool bLog, const wchar_t* pFile, int nLine);

    /// Receives every exception that prethrowProcess() is to log; must not throw.
    using PrethrowReporter = void (*)(const Exception& rException) noexcept;
    /// Sets the reporter (the logger does it when it is loaded) and returns the one before, perhaps null.
    static PrethrowReporter setPrethrowReporter(PrethrowReporter pReporter) noexcept;

private:
    GDValue m_tMessage;
    tl::vector<GDValue> m_tInserts;
    mutable const wchar_t* m_pThrowFile = nullptr;
    mutable int m_nThrowLine = 0;
};

/// What an exception class Self that can be copied is derived from, so that it can clone() itself.
template <class Self, class Base = Exception>
class ZQ_EXPORT ClonedException : public Base {
public:
    using Base::Base;
    Exception* clone() const override { return new Self(static_cast<const Self&>(*this)); }
};

/// Hands the exception to Exception::prethrowProcess() and throws a copy of it.
template <class E>
[[noreturn]] void ZQTHROW_prethrowProcessException(const E& e, bool bLog, const wchar_t* pFile, int nLine) {
    Exception::prethrowProcess(e, bLog, pFile, nLine);
    throw e;
}

/// The current source file as wide text, for the operations that record a place.
#define ZQ_WIDEN_LITERAL2(s) L##s
#define ZQ_WIDEN_LITERAL(s) ZQ_WIDEN_LITERAL2(s)
#define ZQ_WFILE ZQ_WIDEN_LITERAL(__FILE__)

/// A null Handle was used.
class ZQ_EXPORT InvalidHandleException : public ClonedException<InvalidHandleException> {
public:
    InvalidHandleException();
};
