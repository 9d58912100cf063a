// The loop that receives records from several peers at once.
#ifndef SITE_OFFICE_RECEIVE_H_
#define SITE_OFFICE_RECEIVE_H_

#include <csignal>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <map>
#include <string>
#include <string_view>

#include "record.h"

namespace site_office {

// One peer, from its connection to its end.
struct Peer {
  std::string address;
  uint64_t records = 0;  // complete records so far, good and bad
  uint64_t offset = 0;   // where in its stream the next record begins, in bytes
  int64_t sent = -1;     // records that it says it sent; -1: it has not said
  std::map<std::string, std::string> node_names;  // by uuid
};

// Something wrong with what a peer sent, at record `peer.records + 1`.
struct Fault {
  std::string reason;
  std::string_view bytes;  // all that arrived of the record
  bool closes;             // the connection ends here
};

struct ReceiveOptions {
  Limits limits;
  int idle_seconds = 30;  // after which a silent peer is disconnected
  size_t max_peers = 16;
  uint64_t until_peers = 0;  // return after this many have ended; 0: never
  sigset_t stop_signals;     // return on any of these, which must be blocked
};

struct ReceiveHandler {
  // Called with each record. Returns why it is bad; empty if it is good.
  std::function<std::string(Peer& peer, const Record& record)> record;
  // Called with something wrong that a peer sent.
  std::function<void(const Peer& peer, const Fault& fault)> fault;
  // Called when a connection has ended.
  std::function<void(const Peer& peer)> end;
};

// Receives from whoever connects to `listener` and calls `handler` with what
// arrives. A peer's memory grows with the bytes that have arrived, never with
// the lengths that it announces. Throws what the handler throws.
void Receive(int listener, const ReceiveOptions& options,
             const ReceiveHandler& handler);

}  // namespace site_office

#endif  // SITE_OFFICE_RECEIVE_H_
