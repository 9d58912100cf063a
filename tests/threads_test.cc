// Several threads at once: reading and serializing one object that nobody
// changes, and parsing into objects of their own.
#include <sys/wait.h>
#include <unistd.h>

#include <atomic>
#include <functional>
#include <thread>
#include <type_traits>

#include "reference/messages.h"
#include "reference/opened.h"

namespace {

using tests::HexOf;

const int kThreads = 64;
const int kRounds = 20;

// Runs work(number of the thread) in several threads that start together.
void InThreads(const std::function<void(int)>& work) {
  std::atomic<int> waiting{kThreads};
  std::vector<std::thread> threads;
  for (int i = 0; i < kThreads; ++i) {
    threads.emplace_back([&, i] {
      --waiting;
      while (waiting > 0) std::this_thread::yield();
      work(i);
    });
  }
  for (std::thread& thread : threads) thread.join();
}

// Each test has a process of its own, so no thread finds the descriptors built.
TEST(Threads, FirstUseOfTheDescriptorsIsSafe) {
  std::vector<const google::protobuf::Descriptor*> network(kThreads),
      application(kThreads);
  InThreads([&](int i) {
    if (i % 2 == 0) application[i] = tarn::Price::descriptor();
    network[i] = tarn::Server::descriptor();
    application[i] = tarn::Price::descriptor();
  });
  for (int i = 0; i < kThreads; ++i) {
    ASSERT_NE(network[i], nullptr);
    EXPECT_EQ(network[i], network[0]);
    EXPECT_EQ(application[i], application[0]);
  }
}

TEST(Threads, SerializeOneUnchangedObjectToTheSameBytes) {
  tarn::ModsConfigured message;
  tests::FillEveryField(&message, 1, 5);
  const tarn::ModsConfigured& tree = message;
  const std::string expected = tests::BytesOf(message);
  std::vector<int> good(kThreads);
  InThreads([&](int i) {
    for (int round = 0; round < kRounds; ++round) {
      std::string bytes;
      good[i] += tree.SerializeToString(&bytes) && bytes == expected &&
                 tree.GetCachedSize() == static_cast<int>(expected.size()) &&
                 tree.modsconfigured_size() == 2 &&
                 tree.modsconfigured(0).has_getstatusmodule();
    }
  });
  EXPECT_EQ(good, std::vector<int>(kThreads, kRounds));
}

#define SCHEMA_MESSAGE(file, place, name) \
  OPEN(FieldsOf##name, tarn::name::_impl_)
#include "reference/schema_table.inc"

template <class M, class Fields>
constexpr bool CachesItsSize(Fields M::*) {
  return std::is_same_v<decltype(Fields::_cached_size_),
                        google::protobuf::internal::CachedSize>;
}

// Serializing writes only the cached size to a message. With a plain number the
// result would be the same here, but it would be a race.
TEST(Threads, CachedSizeOfEveryMessageIsAtomic) {
#define SCHEMA_MESSAGE(file, place, name) \
  EXPECT_TRUE(CachesItsSize(Opened(FieldsOf##name()))) << #name;
#include "reference/schema_table.inc"
}

TEST(Threads, ReadMapsAndDefaultInstancesAtOnce) {
  tarn::NetworkStatusReport report;
  tests::FillEveryField(&report);
  const std::string expected = HexOf(report);
  std::vector<int> good(kThreads);
  InThreads([&](int i) {
    for (int round = 0; round < kRounds; ++round) {
      good[i] += HexOf(report) == expected &&
                 report.status_packet().size() == 2 &&
                 HexOf(tarn::ChildTypes::default_instance()).empty() &&
                 tarn::ChildTypes().server().name().empty();
    }
  });
  EXPECT_EQ(good, std::vector<int>(kThreads, kRounds));
}

TEST(Threads, ParseIntoObjectsOfTheirOwn) {
  tarn::ModsAvailable message;
  tests::FillEveryField(&message, 1, 5);
  const std::string bytes = tests::BytesOf(message);
  std::vector<int> good(kThreads);
  InThreads([&](int i) {
    for (int round = 0; round < kRounds; ++round) {
      google::protobuf::Arena arena;
      auto* on_arena =
          google::protobuf::Arena::CreateMessage<tarn::ModsAvailable>(&arena);
      tarn::ModsAvailable on_heap;
      good[i] += on_arena->ParseFromString(bytes) &&
                 on_heap.ParseFromString(bytes) &&
                 tests::BytesOf(*on_arena) == bytes &&
                 tests::BytesOf(on_heap) == bytes;
    }
  });
  EXPECT_EQ(good, std::vector<int>(kThreads, kRounds));
}

TEST(Threads, BuildOnOneArena) {
  google::protobuf::Arena arena;
  std::vector<const tarn::Prices*> built(kThreads);
  InThreads([&](int i) {
    auto* prices = google::protobuf::Arena::CreateMessage<tarn::Prices>(&arena);
    for (int line = 0; line < kRounds; ++line) {
      prices->add_prices()->set_line_num(i);
    }
    built[i] = prices;
  });
  for (int i = 0; i < kThreads; ++i) {
    ASSERT_EQ(built[i]->prices_size(), kRounds);
    EXPECT_EQ(built[i]->prices(kRounds - 1).line_num(), i);
  }
}

// The heap of a sanitizer can stay locked in the child.
#ifndef __SANITIZE_ADDRESS__
TEST(Threads, ChildOfAForkUsesMessagesWhileThreadsDo) {
  tarn::ModsAvailable message;
  tests::FillEveryField(&message, 1, 5);
  const std::string bytes = tests::BytesOf(message);
  std::vector<int> good(kThreads);
  InThreads([&](int i) {
    for (int round = 0; round < kRounds; ++round) {
      tarn::ModsAvailable own;
      if (i > 0) {
        good[i] += own.ParseFromString(bytes) && tests::BytesOf(own) == bytes;
        continue;
      }
      const pid_t child = fork();
      if (child == 0) {
        alarm(60);  // seconds; a child that waits forever fails
        _exit(own.ParseFromString(bytes) && tests::BytesOf(own) == bytes ? 7
                                                                         : 1);
      }
      int status = 0;
      good[i] += waitpid(child, &status, 0) == child && WIFEXITED(status) &&
                 WEXITSTATUS(status) == 7;
    }
  });
  EXPECT_EQ(good, std::vector<int>(kThreads, kRounds));
}
#endif

}  // namespace
