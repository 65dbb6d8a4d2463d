#include <gtest/gtest.h>

#include "ky/platform.h"

namespace {

TEST(DynamicLibrary, LoadCallAndFree) {
  void* lib = ky_LoadLibrary(KY_TEST_PLUGIN);
  ASSERT_NE(lib, nullptr);
  auto scale = reinterpret_cast<int (*)(int)>(ky_GetLibraryFunction(lib, "plugin_scale"));
  ASSERT_NE(scale, nullptr);
  EXPECT_EQ(scale(14), 43);
  EXPECT_EQ(ky_GetLibraryFunction(lib, "no_such_symbol"), nullptr);

  // Loaded with local scope: the program as a whole does not see the plugin.
  void* self = ky_LoadLibrary(nullptr);
  ASSERT_NE(self, nullptr);
  EXPECT_EQ(ky_GetLibraryFunction(self, "plugin_scale"), nullptr);
  EXPECT_EQ(ky_GetLibraryFunction(self, "ky_LoadLibrary"),
            reinterpret_cast<void*>(&ky_LoadLibrary));

  EXPECT_EQ(ky_FreeLibrary(&lib), 0);
  EXPECT_EQ(lib, nullptr);
  EXPECT_EQ(ky_FreeLibrary(&self), 0);
  EXPECT_EQ(self, nullptr);
}

TEST(DynamicLibrary, MissingFileGivesNull) {
  EXPECT_EQ(ky_LoadLibrary("/nonexistent/libnothing.so"), nullptr);
  EXPECT_EQ(ky_LoadLibrary("libky_no_such_library.so"), nullptr);
}

}  // namespace
