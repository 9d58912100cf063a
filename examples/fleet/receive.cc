// The office at work: takes messages from the stream into the database.
#include "receive.h"

#include <chrono>
#include <cstdio>
#include <ctime>
#include <iostream>
#include <thread>
#include <vector>

#include "output.h"

namespace fleet {
namespace {

constexpr int kBatch = 100;  // messages of one transaction, at most
constexpr int64_t kSecond = 1000000000;
constexpr int kIdleRoundsBetweenChecks = 5;

// "2026-11-22T05:30:00.123456789Z"
std::string Rfc3339(int64_t nanoseconds) {
  const time_t seconds = nanoseconds / kSecond;
  tm utc = {};
  gmtime_r(&seconds, &utc);
  char text[64];
  const size_t size =
      std::strftime(text, sizeof text, "%Y-%m-%dT%H:%M:%S", &utc);
  std::snprintf(text + size, sizeof text - size, ".%09lldZ",
                static_cast<long long>(nanoseconds % kSecond));
  return text;
}

// Makes a stream where it is missing: `config` has what is its own. Returns why
// it cannot.
std::string MakeStream(jsCtx* context, const char* name, const char* subjects,
                       const StreamOptions& options, jsStreamConfig config) {
  config.Name = name;
  config.Subjects = &subjects;
  config.SubjectsLen = 1;
  config.Replicas = options.replicas;
  config.MaxMsgSize = options.largest;
  config.Duplicates = 120 * kSecond;
  config.Discard = js_DiscardNew;
  config.Storage = js_FileStorage;
  jsErrCode code = {};
  jsStreamInfo* info = nullptr;
  natsStatus status = js_GetStreamInfo(&info, context, name, nullptr, &code);
  if (status == NATS_NOT_FOUND) {
    status = js_AddStream(&info, context, &config, nullptr, &code);
  }
  jsStreamInfo_Destroy(info);
  if (status == NATS_OK) return "";
  return std::string("stream ") + name + ": " + Explain(status, code);
}

// What a fetch has brought; releases the messages.
class Batch {
 public:
  Batch() = default;
  Batch(const Batch&) = delete;
  Batch& operator=(const Batch&) = delete;
  ~Batch() { natsMsgList_Destroy(&list_); }
  natsMsgList* list() { return &list_; }
  natsMsg* const* begin() const { return list_.Msgs; }
  natsMsg* const* end() const { return list_.Msgs + list_.Count; }
  int size() const { return list_.Count; }

