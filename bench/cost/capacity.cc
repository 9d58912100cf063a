// Receives messages of many sites at once, parses and stores them, and says
// what each costs.
//
// Usage: capacity report|tree receive|parse|store|sync|sync-each SECONDS FILE
// A report is a NetworkStatusReport on each node of a site, a tree the site's
// ModsConfigured. Each site has a stream socket of its own, on which a message
// comes with a varint of its size in front. Each step does what the ones before
// it do:
//   receive    waits for sockets by epoll, and reads whole messages
//   parse      parses them into what is held for the site
//   store      serializes that, and writes it to the end of FILE
//   sync       brings FILE to the disk once a second
//   sync-each  brings FILE to the disk after each message
// Prints one JSON object; processor time is that of the receiver alone.
#include <fcntl.h>
#include <google/protobuf/io/coded_stream.h>
#include <google/protobuf/io/zero_copy_stream_impl.h>
#include <google/protobuf/util/delimited_message_util.h>
#include <google/protobuf/util/message_differencer.h>
#include <signal.h>
#include <sys/epoll.h>
#include <sys/socket.h>
#include <sys/wait.h>
#include <tarn/Network.pb.h>
#include <time.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <stdexcept>
#include <string>
#include <vector>

#include "heap.h"
#include "sampler.h"

namespace {

using google::protobuf::Message;
using google::protobuf::io::CodedInputStream;
using google::protobuf::io::CodedOutputStream;
using google::protobuf::util::MessageDifferencer;

// A server radio, 4 clients with 2 displays of 3 modules each: 37 nodes.
constexpr tarn::tool::NetworkShape kShape = {4, 2, 3};
constexpr int kSites = 256;
// That differ; making them takes longer than sending them.
constexpr int kMessages = 32;
// The file begins again when it is so large.
constexpr off_t kLargestFile = 64 << 20;

int Check(int result, const char* what) {
  if (result < 0) throw std::runtime_error(std::string(what) + " failed");
  return result;
}

double Seconds(clockid_t clock) {
  timespec time;
  clock_gettime(clock, &time);
  return time.tv_sec + time.tv_nsec / 1e9;
}

// A status for each node of the tree, and one for its price.
void Report(const tarn::ChildTypes& node, tarn::NetworkStatusReport* report) {
  const auto add = [&](const auto& part) {
    (*report->mutable_status_packet())[part.uuid()] = tarn::ok;
    (*report->mutable_price_sync_status_packet())[part.uuid()] =
        tarn::price_update_ok;
  };
  const auto add_with_children = [&](const auto& part) {
    add(part);
    for (const auto& child : part.children()) Report(child, report);
  };
  if (node.has_server()) add_with_children(node.server());
  if (node.has_client()) add_with_children(node.client());
  if (node.has_display()) add_with_children(node.display());
  if (node.has_module()) add(node.module());
}

// What sites send, each time the same; some send what others do.
std::vector<std::unique_ptr<Message>> MakeMessages(bool reports) {
  std::vector<std::unique_ptr<Message>> messages;
  tarn::tool::Sampler sampler(1, kShape);
  for (int i = 0; i < kMessages; ++i) {
    auto tree = std::make_unique<tarn::ModsConfigured>();
    sampler.Fill(tree.get());
    if (!reports) {
      messages.push_back(std::move(tree));
      continue;
    }
    auto report = std::make_unique<tarn::NetworkStatusReport>();
    report->set_network_price_lifecycle(tarn::price_update_ok);
    for (const auto& node : tree->modsconfigured()) Report(node, report.get());
    messages.push_back(std::move(report));
  }
  return messages;
}

std::string Framed(const Message& message) {
  std::string bytes(CodedOutputStream::VarintSize32(message.ByteSizeLong()) +
                        message.GetCachedSize(),
                    '\0');
  uint8_t* p = reinterpret_cast<uint8_t*>(&bytes[0]);
  p = CodedOutputStream::WriteVarint32ToArray(message.GetCachedSize(), p);
  message.SerializeWithCachedSizesToArray(p);
  return bytes;
}

void WriteAll(int fd, const std::string& bytes) {
  for (size_t done = 0; done < bytes.size();) {
    const ssize_t written =
        ::write(fd, bytes.data() + done, bytes.size() - done);
    if (written < 0) throw std::runtime_error("write failed");
    done += written;
  }
}

// Sends the messages of all sites in turn until nobody listens any more.
[[noreturn]] void Send(const std::vector<int>& sockets,
                       const std::vector<std::string>& framed) {
  signal(SIGPIPE, SIG_DFL);
  while (true) {
    for (int site = 0; site < kSites; ++site) {
      try {
        WriteAll(sockets[site], framed[site % kMessages]);
      } catch (const std::runtime_error&) {
        std::_Exit(0);
      }
    }
  }
}

// What is held for a site.
struct Site {
  int socket = -1;
  std::string buffer;
  size_t filled = 0;
  std::unique_ptr<Message> state;
};

enum Step { kReceive, kParse, kStore, kSync, kSyncEach };

class Receiver {
 public:
  Receiver(Step step, const char* file) : step_(step) {
    file_ = Check(open(file, O_RDWR | O_CREAT | O_TRUNC | O_CLOEXEC, 0600),
                  "opening the file");
    epoll_ = Check(epoll_create1(EPOLL_CLOEXEC), "epoll_create1");
  }

