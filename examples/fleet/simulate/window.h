// Publishes without waiting for each acknowledgement: a window of messages is
// on its way at once.
#ifndef EXAMPLES_FLEET_SIMULATE_WINDOW_H_
#define EXAMPLES_FLEET_SIMULATE_WINDOW_H_

#include <cstdint>
#include <mutex>
#include <string>

#include "../fleet.h"
#include "ledger.h"

namespace fleet {

class Window {
 public:
  // At most `size` messages wait for an acknowledgement, each for `patience`
  // seconds.
  Window(natsConnection* connection, int size, double patience, Counts* counts,
         Ledger* ledger);
  Window(const Window&) = delete;
  Window& operator=(const Window&) = delete;

  // Waits for room in the window. Throws a Failure if this message cannot be
  // sent or an earlier one was not acknowledged: none is sent again.
  void Publish(const std::string& subject, const std::string& bytes,
               const std::string& id);
  // Waits until all are acknowledged; throws a Failure if one is not.
  void Finish();

 private:
  static void OnAnswer(jsCtx* context, natsMsg* message, jsPubAck* answer,
                       jsPubAckErr* error, void* window);
  void ExpectNoFailure();

  const int64_t patience_ms_;
  Counts* const counts_;
  Ledger* const ledger_;
  std::mutex mutex_;
  std::string failure_;  // the first one
  Context context_;      // ends before what its handler uses
};

}  // namespace fleet

#endif  // EXAMPLES_FLEET_SIMULATE_WINDOW_H_
