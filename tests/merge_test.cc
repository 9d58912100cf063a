// Merging, copying, moving and swapping, on the heap, on arenas and between.
#include <google/protobuf/util/message_differencer.h>

#include "reference/messages.h"

namespace {

using google::protobuf::Arena;
using google::protobuf::util::MessageDifferencer;
using tests::Filled;
using tests::ForEachClass;
using tests::ForEachMessage;
using tests::FromHex;
using tests::HexOf;
using tests::Message;

// The class that a visitor of ForEachClass is called for.
template <class Pointer>
using ClassOf = std::remove_pointer_t<Pointer>;

template <class M>
M FilledAs(int salt = 1) {
  M message;
  tests::Fill(&message, salt);
  return message;
}

template <class M>
M* FilledOn(Arena* arena, int salt = 1) {
  M* message = Arena::CreateMessage<M>(arena);
  tests::Fill(message, salt);
  return message;
}

TEST(Merge, ConcatenatedEncodingsParseAsTheMerge) {
  ForEachMessage([](const Message& prototype) {
    const auto one = Filled(prototype, 1), two = Filled(prototype, 5);
    const auto joined = tests::FromBytes(
        prototype, tests::BytesOf(*one) + tests::BytesOf(*two));
    one->MergeFrom(*two);
    EXPECT_EQ(HexOf(*joined), HexOf(*one));
  });
}

TEST(Merge, ParsingIntoAMessageMerges) {
  ForEachMessage([](const Message& prototype) {
    const auto one = Filled(prototype, 1), two = Filled(prototype, 5);
    const auto parsed = Filled(prototype, 1);
    ASSERT_TRUE(parsed->MergeFromString(tests::BytesOf(*two)));
    one->MergeFrom(*two);
    EXPECT_EQ(HexOf(*parsed), HexOf(*one));
  });
}

TEST(Merge, DefaultsInTheSourceNeverResetTheTarget) {
  ForEachMessage([](const Message& prototype) {
    const auto target = Filled(prototype);
    const std::string before = HexOf(*target);
    target->MergeFrom(prototype);
    EXPECT_EQ(HexOf(*target), before);
  });
}

TEST(Merge, IntoAnEmptyMessageIsACopy) {
  ForEachMessage([](const Message& prototype) {
    const auto source = Filled(prototype);
    std::unique_ptr<Message> target(prototype.New());
    target->MergeFrom(*source);
    EXPECT_EQ(HexOf(*target), HexOf(*source));
    EXPECT_TRUE(MessageDifferencer::Equals(*target, *source));
  });
}

TEST(Merge, BaseAndOwnOverloadsAgree) {
  ForEachClass([](auto* type) {
    using M = ClassOf<decltype(type)>;
    const M source = FilledAs<M>(5);
    M own = FilledAs<M>(), base = FilledAs<M>();
    own.MergeFrom(source);
    base.MergeFrom(static_cast<const Message&>(source));
    EXPECT_EQ(HexOf(own), HexOf(base));
    own.CopyFrom(source);
    base.CopyFrom(static_cast<const Message&>(source));
    EXPECT_EQ(HexOf(own), HexOf(source));
    EXPECT_EQ(HexOf(base), HexOf(source));
    base.Clear();
    base.CheckTypeAndMergeFrom(source);
    EXPECT_EQ(HexOf(base), HexOf(source));
  });
}

TEST(Merge, FalseSwitchNeverClearsATrueOne) {
  tarn::AppSettings target, source;
  target.set_ertd_support(true);
  source.set_ertd_support(false);
  source.set_ertd_broadcast(true);
  target.MergeFrom(source);
  EXPECT_EQ(HexOf(target), "08 01 10 01");
}

TEST(Merge, EmptyOffsetAndFalseFlagLeaveThoseOfTheTarget) {
  tarn::Product target, source;
  target.set_offset("5");
  target.set_neg_offset(true);
  source.set_name("a");
  target.MergeFrom(source);
  EXPECT_EQ(HexOf(target), "12 01 61 1A 01 35 20 01");
}

TEST(Merge, DimmingLevelZeroLeavesForty) {
  tarn::Dimming target, source;
  target.set_mode("auto");
  target.set_level(40);
  source.set_level(0);
  source.set_max(9);
  target.MergeFrom(source);
  EXPECT_EQ(target.mode(), "auto");
  EXPECT_EQ(target.level(), 40);
  EXPECT_EQ(target.max(), 9);
}

TEST(Merge, ListsOfTheSourceFollowThoseOfTheTarget) {
  auto states = FromHex<tarn::AppStates>("0A 02 01 02");
  states.MergeFrom(FromHex<tarn::AppStates>("0A 02 05 01"));
  EXPECT_EQ(HexOf(states), "0A 04 01 02 05 01");
  auto frames = FromHex<tarn::Frames>("0A 02 08 01");
  frames.MergeFrom(FromHex<tarn::Frames>("0A 02 08 02 0A 00"));
  EXPECT_EQ(HexOf(frames), "0A 02 08 01 0A 02 08 02 0A 00");
  auto texts = FromHex<tarn::DisplayMsg>("0A 01 61");
  texts.MergeFrom(FromHex<tarn::DisplayMsg>("0A 00 0A 01 62"));
  EXPECT_EQ(HexOf(texts), "0A 01 61 0A 00 0A 01 62");
}

TEST(Merge, SubmessagesAreMergedRecursively) {
  auto target = FromHex<tarn::Module>("52 04 10 01 18 02");
  target.MergeFrom(FromHex<tarn::Module>("52 06 18 03 5A 02 08 04"));
  EXPECT_EQ(HexOf(target), "52 08 10 01 18 03 5A 02 08 04");
}

TEST(Merge, SubmessageInTheInputTwiceIsMerged) {
  EXPECT_EQ(tests::Rewritten<tarn::GetStatusModule>("5A 02 08 01 5A 02 10 02"),
            "5A 04 08 01 10 02");
  EXPECT_EQ(tests::Rewritten<tarn::Display>("42 02 10 01 42 02 18 02"),
            "42 04 10 01 18 02");
}

TEST(Merge, PresentButEmptySubmessageBecomesPresent) {
  tarn::GetStatusModule target, source;
  source.mutable_dimmingconfig();
  target.MergeFrom(source);
  EXPECT_EQ(HexOf(target), "5A 00");
}

TEST(Merge, UnknownFieldsOfTheSourceAreAppended) {
  auto target = FromHex<tarn::Err>("98 06 01");
  target.MergeFrom(FromHex<tarn::Err>("08 05 98 06 02 9D 06 01 02 03 04"));
  EXPECT_EQ(HexOf(target), "08 05 98 06 01 98 06 02 9D 06 01 02 03 04");
}

TEST(Merge, RepeatedPriceAppendsAndRepeatedTextKeepsTheLast) {
  const auto prices = FromHex<tarn::Prices>("0A 02 08 01 0A 02 08 02");
  ASSERT_EQ(prices.prices_size(), 2);
  EXPECT_EQ(prices.prices(1).line_num(), 2);
  EXPECT_EQ(FromHex<tarn::Price>("1A 01 31 1A 01 32").set_price(), "2");
}

TEST(Copy, CopyFromReplacesWhatWasThere) {
  ForEachMessage([](const Message& prototype) {
    const auto source = Filled(prototype, 5);
    const auto target = Filled(prototype, 1);
    target->GetReflection()
        ->MutableUnknownFields(target.get())
        ->AddVarint(1000, 1);
    target->CopyFrom(*source);
    EXPECT_EQ(HexOf(*target), HexOf(*source));
  });
}

TEST(Copy, CopyToSelfDoesNothing) {
  ForEachClass([](auto* type) {
    using M = ClassOf<decltype(type)>;
    M message = FilledAs<M>();
    const std::string before = HexOf(message);
    message.CopyFrom(message);
    EXPECT_EQ(HexOf(message), before);
    message.CopyFrom(static_cast<const Message&>(message));
    EXPECT_EQ(HexOf(message), before);
    const M& alias = message;
    message = alias;
    EXPECT_EQ(HexOf(message), before);
  });
}

TEST(Copy, ConstructorsAndAssignmentsCarryEverything) {
  ForEachClass([](auto* type) {
    using M = ClassOf<decltype(type)>;
    M source = FilledAs<M>();
    source.GetReflection()->MutableUnknownFields(&source)->AddVarint(1000, 1);
    const std::string hex = HexOf(source);
    M copy(source);
    EXPECT_EQ(HexOf(copy), hex);
    M assigned = FilledAs<M>(5);
    assigned = source;
    EXPECT_EQ(HexOf(assigned), hex);
    copy.Clear();
    EXPECT_EQ(HexOf(source), hex);
    M moved(std::move(assigned));
    EXPECT_EQ(HexOf(moved), hex);
    M target = FilledAs<M>(5);
    target = std::move(moved);
    EXPECT_EQ(HexOf(target), hex);
    M& alias = target;
    target = std::move(alias);
    EXPECT_EQ(HexOf(target), hex);
  });
}

TEST(Copy, MoveOnTheHeapTakesTheContentsAsTheyAre) {
  tarn::Prices source;
  const auto* element = source.add_prices();
  tarn::Prices target(std::move(source));
  EXPECT_EQ(&target.prices(0), element);
}

TEST(Copy, MoveBetweenArenaAndHeapCopies) {
  ForEachClass([](auto* type) {
    using M = ClassOf<decltype(type)>;
    Arena arena, other;
    M* source = FilledOn<M>(&arena);
    const std::string hex = HexOf(*source);
    M heap(std::move(*source));
    EXPECT_EQ(HexOf(heap), hex);
    EXPECT_EQ(HexOf(*source), hex);
    M* target = FilledOn<M>(&other, 5);
    *target = std::move(heap);
    EXPECT_EQ(HexOf(*target), hex);
    EXPECT_EQ(HexOf(heap), hex);
    M* third = FilledOn<M>(&other, 6);
    *third = std::move(*target);
    EXPECT_EQ(HexOf(*third), hex);
    EXPECT_EQ(third->GetArena(), &other);
  });
}

// Swaps two messages with different contents and back by the other overload.
template <class M>
void ExpectSwaps(M* one, M* two) {
  one->GetReflection()->MutableUnknownFields(one)->AddVarint(1000, 1);
  two->GetReflection()->MutableUnknownFields(two)->AddVarint(1001, 1);
  const std::string hex_one = HexOf(*one), hex_two = HexOf(*two);
  const auto *arena_one = one->GetArena(), *arena_two = two->GetArena();
  ASSERT_NE(hex_one, hex_two);
  one->Swap(two);
  EXPECT_EQ(HexOf(*one), hex_two);
  EXPECT_EQ(HexOf(*two), hex_one);
  swap(*one, *two);
  EXPECT_EQ(HexOf(*one), hex_one);
  EXPECT_EQ(HexOf(*two), hex_two);
  one->GetReflection()->Swap(one, two);
  EXPECT_EQ(HexOf(*one), hex_two);
  EXPECT_EQ(HexOf(*two), hex_one);
  EXPECT_EQ(one->GetArena(), arena_one);
  EXPECT_EQ(two->GetArena(), arena_two);
  one->Swap(one);
  EXPECT_EQ(HexOf(*one), hex_two);
}

TEST(Swap, ExchangesEverythingOnHeapAndArenasInAnyPair) {
  ForEachClass([](auto* type) {
    using M = ClassOf<decltype(type)>;
    Arena arena, other;
    M one = FilledAs<M>(1), two = FilledAs<M>(5);
    ExpectSwaps(&one, &two);
    ExpectSwaps(FilledOn<M>(&arena), FilledOn<M>(&arena, 5));
    ExpectSwaps(FilledOn<M>(&arena), FilledOn<M>(&other, 5));
    ExpectSwaps(&one, FilledOn<M>(&arena, 7));
    ExpectSwaps(FilledOn<M>(&arena, 7), &two);
  });
}

TEST(Swap, WithADefaultMessageEmptiesTheOne) {
  ForEachMessage([](const Message& prototype) {
    const auto one = Filled(prototype);
    const std::string hex = HexOf(*one);
    std::unique_ptr<Message> two(prototype.New());
    one->GetReflection()->Swap(one.get(), two.get());
    EXPECT_EQ(HexOf(*one), "");
    EXPECT_EQ(HexOf(*two), hex);
  });
}

TEST(Swap, UnsafeArenaSwapExchangesPointers) {
  Arena arena;
  auto* one = Arena::CreateMessage<tarn::Prices>(&arena);
  auto* two = Arena::CreateMessage<tarn::Prices>(&arena);
  const auto* element = one->add_prices();
  one->UnsafeArenaSwap(two);
  ASSERT_EQ(two->prices_size(), 1);
  EXPECT_EQ(&two->prices(0), element);
  EXPECT_EQ(one->prices_size(), 0);
}

}  // namespace