  void Add(int socket, std::unique_ptr<Message> state) {
    epoll_event event = {};
    event.events = EPOLLIN;
    event.data.u32 = static_cast<uint32_t>(sites_.size());
    Check(epoll_ctl(epoll_, EPOLL_CTL_ADD, socket, &event), "epoll_ctl");
    Site site;
    site.socket = socket;
    site.state = std::move(state);
    sites_.push_back(std::move(site));
  }

  void Run(double seconds) {
    const double begin = Seconds(CLOCK_MONOTONIC);
    double next_sync = begin + 1;
    epoll_event events[64];
    while (true) {
      const double now = Seconds(CLOCK_MONOTONIC);
      if (now >= begin + seconds) break;
      const int count = Check(epoll_wait(epoll_, events, 64, -1), "epoll_wait");
      for (int i = 0; i < count; ++i) Read(&sites_[events[i].data.u32]);
      if (step_ == kSync && now >= next_sync) {
        Check(fdatasync(file_), "fdatasync");
        next_sync = now + 1;
      }
    }
    if (step_ == kSync) Check(fdatasync(file_), "fdatasync");
  }

  uint64_t messages() const { return messages_; }

  // Whether the file begins with what the sites sent, and each site's state is
  // what it sent.
  bool Agrees(const std::vector<std::unique_ptr<Message>>& sent) {
    if (step_ >= kStore) {
      lseek(file_, 0, SEEK_SET);
      google::protobuf::io::FileInputStream stream(file_);
      const std::unique_ptr<Message> stored(sent[0]->New());
      bool end = false;
      if (!google::protobuf::util::ParseDelimitedFromZeroCopyStream(
              stored.get(), &stream, &end)) {
        return false;
      }
      bool found = false;
      for (const auto& message : sent) {
        found |= MessageDifferencer::Equals(*message, *stored);
      }
      if (!found) return false;
    }
    for (size_t i = 0; step_ >= kParse && i < sites_.size(); ++i) {
      // Nothing has come from a site that was not heard yet.
      if (sites_[i].state->ByteSizeLong() == 0) continue;
      if (!MessageDifferencer::Equals(*sent[i % kMessages], *sites_[i].state))
        return false;
    }
    return messages_ > 0;
  }

 private:
  void Read(Site* site) {
    if (site->buffer.size() - site->filled < 4096) {
      site->buffer.resize(site->buffer.size() + 8192);
    }
    const ssize_t got = ::read(site->socket, &site->buffer[site->filled],
                               site->buffer.size() - site->filled);
    if (got <= 0) throw std::runtime_error("read failed");
    site->filled += got;
    const auto* begin = reinterpret_cast<const uint8_t*>(site->buffer.data());
    size_t done = 0;
    while (true) {
      CodedInputStream stream(begin + done,
                              static_cast<int>(site->filled - done));
      uint32_t size;
      if (!stream.ReadVarint32(&size)) break;
      const size_t header = stream.CurrentPosition();
      if (site->filled - done < header + size) break;
      Handle(site, begin + done + header, size);
      done += header + size;
    }
    std::memmove(&site->buffer[0], &site->buffer[done], site->filled - done);
    site->filled -= done;
  }

