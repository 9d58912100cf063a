// The node of the tree is one of six kinds: how it is set, switched, merged and
// emptied.
#include "reference/live_blocks.h"
#include "reference/messages.h"
#include "reference/opened.h"

namespace {

using tarn::ChildTypes;
using tests::FromBytes;
using tests::FromHex;
using tests::HexOf;
using wire::Writer;

// The operations of one member, by its name.
#define MEMBER(Node, stem, number)                                       \
  struct Node##Member {                                                  \
    using Class = tarn::Node;                                            \
    static constexpr int kNumber = number;                               \
    static constexpr ChildTypes::TypesCase kCase = ChildTypes::k##Node;  \
    static bool Has(const ChildTypes& c) { return c.has_##stem(); }      \
    static const Class& Get(const ChildTypes& c) { return c.stem(); }    \
    static Class* Mutable(ChildTypes* c) { return c->mutable_##stem(); } \
    static Class* Release(ChildTypes* c) { return c->release_##stem(); } \
    static Class* UnsafeRelease(ChildTypes* c) {                         \
      return c->unsafe_arena_release_##stem();                           \
    }                                                                    \
    static void Set(ChildTypes* c, Class* node) {                        \
      c->set_allocated_##stem(node);                                     \
    }                                                                    \
    static void UnsafeSet(ChildTypes* c, Class* node) {                  \
      c->unsafe_arena_set_allocated_##stem(node);                        \
    }                                                                    \
    static void Clear(ChildTypes* c) { c->clear_##stem(); }              \
  };
MEMBER(Server, server, 1)
MEMBER(Client, client, 2)
MEMBER(Display, display, 3)
MEMBER(Module, module, 4)
MEMBER(Direct, direct, 5)
MEMBER(GetStatusModule, getstatusmodule, 6)

using Members =
    testing::Types<ServerMember, ClientMember, DisplayMember, ModuleMember,
                   DirectMember, GetStatusModuleMember>;

// A node of the kind that `Member` is not: a client, or for that a server.
template <class Member>
constexpr int kOther = Member::kNumber == 2 ? 1 : 2;

// Text field 1 is in all six kinds, as a name, a uuid or a hardware id.
Writer Text(const char* text) { return Writer().Bytes(1, text); }

template <class Member>
ChildTypes Holding(const char* text) {
  return FromBytes<ChildTypes>(
      Writer().Message(Member::kNumber, Text(text)).bytes());
}

template <class Member>
ChildTypes HoldingOther() {
  return FromBytes<ChildTypes>(
      Writer().Message(kOther<Member>, Text("other")).bytes());
}

template <class Member>
std::string HexHolding(const Writer& node) {
  return HexOf(Writer().Message(Member::kNumber, node));
}

template <class Member>
class Oneof : public testing::Test {};
TYPED_TEST_SUITE(Oneof, Members);

TYPED_TEST(Oneof, CaseIsTheFieldNumber) {
  EXPECT_EQ(static_cast<int>(TypeParam::kCase), TypeParam::kNumber);
  const auto node = Holding<TypeParam>("a");
  EXPECT_EQ(node.types_case(), TypeParam::kCase);
  EXPECT_TRUE(TypeParam::Has(node));
}

TYPED_TEST(Oneof, OnlyThatMemberIsSet) {
  const auto node = Holding<TypeParam>("a");
  EXPECT_EQ(node.has_server() + node.has_client() + node.has_display() +
                node.has_module() + node.has_direct() +
                node.has_getstatusmodule(),
            1);
  EXPECT_FALSE(TypeParam::Has(HoldingOther<TypeParam>()));
}

TYPED_TEST(Oneof, UnsetMemberReadsAsTheDefaultInstance) {
  EXPECT_EQ(&TypeParam::Get(ChildTypes()),
            &TypeParam::Class::default_instance());
  EXPECT_EQ(&TypeParam::Get(HoldingOther<TypeParam>()),
            &TypeParam::Class::default_instance());
}

TYPED_TEST(Oneof, MutableCreatesTheMemberAndThenReturnsIt) {
  ChildTypes node;
  auto* created = TypeParam::Mutable(&node);
  EXPECT_EQ(node.types_case(), TypeParam::kCase);
  EXPECT_EQ(HexOf(*created), "");
  ASSERT_TRUE(created->ParseFromString(Text("a").bytes()));
  EXPECT_EQ(TypeParam::Mutable(&node), created);
  EXPECT_EQ(HexOf(node), HexHolding<TypeParam>(Text("a")));
}

TYPED_TEST(Oneof, MutableDestroysAnotherMember) {
  auto node = HoldingOther<TypeParam>();
  auto* created = TypeParam::Mutable(&node);
  EXPECT_EQ(node.types_case(), TypeParam::kCase);
  EXPECT_EQ(HexOf(*created), "");
  EXPECT_EQ(HexOf(node), HexHolding<TypeParam>({}));
}

TYPED_TEST(Oneof, SetAllocatedTakesTheObjectAndDropsWhatWasThere) {
  for (ChildTypes node :
       {ChildTypes(), HoldingOther<TypeParam>(), Holding<TypeParam>("old")}) {
    auto* given = new typename TypeParam::Class;
    ASSERT_TRUE(given->ParseFromString(Text("new").bytes()));
    TypeParam::Set(&node, given);
    EXPECT_EQ(&TypeParam::Get(node), given);
    EXPECT_EQ(HexOf(node), HexHolding<TypeParam>(Text("new")));
  }
}

TYPED_TEST(Oneof, SetAllocatedNullLeavesItEmptyWhateverWasSet) {
  for (ChildTypes node :
       {ChildTypes(), HoldingOther<TypeParam>(), Holding<TypeParam>("a")}) {
    TypeParam::Set(&node, nullptr);
    EXPECT_EQ(node.types_case(), ChildTypes::TYPES_NOT_SET);
    EXPECT_EQ(HexOf(node), "");
  }
}

TYPED_TEST(Oneof, ReleaseHandsTheMemberOut) {
  auto node = Holding<TypeParam>("a");
  const auto* held = &TypeParam::Get(node);
  std::unique_ptr<typename TypeParam::Class> released(
      TypeParam::Release(&node));
  EXPECT_EQ(released.get(), held);
  EXPECT_EQ(HexOf(*released), HexOf(Text("a")));
  EXPECT_EQ(node.types_case(), ChildTypes::TYPES_NOT_SET);
  EXPECT_EQ(HexOf(node), "");
}

TYPED_TEST(Oneof, ReleaseOfAnUnsetMemberIsNullAndTouchesNothing) {
  ChildTypes empty;
  EXPECT_EQ(TypeParam::Release(&empty), nullptr);
  EXPECT_EQ(TypeParam::UnsafeRelease(&empty), nullptr);
  auto node = HoldingOther<TypeParam>();
  const std::string before = HexOf(node);
  EXPECT_EQ(TypeParam::Release(&node), nullptr);
  EXPECT_EQ(TypeParam::UnsafeRelease(&node), nullptr);
  EXPECT_EQ(HexOf(node), before);
}

TYPED_TEST(Oneof, ClearOfTheMemberTouchesNoOther) {
  auto other = HoldingOther<TypeParam>();
  const std::string before = HexOf(other);
  TypeParam::Clear(&other);
  EXPECT_EQ(HexOf(other), before);
  auto node = Holding<TypeParam>("a");
  TypeParam::Clear(&node);
  EXPECT_EQ(node.types_case(), ChildTypes::TYPES_NOT_SET);
  EXPECT_EQ(HexOf(node), "");
}

TYPED_TEST(Oneof, ClearTypesEmptiesWhateverIsSet) {
  auto node = Holding<TypeParam>("a");
  node.clear_types();
  EXPECT_EQ(node.types_case(), ChildTypes::TYPES_NOT_SET);
  EXPECT_FALSE(TypeParam::Has(node));
  EXPECT_EQ(HexOf(node), "");
}

TYPED_TEST(Oneof, UnsafeArenaSetAndReleaseMoveThePointerAsItIs) {
  google::protobuf::Arena arena;
  auto* node = google::protobuf::Arena::CreateMessage<ChildTypes>(&arena);
  auto* given =
      google::protobuf::Arena::CreateMessage<typename TypeParam::Class>(&arena);
  node->mutable_client();
  TypeParam::UnsafeSet(node, given);
  EXPECT_EQ(&TypeParam::Get(*node), given);
  EXPECT_EQ(node->types_case(), TypeParam::kCase);
  EXPECT_EQ(TypeParam::UnsafeRelease(node), given);
  EXPECT_EQ(node->types_case(), ChildTypes::TYPES_NOT_SET);
  TypeParam::UnsafeSet(node, nullptr);
  EXPECT_EQ(node->types_case(), ChildTypes::TYPES_NOT_SET);
}

TYPED_TEST(Oneof, SecondOccurrenceInTheInputIsMerged) {
  const Writer input = Writer()
                           .Message(TypeParam::kNumber, Text("a"))
                           .Message(TypeParam::kNumber, Writer().Uint(99, 7));
  EXPECT_EQ(HexOf(FromBytes<ChildTypes>(input.bytes())),
            HexHolding<TypeParam>(Text("a").Uint(99, 7)));
}

TYPED_TEST(Oneof, LastKindInTheInputWins) {
  const int other = kOther<TypeParam>;
  const int own = TypeParam::kNumber;
  const Writer input = Writer()
                           .Message(own, Text("lost"))
                           .Message(other, Text("lost too"))
                           .Message(own, Writer().Uint(99, 7))
                           .Message(own, Text("kept"));
  const auto node = FromBytes<ChildTypes>(input.bytes());
  EXPECT_EQ(node.types_case(), TypeParam::kCase);
  EXPECT_EQ(HexOf(node), HexHolding<TypeParam>(Text("kept").Uint(99, 7)));
}

TYPED_TEST(Oneof, EmptyMemberInTheInputSwitchesToo) {
  const Writer input = Writer()
                           .Message(kOther<TypeParam>, Text("lost"))
                           .Bytes(TypeParam::kNumber, "");
  EXPECT_EQ(HexOf(FromBytes<ChildTypes>(input.bytes())),
            HexHolding<TypeParam>({}));
}

TYPED_TEST(Oneof, OtherWireTypeIsUnknownAndSetsNothing) {
  const Writer varint = Writer().Uint(TypeParam::kNumber, 5);
  const auto node = FromBytes<ChildTypes>(varint.bytes());
  EXPECT_EQ(node.types_case(), ChildTypes::TYPES_NOT_SET);
  EXPECT_EQ(HexOf(node), HexOf(varint));
}

TYPED_TEST(Oneof, MergingTheSameMemberMergesIt) {
  // A field that only the target has shows whether it was merged or replaced.
  auto target = FromBytes<ChildTypes>(
      Writer().Message(TypeParam::kNumber, Text("old").Uint(99, 7)).bytes());
  const auto* held = &TypeParam::Get(target);
  target.MergeFrom(Holding<TypeParam>("new"));
  EXPECT_EQ(&TypeParam::Get(target), held);
  EXPECT_EQ(HexOf(target), HexHolding<TypeParam>(Text("new").Uint(99, 7)));
}

TYPED_TEST(Oneof, MergingAnotherMemberReplacesByACopy) {
  auto target = HoldingOther<TypeParam>();
  const auto source = Holding<TypeParam>("a");
  target.MergeFrom(source);
  EXPECT_EQ(HexOf(target), HexOf(source));
  EXPECT_NE(&TypeParam::Get(target), &TypeParam::Get(source));
}

TYPED_TEST(Oneof, MergingNoMemberLeavesTheOneThatIsSet) {
  auto target = Holding<TypeParam>("a");
  const std::string before = HexOf(target);
  target.MergeFrom(ChildTypes());
  EXPECT_EQ(HexOf(target), before);
}

TYPED_TEST(Oneof, CopyConstructionCopiesTheMember) {
  const auto source = Holding<TypeParam>("a");
  // NOLINTNEXTLINE(performance-unnecessary-copy-initialization): it is tried
  const ChildTypes copy(source);
  EXPECT_EQ(HexOf(copy), HexOf(source));
  EXPECT_NE(&TypeParam::Get(copy), &TypeParam::Get(source));
}

TYPED_TEST(Oneof, SwapExchangesMemberAndCase) {
  auto one = Holding<TypeParam>("a");
  auto two = HoldingOther<TypeParam>();
  const auto* held = &TypeParam::Get(one);
  const std::string hex_one = HexOf(one), hex_two = HexOf(two);
  one.Swap(&two);
  EXPECT_EQ(HexOf(one), hex_two);
  EXPECT_EQ(HexOf(two), hex_one);
  EXPECT_EQ(&TypeParam::Get(two), held);
  ChildTypes empty;
  two.Swap(&empty);
  EXPECT_EQ(two.types_case(), ChildTypes::TYPES_NOT_SET);
  EXPECT_EQ(HexOf(empty), hex_one);
}

TYPED_TEST(Oneof, EveryWayOfDroppingTheMemberFreesItsWholeSubtree) {
  const Writer leaf = Writer().Message(4, Text("a module with a long id"));
  const Writer bytes = Writer().Message(TypeParam::kNumber,
                                        Writer(Text("a node with a long name"))
                                            .Message(7, leaf)
                                            .Message(5, leaf));
  using Drop = void (*)(ChildTypes*);
  for (Drop drop :
       {Drop([](ChildTypes* node) { node->clear_types(); }),
        Drop([](ChildTypes* node) { node->Clear(); }),
        Drop([](ChildTypes* node) { TypeParam::Clear(node); }),
        Drop([](ChildTypes* node) { TypeParam::Set(node, nullptr); }),
        Drop([](ChildTypes* node) { node->set_allocated_client(nullptr); })}) {
    ChildTypes node;
    const int64_t before = tests::live_blocks;
    node.ParseFromString(bytes.bytes());
    EXPECT_GT(tests::live_blocks, before);
    drop(&node);
    EXPECT_EQ(tests::live_blocks, before);
  }
}

TYPED_TEST(Oneof, SwitchingFreesTheOldMember) {
  auto node = Holding<TypeParam>("a text too long to be kept in place");
  const int64_t before = tests::live_blocks;
  const bool is_client = TypeParam::kNumber == 2;
  if (is_client) {
    node.mutable_server();
  } else {
    node.mutable_client();
  }
  EXPECT_LT(tests::live_blocks, before);
}

TEST(ChildTypes, EmptyNodeIsNothingOnTheWire) {
  EXPECT_EQ(static_cast<int>(ChildTypes::TYPES_NOT_SET), 0);
  EXPECT_EQ(ChildTypes().types_case(), ChildTypes::TYPES_NOT_SET);
  EXPECT_EQ(HexOf(ChildTypes()), "");
  EXPECT_EQ(FromHex<ChildTypes>("").types_case(), ChildTypes::TYPES_NOT_SET);
}

TEST(ChildTypes, ServerThenDisplayIsADisplay) {
  const Writer child = Writer().Message(2, Text("client"));
  const Writer input = Writer()
                           .Message(1, Text("server").Message(7, child))
                           .Message(3, Text("display"));
  const auto node = FromBytes<ChildTypes>(input.bytes());
  EXPECT_EQ(node.types_case(), ChildTypes::kDisplay);
  EXPECT_FALSE(node.has_server());
  EXPECT_EQ(node.server().children_size(), 0);
  EXPECT_EQ(HexOf(node), HexOf(Writer().Message(3, Text("display"))));
}

TEST(ChildTypes, ServerTwiceWithAChildEachIsOneServerWithTwo) {
  const Writer one = Writer().Message(7, Writer().Message(2, Text("a")));
  const Writer two = Writer().Message(7, Writer().Message(2, Text("b")));
  const auto node =
      FromBytes<ChildTypes>(Writer().Message(1, one).Message(1, two).bytes());
  ASSERT_EQ(node.server().children_size(), 2);
  EXPECT_EQ(node.server().children(0).client().name(), "a");
  EXPECT_EQ(node.server().children(1).client().name(), "b");
}

TEST(ChildTypes, MutableDisplayDestroysTheServer) {
  ChildTypes node;
  node.mutable_server()->add_children()->mutable_client()->set_name("a");
  node.mutable_display();
  EXPECT_FALSE(node.has_server());
  EXPECT_EQ(&node.server(), &tarn::Server::default_instance());
  EXPECT_EQ(node.mutable_server()->children_size(), 0);
}

TEST(ChildTypes, NullModuleLeavesAClientDestroyed) {
  ChildTypes node;
  node.mutable_client()->set_name("a");
  node.set_allocated_module(nullptr);
  EXPECT_EQ(node.types_case(), ChildTypes::TYPES_NOT_SET);
  EXPECT_FALSE(node.has_client());
}

TEST(ChildTypes, MergeAppendsUnknownFieldsAndClearDropsThem) {
  auto target = FromHex<ChildTypes>("12 00 98 06 01");
  target.MergeFrom(FromHex<ChildTypes>("98 06 02"));
  EXPECT_EQ(HexOf(target), "12 00 98 06 01 98 06 02");
  target.Clear();
  EXPECT_EQ(HexOf(target), "");
}

OPEN(SetHasServer, ChildTypes::set_has_server)
OPEN(SetHasClient, ChildTypes::set_has_client)
OPEN(SetHasDisplay, ChildTypes::set_has_display)
OPEN(SetHasModule, ChildTypes::set_has_module)
OPEN(SetHasDirect, ChildTypes::set_has_direct)
OPEN(SetHasGetStatusModule, ChildTypes::set_has_getstatusmodule)
OPEN(HasTypes, ChildTypes::has_types)
OPEN(ClearHasTypes, ChildTypes::clear_has_types)

TEST(ChildTypes, InternalOperationsSetReadAndClearTheCase) {
  const auto set_has = {
      Opened(SetHasServer()),  Opened(SetHasClient()),
      Opened(SetHasDisplay()), Opened(SetHasModule()),
      Opened(SetHasDirect()),  Opened(SetHasGetStatusModule())};
  int number = 0;
  for (const auto set : set_has) {
    ChildTypes node;
    EXPECT_FALSE((node.*Opened(HasTypes()))());
    (node.*set)();
    EXPECT_EQ(static_cast<int>(node.types_case()), ++number);
    EXPECT_TRUE((node.*Opened(HasTypes()))());
    (node.*Opened(ClearHasTypes()))();
    EXPECT_EQ(node.types_case(), ChildTypes::TYPES_NOT_SET);
    EXPECT_FALSE((node.*Opened(HasTypes()))());
  }
}

TEST(ChildTypes, ClearTypesKeepsUnknownFields) {
  auto node = FromHex<ChildTypes>("12 00 98 06 01");
  node.clear_types();
  EXPECT_EQ(HexOf(node), "98 06 01");
}

}  // namespace
