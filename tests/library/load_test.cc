// Loading: a program that is not linked to the library opens and closes it.
#include <dlfcn.h>
#include <gtest/gtest.h>

namespace {

// Calls tarn::StatusCodes_IsValid(int) of an open library.
bool StatusCodeIsValid(void* library, int number) {
  using Function = bool (*)(int);
  const auto function = reinterpret_cast<Function>(
      dlsym(library, "_ZN4tarn19StatusCodes_IsValidEi"));
  return function != nullptr && function(number);
}

TEST(Load, OpensAndClosesAThousandTimes) {
  for (int i = 0; i < 1000; ++i) {
    void* library = dlopen(LIBSCHEMA, RTLD_NOW | RTLD_LOCAL);
    ASSERT_NE(library, nullptr) << dlerror();
    EXPECT_TRUE(StatusCodeIsValid(library, 11));
    EXPECT_FALSE(StatusCodeIsValid(library, 12));
    ASSERT_EQ(dlclose(library), 0) << dlerror();
  }
}

TEST(Load, StaysMappedOnceOpened) {
  void* library = dlopen(LIBSCHEMA, RTLD_NOW | RTLD_LOCAL);
  ASSERT_NE(library, nullptr) << dlerror();
  ASSERT_EQ(dlclose(library), 0);
  // The runtime keeps pointers into a file it has registered.
  void* again = dlopen(LIBSCHEMA, RTLD_NOW | RTLD_LOCAL | RTLD_NOLOAD);
  EXPECT_EQ(again, library);
}

}  // namespace
