#include "Vorn/Exception.h"

namespace Vorn::Exception {

Base::Base(const char* what, const char* message, const char* file, int line)
    : whatText(what), msgText(message), fileText(file), lineNumber(line) {}

Base::~Base() = default;

const char* Base::what() const {
    return whatText;
}

const char* Base::msg() const {
    return msgText;
}

const char* Base::file() const {
    return fileText;
}

int Base::line() const {
    return lineNumber;
}

LogicError::LogicError(const char* message, const char* file, int line)
    : Base("LogicError", message, file, line) {}

LogicError::~LogicError() = default;

RuntimeError::RuntimeError(const char* message, const char* file, int line)
    : Base("RuntimeError", message, file, line) {}

RuntimeError::~RuntimeError() = default;

}  // namespace Vorn::Exception
