// Counts what the simulator did, and writes down what servers acknowledged, so
// that it can be compared with the database of an office.
#ifndef EXAMPLES_FLEET_SIMULATE_LEDGER_H_
#define EXAMPLES_FLEET_SIMULATE_LEDGER_H_

#include <atomic>
#include <cstdint>
#include <fstream>
#include <mutex>
#include <string>

namespace fleet {

struct Counts {
  std::atomic<uint64_t> sent{0};
  std::atomic<uint64_t> acknowledged{0};
  std::atomic<uint64_t> again{0};    // sent again, because nobody answered
  std::atomic<uint64_t> refused{0};  // by the server, as too large
  std::atomic<uint64_t> hostile{0};
  std::atomic<uint64_t> ordered{0};   // prices ordered
  std::atomic<uint64_t> taken{0};     // orders that a site took
  std::atomic<uint64_t> answered{0};  // and answered to the end
  std::atomic<uint64_t> milliseconds{0};
};

class Ledger {
 public:
  // Writes no file where the path is empty. Throws a Failure if it cannot.
  explicit Ledger(const std::string& path);

  // Adds the line "SEQUENCE FATE CRC32 SIZE ID SUBJECT".
  void Add(uint64_t sequence, const char* fate, const std::string& subject,
           const std::string& bytes, const std::string& id);
  // Writes the rest. Throws a Failure if the file lacks something.
  void Close();

 private:
  const std::string path_;
  std::mutex mutex_;
  std::ofstream file_;
};

}  // namespace fleet

#endif  // EXAMPLES_FLEET_SIMULATE_LEDGER_H_