 private:
  natsMsgList list_ = {};
};

// Takes what is there at once, or waits up to a second for one message. A batch
// never has more bytes than the largest message that the server takes.
natsStatus Fetch(natsConnection* connection, natsSubscription* source,
                 bool waiting, natsMsgList* list) {
  constexpr int64_t kSubjectAndReply = 8192;
  jsFetchRequest request;
  jsFetchRequest_Init(&request);
  request.Batch = waiting ? 1 : kBatch;
  request.NoWait = !waiting;
  request.MaxBytes =
      natsConnection_GetMaxPayload(connection) + kSubjectAndReply;
  request.Expires = kSecond;
  return natsSubscription_FetchRequest(list, source, &request);
}

void Store(const Batch& batch, size_t largest, Database* database) {
  std::vector<natsMsg*> stored;
  int rejected = 0;
  std::string first;
  database->Begin();
  for (natsMsg* message : batch) {
    jsMsgMetaData* data = nullptr;
    // No memory: it comes again.
    if (natsMsg_GetMetaData(&data, message) != NATS_OK) continue;
    stored.push_back(message);
    const std::string subject = natsMsg_GetSubject(message);
    const std::string reason =
        database->Add({data->Sequence.Stream,
                       Rfc3339(data->Timestamp),
                       subject,
                       {natsMsg_GetData(message),
                        static_cast<size_t>(natsMsg_GetDataLength(message))},
                       MessageId(message)},
                      largest);
    jsMsgMetaData_Destroy(data);
    if (reason.empty()) continue;
    if (rejected++ == 0) first = tarn::tool::Clipped(subject) + ": " + reason;
  }
  database->Commit();
  // If the office dies before this, the messages come again, and change
  // nothing.
  for (natsMsg* message : stored) natsMsg_Ack(message, nullptr);
  if (rejected == 1) std::cerr << "office: rejected " << first << '\n';
  if (rejected > 1) {
    std::cerr << "office: rejected " << rejected << " messages, first " << first
              << '\n';
  }
}

// The office's place in the stream; null, and why, where it cannot be had yet.
Subscription Open(jsCtx* context, const StreamOptions& options,
                  std::string* obstacle) {
  *obstacle = MakeStreams(context, options);
  if (!obstacle->empty()) return nullptr;
  jsSubOptions place;
  jsSubOptions_Init(&place);
  place.Stream = kStream;
  place.Consumer = kConsumer;
  natsSubscription* source = nullptr;
  jsErrCode code = {};
  const natsStatus status = js_PullSubscribe(&source, context, nullptr,
                                             kConsumer, nullptr, &place, &code);
  if (status != NATS_OK) *obstacle = Explain(status, code);
  return Subscription(source);
}

}  // namespace

std::string MakeStreams(jsCtx* context, const StreamOptions& options) {
  jsStreamConfig reports;
  jsStreamConfig_Init(&reports);
  reports.Retention = js_WorkQueuePolicy;
  // Not by MaxBytes: servers before 2.10.5 count too few bytes for a message,
  // and then drop the oldest ones. `max_file_store` of the server is the limit.
  reports.MaxMsgs = options.messages;
  jsStreamConfig orders;
  jsStreamConfig_Init(&orders);
  orders.MaxMsgsPerSubject = 1;
  orders.AllowDirect = true;
  std::string obstacle =
      MakeStream(context, kStream, kSubjects, options, reports);
  if (obstacle.empty()) {
    obstacle =
        MakeStream(context, kPriceStream, kPriceSubjects, options, orders);
  }
  if (!obstacle.empty()) return obstacle;
  jsConsumerConfig config;
  jsConsumerConfig_Init(&config);
  config.Durable = kConsumer;
  config.AckPolicy = js_AckExplicit;
  jsConsumerInfo* info = nullptr;
  jsErrCode code = {};
  natsStatus status =
      js_GetConsumerInfo(&info, context, kStream, kConsumer, nullptr, &code);
  if (status == NATS_NOT_FOUND) {
    status = js_AddConsumer(&info, context, kStream, &config, nullptr, &code);
  }
  jsConsumerInfo_Destroy(info);
  if (status == NATS_OK) return "";
  return std::string("consumer ") + kConsumer + ": " + Explain(status, code);
}

void Receive(natsConnection* connection, const StreamOptions& options,
             Database* database, const volatile std::sig_atomic_t& ending) {
  const Context context = Streams(connection);
  Subscription source;
  Notices notices("office");
  bool waiting = false;
  int idle = 0;  // rounds without a message, of up to a second each
  while (!ending) {
    ExpectOpen(connection);
    std::string obstacle = Trouble(connection);
    if (!source &&
        natsConnection_Status(connection) == NATS_CONN_STATUS_CONNECTED) {
      source = Open(context.get(), options, &obstacle);
    }
    if (!source) {
      notices.Say(obstacle + "; trying again");
      std::this_thread::sleep_for(std::chrono::seconds(1));
      continue;
    }
    notices.Say("storing what comes");
    Batch batch;
    const natsStatus status =
        Fetch(connection, source.get(), waiting, batch.list());
    if (batch.size() > 0) {
      Store(batch, static_cast<size_t>(options.largest), database);
    } else if (status != NATS_OK && status != NATS_TIMEOUT) {
      // The stream or the server has gone. A server of version 2.9 removes the
      // files of a stream after it says so, also those of one made at once.
      source.reset();
      std::this_thread::sleep_for(std::chrono::seconds(1));
    }
    waiting = batch.size() == 0;
    // A stream that was deleted looks like one in which nothing happens.
    idle = waiting ? idle + 1 : 0;
    if (idle % kIdleRoundsBetweenChecks == 0 && idle > 0 &&
        !MakeStreams(context.get(), options).empty()) {
      source.reset();
    }
  }
  natsConnection_FlushTimeout(connection, 5000);  // the acknowledgements
}

}  // namespace fleet
