#include <gtest/gtest.h>

#include <string>
#include <tuple>
#include <vector>

#include "ky/exceptions.h"

namespace {

using Shown = std::tuple<std::string, int, std::string, std::string>;

// An application subclass that overrides only the output hook, as callers
// are meant to: both notices must reach it. A null pointer shows as "null".
class Recording : public ky::Exception {
 public:
  Recording(const char* file, int line, const char* function)
      : ky::Exception("Recording", file, line, function, "msg") {}
  using ky::Exception::Display;
  void Display(const char* file, int line, const char* function,
               const char* message) const noexcept override {
    shown.emplace_back(file ? file : "null", line, function ? function : "null", message);
  }
  mutable std::vector<Shown> shown;
};

TEST(Exception, HooksReachTheOutputHook) {
  Recording unknown(nullptr, 3, nullptr);
  unknown.Display("m");
  unknown.NotifyCreate();
  unknown.NotifyCatch(nullptr, 7, nullptr);  // the catch site is shown as given
  EXPECT_EQ(
      unknown.shown,
      (std::vector<Shown>{{"<Unknown Source File>", 3, "<Unknown Function>", "m"},
                          {"<Unknown Source File>", 3, "<Unknown Function>", "Exception created!"},
                          {"null", 7, "null", "Exception caught!"}}));
  Recording known("a.cpp", 9, "g");
  known.NotifyCreate();
  known.NotifyCatch("b.cpp", 11, "h");
  EXPECT_EQ(known.shown, (std::vector<Shown>{{"a.cpp", 9, "g", "Exception created!"},
                                             {"b.cpp", 11, "h", "Exception caught!"}}));
}

TEST(KyThrowAssertException, CatchableAsEveryBase) {
  try {
    KyThrowAssertException("unit", 12, "f", "boom");
  } catch (const ky::Exception& e) {
    EXPECT_NE(dynamic_cast<const ky::AssertException*>(&e), nullptr);
    EXPECT_STREQ(e.what(), "boom");
    EXPECT_STREQ(e.File(), "unit");
    EXPECT_EQ(e.Line(), 12);
    EXPECT_STREQ(e.Function(), "f");
    EXPECT_STREQ(e.TypeName(), "AssertException");
  }
  // An empty message reads as "Unknown exception".
  try {
    KyThrowAssertException(nullptr, 0, nullptr, "");
  } catch (const std::exception& e) {
    EXPECT_STREQ(e.what(), "Unknown exception");
  }
}

}  // namespace
