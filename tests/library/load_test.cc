// Loading: a program that uses the runtime, but is not linked to the library,
// opens and closes it.
#include <dlfcn.h>
#include <google/protobuf/descriptor.h>
#include <google/protobuf/message.h>
#include <gtest/gtest.h>

#include <filesystem>
#include <memory>
#include <string>

namespace {

using google::protobuf::DescriptorPool;
using google::protobuf::Message;
using google::protobuf::MessageFactory;

class Load : public testing::Test {
 protected:
  // The runtime stays when the library goes, and remembers what it was told.
  Load() { DescriptorPool::generated_pool(); }

  void OpenAndClose() {
    void* library = dlopen(LIBSCHEMA, RTLD_NOW | RTLD_LOCAL);
    ASSERT_NE(library, nullptr) << dlerror();
    ASSERT_EQ(dlclose(library), 0) << dlerror();
  }
};

TEST_F(Load, StaysMappedOnceOpened) {
  ASSERT_EQ(dlopen(LIBSCHEMA, RTLD_NOW | RTLD_NOLOAD), nullptr);
  OpenAndClose();
  EXPECT_NE(dlopen(LIBSCHEMA, RTLD_NOW | RTLD_NOLOAD), nullptr);
}

TEST_F(Load, RuntimeMakesMessagesAfterTheLibraryWasClosed) {
  OpenAndClose();
  const auto* price =
      DescriptorPool::generated_pool()->FindMessageTypeByName("tarn.Price");
  ASSERT_NE(price, nullptr);
  std::unique_ptr<Message> message(
      MessageFactory::generated_factory()->GetPrototype(price)->New());
  EXPECT_TRUE(message->ParseFromString("\x08\x02"));
  EXPECT_EQ(message->DebugString(), "line_num: 2\n");
}

TEST_F(Load, OpensAgainAfterItWasClosed) {
  OpenAndClose();
  OpenAndClose();
}

// The runtime takes each schema file once.
TEST_F(Load, OfASecondCopyEndsTheProcess) {
  const std::string copy = testing::TempDir() + "/libschema_copy.so";
  std::filesystem::copy_file(LIBSCHEMA, copy,
                             std::filesystem::copy_options::overwrite_existing);
  OpenAndClose();
  EXPECT_DEATH(dlopen(copy.c_str(), RTLD_NOW | RTLD_LOCAL),
               "File already exists in database");
}

}  // namespace
