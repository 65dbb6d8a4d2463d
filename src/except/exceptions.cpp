#include "ky/exceptions.h"

namespace ky {

Exception::Exception(const char* type_name, const char* file, int line, const char* function,
                     const std::string& message)
    : type_name_(type_name), file_(file), line_(line), function_(function), message_(message) {}

// Defined out of line so that the vtable and typeinfo live in the library
// and a caller's catch clause matches objects thrown from inside it.
Exception::~Exception() = default;

const char* Exception::what() const noexcept {
  return message_.empty() ? "Unknown exception" : message_.c_str();
}

void Exception::Display(const char*, int, const char*, const char*) const noexcept {}

void Exception::Display(const char* message) const noexcept {
  Display(file_ ? file_ : "<Unknown Source File>", line_,
          function_ ? function_ : "<Unknown Function>", message);
}

void Exception::NotifyCreate() const noexcept { Display("Exception created!"); }

// The catch site is shown as the catcher gave it: that location is the point
// of the notice, so no defaults are put in for null.
void Exception::NotifyCatch(const char* file, int line, const char* function) const noexcept {
  Display(file, line, function, "Exception caught!");
}

AssertException::AssertException(const char* file, int line, const char* function,
                                 const std::string& message)
    : Exception("AssertException", file, line, function, message) {}

AssertException::~AssertException() = default;

void AssertException::Display(const char*, int, const char*, const char*) const noexcept {}

}  // namespace ky

void KyThrowAssertException(const char* file, int line, const char* function, const char* message) {
  // The message string is built before the exception object, so a failed
  // copy surfaces as std::bad_alloc rather than a half-made assertion.
  std::string text(message);
  throw ky::AssertException(file, line, function, text);
}
