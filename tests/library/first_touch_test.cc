// Threads that touch the descriptors for the first time at the same moment.
// Each round is a child process of its own: only a process that never touched
// them can do so for the first time.
#include <gtest/gtest.h>
#include <sys/wait.h>
#include <tarn/Network.pb.h>
#include <tarn/Tarn.pb.h>
#include <unistd.h>

#include <atomic>
#include <functional>
#include <thread>
#include <vector>

namespace {

constexpr int kRounds = 100;

// Runs all actions at once, one thread each, released together.
void RunTogether(const std::vector<std::function<void()>>& actions) {
  std::atomic<size_t> ready{0};
  std::vector<std::thread> threads;
  for (const auto& action : actions) {
    threads.emplace_back([&] {
      ++ready;
      while (ready < actions.size()) {
      }
      action();
    });
  }
  for (std::thread& thread : threads) thread.join();
}

// The exit status of a child: 0 when every thread saw the same descriptors.
int TouchInThisProcess() {
  const google::protobuf::FileDescriptor* files[4] = {};
  bool names_right[4] = {};
  RunTogether({
      [&] {
        files[0] = tarn::Server::descriptor()->file();
        names_right[0] = tarn::Server::descriptor()->name() == "Server";
      },
      [&] {
        files[1] = tarn::StatusCodes_descriptor()->file();
        names_right[1] = tarn::StatusCodes_Name(tarn::ok) == "ok";
      },
      [&] {
        files[2] = tarn::Price().GetMetadata().descriptor->file();
        names_right[2] = tarn::Price().GetTypeName() == "tarn.Price";
      },
      [&] {
        files[3] = tarn::Font_Style_descriptor()->file();
        names_right[3] = tarn::Font::Style_Name(tarn::Font::Bold) == "Bold";
      },
  });
  const bool right = names_right[0] && names_right[1] && names_right[2] &&
                     names_right[3] && files[0] == files[1] &&
                     files[2] == files[3] && files[0] != files[2];
  return right ? 0 : 1;
}

TEST(FirstTouch, IsSafeFromSeveralThreadsAtOnce) {
  for (int round = 0; round < kRounds; ++round) {
    const pid_t child = fork();
    ASSERT_NE(child, -1);
    if (child == 0) _exit(TouchInThisProcess());
    int status = 0;
    ASSERT_EQ(waitpid(child, &status, 0), child);
    ASSERT_TRUE(WIFEXITED(status)) << "round " << round;
    ASSERT_EQ(WEXITSTATUS(status), 0) << "round " << round;
  }
}

}  // namespace
