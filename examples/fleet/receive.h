// The office at work: takes messages from the stream into the database.
#ifndef EXAMPLES_FLEET_RECEIVE_H_
#define EXAMPLES_FLEET_RECEIVE_H_

#include <csignal>
#include <cstdint>
#include <string>

#include "database.h"
#include "fleet.h"

namespace fleet {

// How the office makes the streams where they are not there yet.
struct StreamOptions {
  int64_t messages = 1000000;  // that TARN may hold
  int replicas = 1;
  int largest = kLargestMessage;  // message, in bytes
};

// Makes the streams and the consumer that are missing, and leaves those that
// are there as they are. Empty: all are there; otherwise what is in the way.
std::string MakeStreams(jsCtx* context, const StreamOptions& options);

// Stores what comes until `ending`. Each batch is committed, then acknowledged.
// Throws a Failure where the database or the server does not let it go on.
void Receive(natsConnection* connection, const StreamOptions& options,
             Database* database, const volatile std::sig_atomic_t& ending);

}  // namespace fleet

#endif  // EXAMPLES_FLEET_RECEIVE_H_
