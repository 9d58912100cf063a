// A program with a function of the library's name: calls from the program go
// there, calls from the library and the runtime do not.
#include <gtest/gtest.h>
#include <tarn/Tarn.pb.h>

#include <memory>

namespace {
int calls = 0;
}  // namespace

void tarn::Price::Clear() { ++calls; }

namespace {

TEST(Interposition, ChangesNothingInsideTheLibrary) {
  tarn::Price price;
  price.Clear();
  EXPECT_EQ(calls, 1);

  const std::unique_ptr<google::protobuf::Message> made(price.New());
  ASSERT_TRUE(made->ParseFromString("\x08\x05"));
  made->Clear();
  EXPECT_EQ(made->ByteSizeLong(), 0u);
  tarn::Price copy;
  copy.CopyFrom(price);
  EXPECT_EQ(calls, 1);
}

}  // namespace
