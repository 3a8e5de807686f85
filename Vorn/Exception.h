// Failures and time: the library's exceptions.
#pragma once

#include "platform/Export.h"

namespace Vorn::Exception {

/// What the library throws for misuse and broken invariants. Apart from that it throws only
/// `std::bad_alloc` and what the standard strings throw. Not a `std::exception`. Throw it by value
/// and catch it by reference, across modules too. It does not own its texts: copies share them, and
/// they must outlive every copy.
class VORN_EXPORT Base {
public:
    virtual ~Base();

    /// The name of the exception's class, "LogicError" or "RuntimeError".
    virtual const char* what() const;
    virtual const char* msg() const;
    /// The source file that threw. The library names the topic, such as "Vorn/VornIniFile".
    virtual const char* file() const;
    /// The line of the throw in that file.
    virtual int line() const;

protected:
    Base(const char* what, const char* message, const char* file, int line);
    Base(const Base&) = default;
    Base& operator=(const Base&) = default;

private:
    const char* whatText;
    const char* msgText;
    const char* fileText;
    int lineNumber;
};

/// A call of an operation that is not implemented.
class VORN_EXPORT LogicError : public Base {
public:
    LogicError(const char* message, const char* file, int line);
    LogicError(const LogicError&) = default;
    LogicError& operator=(const LogicError&) = default;
    ~LogicError() override;
};

/// A misuse or a failed check.
class VORN_EXPORT RuntimeError : public Base {
public:
    RuntimeError(const char* message, const char* file, int line);
    RuntimeError(const RuntimeError&) = default;
    RuntimeError& operator=(const RuntimeError&) = default;
    ~RuntimeError() override;
};

}  // namespace Vorn::Exception
