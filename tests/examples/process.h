// Child processes and TCP peers for tests. Everything waits on a condition,
// with a limit that only a failing test reaches.
#ifndef TESTS_EXAMPLES_PROCESS_H_
#define TESTS_EXAMPLES_PROCESS_H_

#include <arpa/inet.h>
#include <fcntl.h>
#include <gtest/gtest.h>
#include <poll.h>
#include <sys/resource.h>
#include <sys/socket.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <csignal>
#include <string>
#include <string_view>
#include <vector>

constexpr int kPatienceMs = 60000;

// A program whose output is read as it comes. A file that it writes can be
// kept from growing beyond `largest_file` bytes.
class Process {
 public:
  explicit Process(std::vector<std::string> command,
                   rlim_t largest_file = RLIM_INFINITY) {
    int out[2];
    int err[2];
    EXPECT_EQ(pipe2(out, O_CLOEXEC), 0);
    EXPECT_EQ(pipe2(err, O_CLOEXEC), 0);
    std::vector<char*> argv;
    for (std::string& word : command) argv.push_back(word.data());
    argv.push_back(nullptr);
    pid_ = fork();
    if (pid_ == 0) {
      dup2(out[1], STDOUT_FILENO);
      dup2(err[1], STDERR_FILENO);
      if (largest_file != RLIM_INFINITY) {
        const rlimit limit = {largest_file, largest_file};
        setrlimit(RLIMIT_FSIZE, &limit);
        std::signal(SIGXFSZ, SIG_IGN);
      }
      execv(argv[0], argv.data());
      _exit(127);
    }
    close(out[1]);
    close(err[1]);
    streams_[0].fd = out[0];
    streams_[1].fd = err[0];
  }
  Process(const Process&) = delete;
  Process& operator=(const Process&) = delete;

  ~Process() {
    if (pid_ > 0) {
      kill(pid_, SIGKILL);
      waitpid(pid_, nullptr, 0);
    }
    for (const Stream& stream : streams_) {
      if (stream.fd >= 0) close(stream.fd);
    }
  }

  const std::string& out() const { return streams_[0].text; }
  const std::string& err() const { return streams_[1].text; }
  pid_t pid() const { return pid_; }

  // Reads until the output holds `text`.
  void AwaitOut(std::string_view text) { Await(0, text); }
  void AwaitErr(std::string_view text) { Await(1, text); }

  void Signal(int signal) { kill(pid_, signal); }

  // Reads all output and returns the exit status, or -1 for death by a signal.
  int Wait() {
    while (streams_[0].fd >= 0 || streams_[1].fd >= 0) {
      if (!ReadSome()) {
        ADD_FAILURE() << "no end; so far:\n" << out() << err();
        kill(pid_, SIGKILL);
        break;
      }
    }
    int status = 0;
    waitpid(pid_, &status, 0);
    pid_ = -1;
    return WIFEXITED(status) ? WEXITSTATUS(status) : -1;
  }

 private:
  struct Stream {
    int fd = -1;
    std::string text;
  };

  void Await(int index, std::string_view text) {
    while (streams_[index].text.find(text) == std::string::npos) {
      ASSERT_TRUE(streams_[index].fd >= 0 && ReadSome())
          << "no \"" << text << "\" in:\n"
          << out() << err();
    }
  }

  // Reads what there is. False: nothing came for too long.
  bool ReadSome() {
    pollfd polled[] = {{streams_[0].fd, POLLIN, 0},
                       {streams_[1].fd, POLLIN, 0}};
    if (poll(polled, 2, kPatienceMs) <= 0) return false;
    for (int i = 0; i < 2; ++i) {
      if (polled[i].revents == 0) continue;
      char chunk[4096];
      const ssize_t got = read(streams_[i].fd, chunk, sizeof chunk);
      if (got > 0) {
        streams_[i].text.append(chunk, static_cast<size_t>(got));
      } else {
        close(streams_[i].fd);
        streams_[i].fd = -1;
      }
    }
    return true;
  }

  pid_t pid_ = -1;
  Stream streams_[2];
};

// A connection to a port of this machine.
class Connection {
 public:
  explicit Connection(int port)
      : fd_(socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0)) {
    const timeval limit = {kPatienceMs / 1000, 0};
    setsockopt(fd_, SOL_SOCKET, SO_RCVTIMEO, &limit, sizeof limit);
    sockaddr_in address = {};
    address.sin_family = AF_INET;
    address.sin_port = htons(static_cast<uint16_t>(port));
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    EXPECT_EQ(
        connect(fd_, reinterpret_cast<sockaddr*>(&address), sizeof address), 0);
    socklen_t length = sizeof address;
    getsockname(fd_, reinterpret_cast<sockaddr*>(&address), &length);
    address_ = "127.0.0.1:" + std::to_string(ntohs(address.sin_port));
  }
  Connection(const Connection&) = delete;
  Connection& operator=(const Connection&) = delete;
  ~Connection() { close(fd_); }

  // What the other end calls this one.
  const std::string& address() const { return address_; }

  void Send(std::string_view bytes) {
    while (!bytes.empty()) {
      const ssize_t sent = send(fd_, bytes.data(), bytes.size(), MSG_NOSIGNAL);
      ASSERT_GT(sent, 0);
      bytes.remove_prefix(static_cast<size_t>(sent));
    }
  }

  // Says that nothing more will come.
  void HalfClose() { shutdown(fd_, SHUT_WR); }

  // The same, and waits until the other end closes.
  void Finish() {
    HalfClose();
    AwaitClosed();
  }

  void AwaitClosed() {
    char byte;
    const ssize_t got = recv(fd_, &byte, 1, 0);
    ASSERT_TRUE(got == 0 || (got < 0 && errno == ECONNRESET))
        << "not closed by the other end";
  }

 private:
  int fd_;
  std::string address_;
};

#endif  // TESTS_EXAMPLES_PROCESS_H_
