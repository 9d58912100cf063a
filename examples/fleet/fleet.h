// What the programs of the fleet share: streams, subjects, types, connection.
//
//   what sites report   tarn.v0.<site>.<Message>    stream TARN
//   what offices order  tarn.v0.<site>.Prices.set   stream TARN_PRICES
//
// The payload is exactly the bytes of the message. TARN keeps a message until
// an office has stored it: a full stream refuses new messages and drops none.
// TARN_PRICES keeps the last order for each site. The site answers through the
// field `price_sync_status_packet` of its NetworkStatusReport: for each display
// by its uuid, and for the order as a whole by OrderKey(); at first with
// price_sync_pending, then with price_update_ok or price_update_failure.
#ifndef EXAMPLES_FLEET_FLEET_H_
#define EXAMPLES_FLEET_FLEET_H_

#include <google/protobuf/message.h>
#include <nats/nats.h>

#include <cstdint>
#include <memory>
#include <mutex>
#include <stdexcept>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace fleet {

inline constexpr char kStream[] = "TARN";
inline constexpr char kSubjects[] = "tarn.v0.*.*";
inline constexpr char kPriceStream[] = "TARN_PRICES";
inline constexpr char kPriceSubjects[] = "tarn.v0.*.Prices.set";
// The durable consumer of TARN that all offices share.
inline constexpr char kConsumer[] = "office";
// Largest message by default, in bytes.
inline constexpr int kLargestMessage = 1 << 20;

// Exit status of the programs.
enum Exit {
  kFine = 0,
  kDifferent = 1,  // an answer or a comparison is not as it should be
  kUsage = 2,
  kMalformed = 3,
  kUnknownType = 4,
  kInputOutput = 5
};

// Ends a program with a sentence that says what to do.
class Failure : public std::runtime_error {
 public:
  Failure(Exit exit, const std::string& text)
      : std::runtime_error(text), exit(exit) {}
  const Exit exit;
};

// Whether a site can have this name: 1 to 64 letters, digits, '-' and '_'.
bool IsSiteName(std::string_view name);

// The subject of a site's messages of one type, and of the orders to it.
std::string Subject(std::string_view site, std::string_view type);
std::string PriceSubject(std::string_view site);

// Names an order in a site's answer, "prices-17"; `sequence` is the order's in
// TARN_PRICES.
std::string OrderKey(uint64_t sequence);

// An empty message of a type of the schema, such as "Prices", on the arena if
// there is one. Null: there is no such type.
google::protobuf::Message* NewMessage(std::string_view type,
                                      google::protobuf::Arena* arena);

// Objects of the NATS library, which end with their owner.
template <auto Destroy>
struct Destroyer {
  template <typename T>
  void operator()(T* object) const {
    Destroy(object);
  }
};
using Connection =
    std::unique_ptr<natsConnection, Destroyer<natsConnection_Destroy>>;
using Context = std::unique_ptr<jsCtx, Destroyer<jsCtx_Destroy>>;
using Subscription =
    std::unique_ptr<natsSubscription, Destroyer<natsSubscription_Destroy>>;
using Msg = std::unique_ptr<natsMsg, Destroyer<natsMsg_Destroy>>;

// Where the servers are, and how a program proves who it is.
struct Server {
  std::vector<std::string> urls = {"nats://127.0.0.1:4222"};
  std::string creds;   // file of credentials
  std::string nkey;    // file of a seed; its public key is in "<file>.pub"
  std::string tls_ca;  // file of the certificates to trust
  std::string inbox;   // prefix of the subjects of answers
};

// Sets a server's options by their names: server, creds, nkey, tls-ca. False:
// the name is another.
bool SetServerOption(std::string_view name, const std::string& value,
                     Server* server);
// Their lines in a program's help.
extern const char kServerHelp[];

// Connects; after that it connects again by itself whenever the connection is
// lost. With `patient` it returns at once, and goes on trying where no server
// is. Throws a Failure where a server refuses the program.
Connection Connect(const Server& server, const char* name, bool patient);

// Throws a Failure if the connection has ended for good, as it does only when a
// server has refused the program twice.
void ExpectOpen(natsConnection* connection);

// Why a connection is interrupted, as a sentence that says what to do.
std::string Trouble(natsConnection* connection);

// What a connection reads and writes streams with. Throws a Failure where there
// is no memory for it.
Context Streams(natsConnection* connection);

// Publishes a message once, with an id by which the server knows it again, and
// waits for the answer: `wait_ms`, or as long as the library does. `sequence`
// is set if the message is acknowledged, `code` if the server says why it is
// not.
natsStatus PublishOnce(jsCtx* context, const std::string& subject,
                       const std::string& bytes, const std::string& id,
                       uint64_t* sequence, jsErrCode* code,
                       int64_t wait_ms = 0);

// The id of a message by which the server knows it again; empty if it has none.
std::string MessageId(natsMsg* message);

// The last order of prices for a site; NATS_NOT_FOUND if there is none.
natsStatus LastOrder(jsCtx* context, const std::string& site, Msg* order);

// Two digits for each byte.
std::string Hex(std::string_view bytes);

// A sentence about what went wrong and what to do; `code` is the stream's.
std::string Explain(natsStatus status, int code = 0);

// Tells people what a program meets: a sentence once, as long as nothing else
// is said. Threads can share it.
class Notices {
 public:
  explicit Notices(std::string program) : program_(std::move(program)) {}
  // What it is `about` goes before the sentence; the same about something else
  // is not said again.
  void Say(const std::string& text, const std::string& about = "");
  // Lets the last sentence be said again.
  void Forget();

 private:
  const std::string program_;
  std::mutex mutex_;
  std::string said_;
};

}  // namespace fleet

#endif  // EXAMPLES_FLEET_FLEET_H_
