// Who owns what: hand-over of strings and sub-messages between the caller, the
// heap and arenas.
#include "reference/captured_log.h"
#include "reference/live_blocks.h"
#include "reference/messages.h"

namespace {

using google::protobuf::Arena;
using tests::Class;
using tests::ForEachClass;
using tests::HexOf;
using tests::Message;

// Where a message lives: on the heap, or on an arena that is freed with it.
class Place {
 public:
  explicit Place(bool on_arena) : arena_(on_arena ? new Arena : nullptr) {}

  template <class M>
  M* Make() {
    M* message = Arena::CreateMessage<M>(arena_.get());
    if (arena_ == nullptr) owned_.emplace_back(message);
    return message;
  }

  Arena* arena() const { return arena_.get(); }

 private:
  std::unique_ptr<Arena> arena_;
  std::vector<std::unique_ptr<Message>> owned_;
};

// Hands over a message of another arena. A runtime that was built with its
// checks throws an exception; any other makes a copy.
template <class HandOver>
bool Accepted(HandOver hand_over) {
  tests::CapturedLog log;
  try {
    hand_over();
    return true;
  } catch (const google::protobuf::FatalException&) {
    return false;
  }
}

// Each test of hand-over runs with its message on the heap and on an arena.
class HandOver : public testing::TestWithParam<bool> {
 protected:
  Place place_{GetParam()};
};

INSTANTIATE_TEST_SUITE_P(, HandOver, testing::Bool(), [](const auto& info) {
  return info.param ? "OnArena" : "OnHeap";
});

const char kText[] = "a text that is too long to be kept in place";

TEST_P(HandOver, ReleasedStringBelongsToTheCaller) {
  auto* price = place_.Make<tarn::Price>();
  price->set_product_id(kText);
  std::unique_ptr<std::string> released(price->release_product_id());
  EXPECT_EQ(*released, kText);
  EXPECT_EQ(price->product_id(), "");
  EXPECT_EQ(HexOf(*price), "");
}

TEST_P(HandOver, ReleasedBytesBelongToTheCaller) {
  auto* file = place_.Make<tarn::FileMessage>();
  file->set_filedata(wire::Hex("FF 00 FE"));
  std::unique_ptr<std::string> released(file->release_filedata());
  EXPECT_EQ(*released, wire::Hex("FF 00 FE"));
  EXPECT_EQ(file->filedata(), "");
}

TEST_P(HandOver, ReleaseOfAStringNeverSetIsNullOrEmpty) {
  auto* price = place_.Make<tarn::Price>();
  std::unique_ptr<std::string> released(price->release_product_id());
  EXPECT_TRUE(released == nullptr || released->empty());
  EXPECT_EQ(HexOf(*price), "");
}

TEST_P(HandOver, AllocatedStringIsTakenOver) {
  auto* price = place_.Make<tarn::Price>();
  price->set_allocated_product_id(new std::string("old"));
  price->set_allocated_product_id(new std::string(kText));
  EXPECT_EQ(price->product_id(), kText);
  auto* file = place_.Make<tarn::FileMessage>();
  file->set_allocated_filedata(new std::string(wire::Hex("00 FF")));
  EXPECT_EQ(HexOf(*file), "12 02 00 FF");
}

TEST_P(HandOver, NullStringClearsTheField) {
  auto* price = place_.Make<tarn::Price>();
  price->set_product_id(kText);
  price->set_allocated_product_id(nullptr);
  EXPECT_EQ(price->product_id(), "");
  EXPECT_EQ(HexOf(*price), "");
}

TEST_P(HandOver, MutableStringIsChangedInPlace) {
  auto* price = place_.Make<tarn::Price>();
  std::string* text = price->mutable_product_id();
  *text = kText;
  EXPECT_EQ(price->product_id(), kText);
  EXPECT_EQ(price->mutable_product_id(), text);
  auto* texts = place_.Make<tarn::DisplayMsg>();
  *texts->add_messages() = kText;
  texts->mutable_messages(0)->append("!");
  EXPECT_EQ(texts->messages(0), std::string(kText) + "!");
}

TEST_P(HandOver, ReleasedSubmessageBelongsToTheCaller) {
  auto* status = place_.Make<tarn::GetStatusModule>();
  EXPECT_EQ(status->release_dimmingconfig(), nullptr);
  auto* held = status->mutable_dimmingconfig();
  held->set_dimmingmode(1);
  std::unique_ptr<tarn::DimmingValues> released(
      status->release_dimmingconfig());
  EXPECT_FALSE(status->has_dimmingconfig());
  EXPECT_EQ(HexOf(*released), "08 01");
  EXPECT_EQ(released->GetArena(), nullptr);
  EXPECT_EQ(released.get() == held, place_.arena() == nullptr);
}

TEST_P(HandOver, HeapSubmessageIsAdopted) {
  auto* status = place_.Make<tarn::GetStatusModule>();
  status->mutable_dimmingconfig()->set_dimmingmode(9);
  auto* given = new tarn::DimmingValues;
  given->set_dimmingmode(1);
  status->set_allocated_dimmingconfig(given);
  EXPECT_EQ(&status->dimmingconfig(), given);
  EXPECT_EQ(HexOf(*status), "5A 02 08 01");
}

TEST_P(HandOver, SubmessageOfAnotherArenaIsNeverShared) {
  auto* status = place_.Make<tarn::GetStatusModule>();
  std::string expected;
  {
    Arena other;
    auto* given = Arena::CreateMessage<tarn::DimmingValues>(&other);
    given->set_dimmingmode(1);
    if (Accepted([&] { status->set_allocated_dimmingconfig(given); })) {
      expected = "5A 02 08 01";
    }
    EXPECT_NE(&status->dimmingconfig(), given);
  }
  EXPECT_EQ(HexOf(*status), expected);
}

TEST_P(HandOver, SubmessageOfTheSameOwnerIsTakenAsItIs) {
  auto* status = place_.Make<tarn::GetStatusModule>();
  auto* given = Arena::CreateMessage<tarn::DimmingValues>(place_.arena());
  status->set_allocated_dimmingconfig(given);
  EXPECT_EQ(&status->dimmingconfig(), given);
}

TEST_P(HandOver, NullSubmessageClearsTheField) {
  auto* status = place_.Make<tarn::GetStatusModule>();
  status->mutable_dimmingconfig();
  status->set_allocated_dimmingconfig(nullptr);
  EXPECT_FALSE(status->has_dimmingconfig());
}

TEST_P(HandOver, OneofMemberGoesByTheSameRules) {
  auto* node = place_.Make<tarn::ChildTypes>();
  node->mutable_client();
  auto* given = new tarn::Server;
  given->set_name("a");
  node->set_allocated_server(given);
  EXPECT_EQ(&node->server(), given);
  EXPECT_EQ(HexOf(*node), "0A 03 0A 01 61");
  std::unique_ptr<tarn::Server> released(node->release_server());
  EXPECT_EQ(released->GetArena(), nullptr);
  EXPECT_EQ(released.get() == given, place_.arena() == nullptr);
  EXPECT_EQ(released->name(), "a");
  EXPECT_EQ(node->types_case(), tarn::ChildTypes::TYPES_NOT_SET);
}

TEST_P(HandOver, OneofMemberOfAnotherArenaIsNeverShared) {
  auto* node = place_.Make<tarn::ChildTypes>();
  node->mutable_server();
  std::string expected;
  {
    Arena other;
    auto* given = Arena::CreateMessage<tarn::Client>(&other);
    given->set_name("b");
    if (Accepted([&] { node->set_allocated_client(given); })) {
      expected = "12 03 0A 01 62";
    }
    EXPECT_NE(&node->client(), given);
  }
  EXPECT_FALSE(node->has_server());
  EXPECT_EQ(HexOf(*node), expected);
}

TEST_P(HandOver, UnsafeArenaPairMovesThePointerAsItIs) {
  auto* status = place_.Make<tarn::GetStatusModule>();
  auto* given = Arena::CreateMessage<tarn::DimmingValues>(place_.arena());
  status->unsafe_arena_set_allocated_dimmingconfig(given);
  EXPECT_EQ(&status->dimmingconfig(), given);
  EXPECT_EQ(status->unsafe_arena_release_dimmingconfig(), given);
  EXPECT_FALSE(status->has_dimmingconfig());
  if (place_.arena() == nullptr) delete given;
}

TEST_P(HandOver, ElementsAreAddedAndReleasedByTheSameRules) {
  auto* prices = place_.Make<tarn::Prices>();
  auto* given = new tarn::Price;
  given->set_line_num(1);
  prices->mutable_prices()->AddAllocated(given);
  EXPECT_EQ(&prices->prices(0), given);
  std::unique_ptr<tarn::Price> released(
      prices->mutable_prices()->ReleaseLast());
  EXPECT_EQ(HexOf(*released), "08 01");
  EXPECT_EQ(released->GetArena(), nullptr);
  EXPECT_EQ(prices->prices_size(), 0);
}

TEST_P(HandOver, ChildrenLiveWhereTheirMessageLives) {
  auto* tree = place_.Make<tarn::ModsConfigured>();
  auto* server = tree->add_modsconfigured()->mutable_server();
  auto* module = server->add_children()->mutable_module();
  for (const Message* child :
       {static_cast<const Message*>(&tree->modsconfigured(0)),
        static_cast<const Message*>(server),
        static_cast<const Message*>(module),
        static_cast<const Message*>(module->mutable_extstatus()),
        static_cast<const Message*>(
            module->mutable_extstatus()->add_frameconfig())}) {
    EXPECT_EQ(child->GetArena(), place_.arena());
  }
}

// The first call may leave objects that are built only once, such as
// descriptors.
template <class Build>
void ExpectFreesAll(Build build) {
  build();
  const int64_t before = tests::live_blocks;
  build();
  EXPECT_EQ(tests::live_blocks, before);
}

TEST(Ownership, DestroyedMessageFreesAllItOwns) {
  ForEachClass([](const Class& type) {
    ExpectFreesAll([&] {
      std::unique_ptr<Message> message(type.create(nullptr));
      tests::FillEveryField(message.get());
      message->GetReflection()
          ->MutableUnknownFields(message.get())
          ->AddVarint(99, 1);
    });
  });
}

TEST(Ownership, EveryClassIsMadeOnArenasAndOnTheHeap) {
  ForEachClass([](const Class& type) {
    Arena arena;
    for (const Message* made :
         {type.create(&arena), type.default_instance.New(&arena)}) {
      EXPECT_EQ(made->GetArena(), &arena);
      EXPECT_EQ(made->GetDescriptor(), type.default_instance.GetDescriptor());
      EXPECT_EQ(HexOf(*made), "");
    }
    std::unique_ptr<Message> heap(type.create(nullptr));
    EXPECT_EQ(heap->GetArena(), nullptr);
    std::unique_ptr<Message> same(heap->New());
    EXPECT_EQ(same->GetArena(), nullptr);
  });
}

TEST(Ownership, EntriesOfMapsAreMadeOnArenas) {
  Arena arena;
  EXPECT_NE(Arena::CreateMessage<
                tarn::NetworkStatusReport_StatusPacketEntry_DoNotUse>(&arena),
            nullptr);
  EXPECT_NE(Arena::CreateMessage<
                tarn::NetworkStatusReport_PriceSyncStatusPacketEntry_DoNotUse>(
                &arena),
            nullptr);
}

// Blocks that arenas with CountingOptions() have asked for and not returned.
int arena_blocks = 0;

google::protobuf::ArenaOptions CountingOptions() {
  google::protobuf::ArenaOptions options;
  options.block_alloc = [](size_t size) {
    ++arena_blocks;
    return std::malloc(size);
  };
  options.block_dealloc = [](void* block, size_t) {
    --arena_blocks;
    std::free(block);
  };
  return options;
}

TEST(Ownership, ArenaFreesItsMessagesWithItself) {
  ForEachClass([](const Class& type) {
    ExpectFreesAll([&] {
      Arena arena(CountingOptions());
      Message* message = type.create(&arena);
      tests::FillEveryField(message);
      std::unique_ptr<Message> copy(type.copy(*message));
      EXPECT_GT(arena_blocks, 0);
      EXPECT_EQ(HexOf(*copy), HexOf(*message));
    });
    EXPECT_EQ(arena_blocks, 0);
  });
}

TEST(Ownership, NodesOfATreeTakeNoAllocationEach) {
  constexpr int kNodes = 10000;
  std::vector<char> initial_block(4 << 20);
  google::protobuf::ArenaOptions options = CountingOptions();
  options.initial_block = initial_block.data();
  options.initial_block_size = initial_block.size();
  Arena arena(options);
  auto* tree = Arena::CreateMessage<tarn::ModsConfigured>(&arena);
  tree->mutable_modsconfigured()->Reserve(kNodes);
  const int64_t before = tests::live_blocks;
  for (int i = 0; i < kNodes; ++i) {
    auto* module = tree->add_modsconfigured()->mutable_module();
    module->set_linearaddr(i);
    module->set_uuid("short");
  }
  EXPECT_EQ(arena_blocks, 0);
  EXPECT_EQ(tests::live_blocks, before);
  tarn::ModsConfigured copy;
  ASSERT_TRUE(copy.ParseFromString(tests::BytesOf(*tree)));
  ASSERT_EQ(copy.modsconfigured_size(), kNodes);
  EXPECT_EQ(copy.modsconfigured(kNodes - 1).module().linearaddr(), kNodes - 1);
}

TEST(Ownership, ParsedTreeLivesOnTheArenaAndOutlivesItsInput) {
  Arena arena;
  auto* tree = Arena::CreateMessage<tarn::ModsAvailable>(&arena);
  std::string id;
  {
    tarn::ModsAvailable source;
    tests::FillEveryField(&source);
    ASSERT_TRUE(tree->ParseFromString(tests::BytesOf(source)));
    EXPECT_EQ(HexOf(*tree), HexOf(source));
    id = source.modsavailable(0).getstatusmodule().hwid();
    EXPECT_NE(id, "");
  }
  EXPECT_EQ(tree->modsavailable(0).getstatusmodule().hwid(), id);
  EXPECT_EQ(tree->modsavailable(0).getstatusmodule().GetArena(), &arena);
}

TEST(Ownership, SetterCopiesWhatItIsGiven) {
  tarn::Price price;
  {
    const std::string text = kText;
    price.set_product_id(text);
  }
  EXPECT_EQ(price.product_id(), kText);
}

}  // namespace
