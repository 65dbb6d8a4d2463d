#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "ky/exceptions.h"

namespace {

struct Shown {
  const char* file;
  int line;
  const char* function;
  std::string message;
};

// An application subclass that overrides only the output hook, as callers
// are meant to: both notices must reach it.
class Recording : public ky::Exception {
 public:
  Recording(const char* file, int line, const char* function)
      : ky::Exception("Recording", file, line, function, "msg") {}
  using ky::Exception::Display;
  void Display(const char* file, int line, const char* function,
               const char* message) const noexcept override {
    shown.push_back({file, line, function, message});
  }
  mutable std::vector<Shown> shown;
};

TEST(Exception, WhatFallsBackForEmptyMessage) {
  EXPECT_STREQ(ky::Exception("T", nullptr, 0, nullptr, "").what(), "Unknown exception");
  EXPECT_STREQ(ky::Exception("T", nullptr, 0, nullptr, "x").what(), "x");
}

TEST(Exception, HooksReachTheOutputHook) {
  Recording unknown(nullptr, 3, nullptr);
  unknown.Display("m");
  unknown.NotifyCreate();
  // The catch site is shown as given: null stays null.
  unknown.NotifyCatch(nullptr, 7, nullptr);
  ASSERT_EQ(unknown.shown.size(), 3u);
  EXPECT_STREQ(unknown.shown[0].file, "<Unknown Source File>");
  EXPECT_EQ(unknown.shown[0].line, 3);
  EXPECT_STREQ(unknown.shown[0].function, "<Unknown Function>");
  EXPECT_EQ(unknown.shown[0].message, "m");
  EXPECT_EQ(unknown.shown[1].message, "Exception created!");
  EXPECT_EQ(unknown.shown[2].file, nullptr);
  EXPECT_EQ(unknown.shown[2].line, 7);
  EXPECT_EQ(unknown.shown[2].function, nullptr);
  EXPECT_EQ(unknown.shown[2].message, "Exception caught!");

  Recording known("a.cpp", 9, "g");
  known.NotifyCreate();
  known.NotifyCatch("b.cpp", 11, "h");
  ASSERT_EQ(known.shown.size(), 2u);
  EXPECT_STREQ(known.shown[0].file, "a.cpp");
  EXPECT_STREQ(known.shown[0].function, "g");
  EXPECT_STREQ(known.shown[1].file, "b.cpp");
  EXPECT_EQ(known.shown[1].line, 11);
}

TEST(KyThrowAssertException, CatchableAsEveryBase) {
  try {
    KyThrowAssertException("unit", 12, "f", "boom");
  } catch (const ky::AssertException& e) {
    EXPECT_STREQ(e.what(), "boom");
    EXPECT_STREQ(e.File(), "unit");
    EXPECT_EQ(e.Line(), 12);
    EXPECT_STREQ(e.Function(), "f");
    EXPECT_STREQ(e.TypeName(), "AssertException");
  }
  EXPECT_THROW(KyThrowAssertException("unit", 12, "f", "boom"), ky::Exception);
  try {
    KyThrowAssertException(nullptr, 0, nullptr, "");
  } catch (const std::exception& e) {
    EXPECT_STREQ(e.what(), "Unknown exception");
    EXPECT_NE(dynamic_cast<const ky::AssertException*>(&e), nullptr);
  }
}

}  // namespace
