// Each allocation of an operation fails in turn: of every message, on the heap
// and on an arena.
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>
#ifdef __SANITIZE_ADDRESS__
#include <sanitizer/lsan_interface.h>
#endif

#include <cstdio>
#include <cstdlib>
#include <functional>
#include <new>

#include "reference/messages.h"

namespace {

int64_t left = -1;   // allocations that go well; -1: all do
int64_t blocks = 0;  // that are not freed yet

}  // namespace

// Kept out of line, or the compiler warns that new meets free.
[[gnu::noinline]] void* operator new(size_t size) {
  if (left == 0) throw std::bad_alloc();
  if (left > 0) --left;
  void* const block = std::malloc(size);
  if (block == nullptr) throw std::bad_alloc();
  ++blocks;
  return block;
}
[[gnu::noinline]] void operator delete(void* block) noexcept {
  if (block != nullptr) --blocks;
  std::free(block);
}
void operator delete(void* block, size_t) noexcept { operator delete(block); }

namespace {

using google::protobuf::Arena;
using tests::Class;
using tests::Message;

// What is done with a message, and what it is done with.
struct Task {
  const Class& type;
  const Message& other;     // every field set
  const std::string bytes;  // those of `other`
};

struct Operation {
  const char* name;
  bool begins_filled;
  void (*run)(const Task& task, Message* message);
};

const Operation kOperations[] = {
    {"parse", false,
     [](const Task& task, Message* message) {
       EXPECT_TRUE(message->ParseFromString(task.bytes));
     }},
    {"copy", false,
     [](const Task& task, Message* message) {
       task.type.copy_from(message, task.other);
     }},
    {"merge", true,
     [](const Task& task, Message* message) {
       task.type.merge_from(message, task.other);
     }},
    {"serialize", true,
     [](const Task&, Message* message) {
       EXPECT_FALSE(message->SerializeAsString().empty());
     }},
    {"clear", true, [](const Task&, Message* message) { message->Clear(); }},
};

// Whether the operation ended, although all but the first `good` of its
// allocations fail. The message is destroyed in any case.
bool Ends(const Operation& operation, const Task& task, bool on_arena,
          int64_t good) {
  google::protobuf::ArenaOptions small_blocks;
  small_blocks.start_block_size = small_blocks.max_block_size = 128;
  Arena arena(small_blocks);
  std::unique_ptr<Message> on_heap;
  Message* const message = task.type.create(on_arena ? &arena : nullptr);
  if (!on_arena) on_heap.reset(message);
  if (operation.begins_filled) tests::FillEveryField(message, 7);
#ifdef __SANITIZE_ADDRESS__
  const __lsan::ScopedDisabler what_is_lost_is_counted;
#endif
  bool ended = true;
  left = good;
  try {
    operation.run(task, message);
  } catch (const std::bad_alloc&) {
    ended = false;
  }
  left = -1;
  return ended;
}

// The same in a process of its own; also false if that crashes.
bool EndsInAChild(const std::function<bool()>& ends, int* crashes) {
  const pid_t child = fork();
  if (child == 0) {
    const rlimit none = {0, 0};
    setrlimit(RLIMIT_CORE, &none);
    std::freopen("/dev/null", "w", stderr);
    _exit(ends() ? 0 : 7);
  }
  int status = 0;
  EXPECT_EQ(waitpid(child, &status, 0), child);
  if (!WIFEXITED(status) || WEXITSTATUS(status) % 7 != 0) ++*crashes;
  return WIFEXITED(status) && WEXITSTATUS(status) == 0;
}

struct Counts {
  int failures = 0;
  int crashes = 0;
  int64_t lost = 0;  // blocks that nobody frees
};

// Tries all operations on the messages that have a map, or on the others.
Counts TryAll(bool on_arena, bool with_map) {
  Counts counts;
  tests::ForEachClass([&](const Class& type) {
    const Message& prototype = type.default_instance;
    if (with_map != (prototype.GetTypeName() == "tarn.NetworkStatusReport")) {
      return;
    }
    const auto other = tests::Filled(prototype);
    const Task task = {type, *other, tests::BytesOf(*other)};
    for (const Operation& operation : kOperations) {
      SCOPED_TRACE(operation.name);
      const int64_t before = blocks;
      for (int64_t good = 0;; ++good) {
        const auto ends = [&] { return Ends(operation, task, on_arena, good); };
        const bool child = with_map && !on_arena;
        if (child ? EndsInAChild(ends, &counts.crashes) : ends()) break;
        ++counts.failures;
      }
      counts.lost += blocks - before;
    }
  });
  std::printf("%d failing allocations, %d crashes, %jd blocks lost\n",
              counts.failures, counts.crashes, intmax_t{counts.lost});
  return counts;
}

TEST(Allocation, MayFailAnywhereOnAnArena) {
  for (const bool with_map : {false, true}) {
    const Counts counts = TryAll(true, with_map);
    EXPECT_GT(counts.failures, 10);
    EXPECT_EQ(counts.lost, 0);
  }
}

// The runtime loses the elements of a list that it is about to merge.
TEST(Allocation, MayFailAnywhereOnTheHeapWithoutMapsButLosesMemory) {
  const Counts counts = TryAll(false, false);
  EXPECT_GT(counts.failures, 1000);
  EXPECT_GT(counts.lost, 0);
}

// A map of the runtime notes its new size before it allocates the new table,
// and is then destroyed with a table that is too small.
TEST(Allocation, ThatFailsWhileAMapOnTheHeapGrowsCrashesTheDestructor) {
  const Counts counts = TryAll(false, true);
  EXPECT_GT(counts.failures, 10);
  EXPECT_EQ(counts.crashes, 4);
}

}  // namespace
