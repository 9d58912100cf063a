// The loop that receives records from several peers at once.
#include "receive.h"

#include <poll.h>
#include <sys/signalfd.h>
#include <sys/socket.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <chrono>
#include <list>
#include <system_error>
#include <utility>
#include <vector>

#include "socket.h"

namespace site_office {
namespace {

using Clock = std::chrono::steady_clock;

struct Connection {
  Fd fd;
  Peer peer;
  std::string buffer;  // what has arrived of the record at peer.offset
  Clock::time_point last_heard = Clock::now();
};

bool IsTransient(int error) {
  return error == EINTR || error == EAGAIN || error == EWOULDBLOCK;
}

std::string Where(const Connection& connection) {
  return connection.buffer.empty() ? " between records"
                                   : " in the middle of the record";
}

// While this is on, closing a connection resets it, so that the peer cannot
// mistake the end for success.
void SetReset(int fd, bool on) {
  const linger option = {on ? 1 : 0, 0};
  setsockopt(fd, SOL_SOCKET, SO_LINGER, &option, sizeof option);
}

class Loop {
 public:
  Loop(int listener, const ReceiveOptions& options,
       const ReceiveHandler& handler)
      : listener_(listener),
        options_(options),
        handler_(handler),
        stop_signals_(signalfd(-1, &options.stop_signals, SFD_CLOEXEC)) {
    if (stop_signals_.get() < 0) ThrowErrno("cannot listen for signals");
  }

  void Run() {
    while (!stopping_ &&
           (options_.until_peers == 0 || ended_ < options_.until_peers)) {
      Wait();
    }
    while (!connections_.empty()) {
      const Connection& first = connections_.front();
      End(connections_.begin(),
          first.buffer.empty() ? "" : "office stopped" + Where(first));
    }
  }

 private:
  using Iterator = std::list<Connection>::iterator;

  // Waits until something happens and deals with it.
  void Wait() {
    std::vector<pollfd> polled;
    polled.push_back({stop_signals_.get(), POLLIN, 0});
    // Without free descriptors, new peers wait until another peer leaves.
    polled.push_back({out_of_descriptors_ ? -1 : listener_, POLLIN, 0});
    for (const Connection& each : connections_) {
      polled.push_back({each.fd.get(), POLLIN, 0});
    }
    if (poll(polled.data(), polled.size(), MillisecondsToWait()) < 0) {
      if (errno != EINTR) ThrowErrno("cannot wait for peers");
      return;
    }
    if (polled[0].revents != 0) stopping_ = true;
    size_t index = 2;
    for (Iterator it = connections_.begin(); it != connections_.end();) {
      const Iterator current = it++;
      if (polled[index++].revents != 0) {
        ReadFrom(current);
      } else if (Deadline(*current) <= Clock::now()) {
        End(current, "silent for " + std::to_string(options_.idle_seconds) +
                         " s" + Where(*current));
      }
    }
    if (polled[1].revents != 0) Accept();
  }

  Clock::time_point Deadline(const Connection& connection) const {
    return connection.last_heard + std::chrono::seconds(options_.idle_seconds);
  }

  // Time to the next deadline, for poll(2): -1 waits for ever.
  int MillisecondsToWait() const {
    if (connections_.empty()) return -1;
    Clock::time_point next = Clock::time_point::max();
    for (const Connection& each : connections_) {
      next = std::min(next, Deadline(each));
    }
    // Rounded up, so that the deadline has passed when poll(2) returns.
    const auto left =
        std::chrono::ceil<std::chrono::milliseconds>(next - Clock::now());
    return static_cast<int>(std::max(left.count(), decltype(left.count()){0}));
  }

  void Accept() {
    sockaddr_storage address;
    socklen_t length = sizeof address;
    Fd fd(accept4(listener_, reinterpret_cast<sockaddr*>(&address), &length,
                  SOCK_NONBLOCK | SOCK_CLOEXEC));
    if (fd.get() < 0) {
      out_of_descriptors_ = errno == EMFILE || errno == ENFILE;
      if (out_of_descriptors_ && connections_.empty()) {
        ThrowErrno("cannot accept a peer");
      }
      return;  // Other failures concern only a peer that has gone already.
    }
    SetReset(fd.get(), true);
    Peer peer;
    peer.address = AddressText(&address, length);
    if (connections_.size() >= options_.max_peers) {
      handler_.fault(peer, {"turned away, the limit of peers at a time is " +
                                std::to_string(options_.max_peers),
                            "", true});
      return;
    }
    connections_.push_back({std::move(fd), std::move(peer), "", Clock::now()});
  }

  void ReadFrom(Iterator it) {
    const ssize_t got = recv(it->fd.get(), chunk_.data(), chunk_.size(), 0);
    if (got < 0 && IsTransient(errno)) return;
    if (got < 0) {
      End(it, "connection lost (" + std::generic_category().message(errno) +
                  ")" + Where(*it));
    } else if (got == 0 && it->buffer.empty()) {
      SetReset(it->fd.get(), false);
      End(it, "");
    } else if (got == 0) {
      End(it, "closed by the peer" + Where(*it));
    } else {
      it->last_heard = Clock::now();
      it->buffer.append(chunk_.data(), static_cast<size_t>(got));
      TakeRecords(it);
    }
  }

  // Hands on the complete records in the buffer. Ends the connection if no
  // further record can follow.
  void TakeRecords(Iterator it) {
    std::string_view rest = it->buffer;
    Record record;
    std::string reason;
    Scan scan;
    while ((scan = ScanRecord(rest, options_.limits, &record, &reason)) ==
           Scan::kComplete) {
      const std::string_view bytes = rest.substr(0, record.size);
      const std::string bad = handler_.record(it->peer, record);
      if (!bad.empty()) handler_.fault(it->peer, {bad, bytes, false});
      ++it->peer.records;
      it->peer.offset += record.size;
      rest.remove_prefix(record.size);
    }
    it->buffer.erase(0, it->buffer.size() - rest.size());
    if (scan == Scan::kBroken) End(it, reason);
  }

  // Ends a connection. `reason` says what went wrong; empty if nothing did.
  void End(Iterator it, const std::string& reason) {
    if (!reason.empty()) {
      handler_.fault(it->peer, {reason, it->buffer, true});
    }
    handler_.end(it->peer);
    connections_.erase(it);
    out_of_descriptors_ = false;
    ++ended_;
  }

  const int listener_;
  const ReceiveOptions& options_;
  const ReceiveHandler& handler_;
  const Fd stop_signals_;
  std::list<Connection> connections_;
  std::array<char, 64 * 1024> chunk_;
  uint64_t ended_ = 0;
  bool out_of_descriptors_ = false;
  bool stopping_ = false;
};

}  // namespace

void Receive(int listener, const ReceiveOptions& options,
             const ReceiveHandler& handler) {
  Loop(listener, options, handler).Run();
}

}  // namespace site_office
