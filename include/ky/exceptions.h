// File: ky/exceptions.h
//
// The library's exception classes and the assertion entry.
//
// ky::Exception carries where it was raised (file, line, function), a kind
// name and a message. Its display hooks print nothing here: an application
// derives from it and overrides the four-argument Display to route the
// "created" and "caught" notices wherever it likes. Typeinfo and vtables are
// exported, so callers catch these types across the library boundary.
#ifndef KY_EXCEPTIONS_H
#define KY_EXCEPTIONS_H

#include "ky/export.h"

#ifdef __cplusplus
#include <exception>
#include <string>

namespace ky {

// The library's exception: where it was raised (file, line, function), the
// name of its kind and a message. Immutable once made; the display hooks let
// an application show "created" and "caught" notices wherever it likes.
class KY_API Exception : public std::exception {
 public:
  // The pointers are stored as given and must outlive the exception (string
  // literals in practice); file and function may be null. The message is
  // copied.
  Exception(const char* type_name, const char* file, int line, const char* function,
            const std::string& message);
  ~Exception() override;

  // The message, or "Unknown exception" when it is empty.
  const char* what() const noexcept override;

  // The output hook: does nothing here; override it to show the notices.
  virtual void Display(const char* file, int line, const char* function,
                       const char* message) const noexcept;
  // Calls the four-argument Display with the stored location, showing
  // "<Unknown Source File>" and "<Unknown Function>" for null pointers.
  virtual void Display(const char* message) const noexcept;
  // Calls Display(message) with "Exception created!".
  virtual void NotifyCreate() const noexcept;
  // Calls the four-argument Display with the catch site's location as given
  // (null stays null) and "Exception caught!".
  virtual void NotifyCatch(const char* file, int line, const char* function) const noexcept;

  // The kind's name ("AssertException" for assertions).
  const char* TypeName() const noexcept { return type_name_; }
  // Where it was raised; File and Function may be null.
  const char* File() const noexcept { return file_; }
  // The source line where it was raised.
  int Line() const noexcept { return line_; }
  // The function where it was raised, or null.
  const char* Function() const noexcept { return function_; }
  // The message as given (what() substitutes for an empty one).
  const std::string& Message() const noexcept { return message_; }

 private:
  const char* type_name_;
  const char* file_;
  int line_;
  const char* function_;
  std::string message_;
};

// A failed assertion. Its Display, like the base's, does nothing.
class KY_API AssertException : public Exception {
 public:
  // An exception of type name "AssertException"; the pointers are stored as
  // given, the message copied.
  AssertException(const char* file, int line, const char* function, const std::string& message);
  ~AssertException() override;

  using Exception::Display;
  void Display(const char* file, int line, const char* function,
               const char* message) const noexcept override;
};

}  // namespace ky
#endif

KY_BEGIN_C

// Throws a ky::AssertException with type name "AssertException", the given
// file, line and function (stored, not copied) and a copy of message, which
// must not be null. Never returns; does not call NotifyCreate. If the message
// cannot be copied, std::bad_alloc propagates instead. Callable only from C++
// frames that can unwind.
KY_API void KyThrowAssertException(const char* file, int line, const char* function,
                                   const char* message) __attribute__((noreturn));

KY_END_C

#endif  // KY_EXCEPTIONS_H
