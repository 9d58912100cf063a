// Merging, copying, moving and swapping, on the heap, on arenas and between
// them.
#include <google/protobuf/util/message_differencer.h>

#include "reference/messages.h"

namespace {

using google::protobuf::Arena;
using google::protobuf::util::MessageDifferencer;
using tests::Class;
using tests::Filled;
using tests::ForEachClass;
using tests::ForEachMessage;
using tests::FromHex;
using tests::HexOf;
using tests::Message;

using Owned = std::unique_ptr<Message>;

// A message with every field set, owned by an arena.
Message* FilledOn(Arena* arena, const Class& type, int seed = 1) {
  Message* message = type.create(arena);
  tests::FillEveryField(message, seed);
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
  ForEachClass([](const Class& type) {
    const Owned source = Filled(type.default_instance, 5);
    const Owned own = Filled(type.default_instance);
    const Owned base = Filled(type.default_instance);
    type.merge_from(own.get(), *source);
    base->MergeFrom(*source);
    EXPECT_EQ(HexOf(*own), HexOf(*base));
    type.copy_from(own.get(), *source);
    base->CopyFrom(*source);
    EXPECT_EQ(HexOf(*own), HexOf(*source));
    EXPECT_EQ(HexOf(*base), HexOf(*source));
    base->Clear();
    base->CheckTypeAndMergeFrom(*source);
    EXPECT_EQ(HexOf(*base), HexOf(*source));
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
  ForEachClass([](const Class& type) {
    const Owned message = Filled(type.default_instance);
    const std::string before = HexOf(*message);
    type.copy_from(message.get(), *message);
    EXPECT_EQ(HexOf(*message), before);
    message->CopyFrom(*message);
    EXPECT_EQ(HexOf(*message), before);
    type.assign(message.get(), *message);
    EXPECT_EQ(HexOf(*message), before);
    type.move_assign(message.get(), message.get());
    EXPECT_EQ(HexOf(*message), before);
  });
}

TEST(Copy, ConstructorsAndAssignmentsCarryEverything) {
  ForEachClass([](const Class& type) {
    const Owned source = Filled(type.default_instance);
    source->GetReflection()
        ->MutableUnknownFields(source.get())
        ->AddVarint(1000, 1);
    const std::string hex = HexOf(*source);
    const Owned copy(type.copy(*source));
    EXPECT_EQ(HexOf(*copy), hex);
    const Owned assigned = Filled(type.default_instance, 5);
    type.assign(assigned.get(), *source);
    EXPECT_EQ(HexOf(*assigned), hex);
    copy->Clear();
    EXPECT_EQ(HexOf(*source), hex);
    const Owned moved(type.move(assigned.get()));
    EXPECT_EQ(HexOf(*moved), hex);
    const Owned target = Filled(type.default_instance, 5);
    type.move_assign(target.get(), moved.get());
    EXPECT_EQ(HexOf(*target), hex);
  });
}

TEST(Copy, MoveOnTheHeapTakesTheContentsAsTheyAre) {
  tarn::Prices source;
  const auto* element = source.add_prices();
  tarn::Prices target(std::move(source));
  EXPECT_EQ(&target.prices(0), element);
}

TEST(Copy, MoveBetweenArenaAndHeapCopies) {
  ForEachClass([](const Class& type) {
    Arena arena, other;
    Message* source = FilledOn(&arena, type);
    const std::string hex = HexOf(*source);
    const Owned heap(type.move(source));
    EXPECT_EQ(HexOf(*heap), hex);
    EXPECT_EQ(HexOf(*source), hex);
    Message* target = FilledOn(&other, type, 5);
    type.move_assign(target, heap.get());
    EXPECT_EQ(HexOf(*target), hex);
    EXPECT_EQ(HexOf(*heap), hex);
    Message* third = FilledOn(&arena, type, 6);
    type.move_assign(third, target);
    EXPECT_EQ(HexOf(*third), hex);
    EXPECT_EQ(HexOf(*target), hex);
    EXPECT_EQ(third->GetArena(), &arena);
  });
}

// Swaps two messages with different contents by each of the ways.
void ExpectSwaps(const Class& type, Message* one, Message* two) {
  one->GetReflection()->MutableUnknownFields(one)->AddVarint(1000, 1);
  two->GetReflection()->MutableUnknownFields(two)->AddVarint(1001, 1);
  const std::string hex_one = HexOf(*one), hex_two = HexOf(*two);
  const auto *arena_one = one->GetArena(), *arena_two = two->GetArena();
  ASSERT_NE(hex_one, hex_two);
  type.swap_member(one, two);
  EXPECT_EQ(HexOf(*one), hex_two);
  EXPECT_EQ(HexOf(*two), hex_one);
  type.swap_function(one, two);
  EXPECT_EQ(HexOf(*one), hex_one);
  EXPECT_EQ(HexOf(*two), hex_two);
  one->GetReflection()->Swap(one, two);
  EXPECT_EQ(HexOf(*one), hex_two);
  EXPECT_EQ(HexOf(*two), hex_one);
  EXPECT_EQ(one->GetArena(), arena_one);
  EXPECT_EQ(two->GetArena(), arena_two);
  type.swap_member(one, one);
  EXPECT_EQ(HexOf(*one), hex_two);
}

TEST(Swap, ExchangesEverythingOnHeapAndArenasInAnyPair) {
  ForEachClass([](const Class& type) {
    Arena arena, other;
    const Owned one = Filled(type.default_instance, 1);
    const Owned two = Filled(type.default_instance, 5);
    ExpectSwaps(type, one.get(), two.get());
    ExpectSwaps(type, FilledOn(&arena, type), FilledOn(&arena, type, 5));
    ExpectSwaps(type, FilledOn(&arena, type), FilledOn(&other, type, 5));
    ExpectSwaps(type, one.get(), FilledOn(&arena, type, 7));
    ExpectSwaps(type, FilledOn(&arena, type, 7), two.get());
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