  void Handle(Site* site, const uint8_t* bytes, uint32_t size) {
    ++messages_;
    if (step_ == kReceive) return;
    if (!site->state->ParseFromArray(bytes, static_cast<int>(size))) {
      throw std::runtime_error("a message does not parse");
    }
    if (step_ == kParse) return;
    const std::string framed = Framed(*site->state);
    if (written_ + static_cast<off_t>(framed.size()) > kLargestFile) {
      Check(ftruncate(file_, 0), "ftruncate");
      Check(static_cast<int>(lseek(file_, 0, SEEK_SET)), "lseek");
      written_ = 0;
    }
    WriteAll(file_, framed);
    written_ += framed.size();
    if (step_ == kSyncEach) Check(fdatasync(file_), "fdatasync");
  }

  const Step step_;
  int file_;
  int epoll_;
  std::vector<Site> sites_;
  uint64_t messages_ = 0;
  off_t written_ = 0;
};

void Measure(bool reports, Step step, double seconds, const char* file) {
  const auto messages = MakeMessages(reports);
  std::vector<std::string> framed;
  size_t bytes = 0;
  for (const auto& message : messages) {
    framed.push_back(Framed(*message));
    bytes += framed.back().size();
  }
  std::vector<int> senders;
  const uint64_t before = HeapNow().live;
  Receiver receiver(step, file);
  for (int site = 0; site < kSites; ++site) {
    int pair[2];
    Check(socketpair(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0, pair),
          "socketpair");
    senders.push_back(pair[0]);
    receiver.Add(pair[1], std::unique_ptr<Message>(messages[0]->New()));
  }
  const pid_t child = Check(fork(), "fork");
  if (child == 0) Send(senders, framed);
  for (const int sender : senders) close(sender);
  const double cpu = Seconds(CLOCK_THREAD_CPUTIME_ID);
  const double wall = Seconds(CLOCK_MONOTONIC);
  receiver.Run(seconds);
  const double cpu_taken = Seconds(CLOCK_THREAD_CPUTIME_ID) - cpu;
  const double wall_taken = Seconds(CLOCK_MONOTONIC) - wall;
  const uint64_t held = HeapNow().live - before;
  kill(child, SIGKILL);
  waitpid(child, nullptr, 0);
  if (!receiver.Agrees(messages)) {
    throw std::runtime_error("what arrived is not what was sent");
  }
  std::printf(
      "{\"messages\": %llu, \"cpu_seconds\": %.6f, "
      "\"wall_seconds\": %.6f, \"message_bytes\": %.1f, "
      "\"site_bytes\": %.1f}\n",
      static_cast<unsigned long long>(receiver.messages()), cpu_taken,
      wall_taken, static_cast<double>(bytes) / kMessages,
      static_cast<double>(held) / kSites);
}

}  // namespace

int main(int argc, char* argv[]) {
  const std::vector<std::string> steps = {"receive", "parse", "store", "sync",
                                          "sync-each"};
  size_t step = 0;
  while (argc == 5 && step < steps.size() && steps[step] != argv[2]) ++step;
  const double seconds = argc == 5 ? std::atof(argv[3]) : 0;
  if (argc != 5 || step == steps.size() || seconds <= 0) {
    std::fprintf(stderr,
                 "usage: capacity report|tree receive|parse|store|sync|"
                 "sync-each SECONDS FILE\n");
    return 2;
  }
  try {
    Measure(argv[1] == std::string("report"), static_cast<Step>(step), seconds,
            argv[4]);
  } catch (const std::exception& exception) {
    std::fprintf(stderr, "capacity: %s\n", exception.what());
    return 1;
  }
}
