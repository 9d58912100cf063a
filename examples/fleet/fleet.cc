// What the programs of the fleet share: streams, subjects, types, connection.
#include "fleet.h"

#include <google/protobuf/descriptor.h>
#include <google/protobuf/descriptor.pb.h>
#include <tarn/Network.pb.h>
#include <tarn/Tarn.pb.h>

#include <algorithm>
#include <cstdio>
#include <fstream>
#include <iostream>
#include <sstream>

namespace fleet {
namespace {

using google::protobuf::DescriptorPool;
using google::protobuf::Message;
using google::protobuf::MessageFactory;

// A program that finds types by their names alone calls nothing of the library;
// these keep it linked.
const void* volatile schema_files[] = {&tarn::Price::default_instance(),
                                       &tarn::Server::default_instance()};

using Options = std::unique_ptr<natsOptions, Destroyer<natsOptions_Destroy>>;

void Expect(natsStatus status, const std::string& what) {
  if (status == NATS_OK) return;
  throw Failure(kInputOutput, what + ": " + Explain(status));
}

std::string PublicKey(const std::string& path) {
  std::ifstream file(path);
  std::string key;
  if (!(file >> key)) {
    throw Failure(kUsage, path + " cannot be read: it holds the public key");
  }
  return key;
}

// The same answer comes where JetStream is off and where no stream is.
const char kNobody[] =
    "nobody keeps these messages; switch on \"jetstream\" in the server's "
    "file, "
    "and start an office, which makes the streams";

// A refused publish looks like a time-out to its caller; only this is told why.
void Report(natsConnection*, natsSubscription*, natsStatus status, void*) {
  const char* reason = nats_GetLastError(nullptr);
  std::fprintf(stderr, "server: %s\n",
               reason != nullptr ? reason : natsStatus_GetText(status));
}

}  // namespace

bool IsSiteName(std::string_view name) {
  return !name.empty() && name.size() <= 64 &&
         std::all_of(name.begin(), name.end(), [](char c) {
           return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') ||
                  (c >= '0' && c <= '9') || c == '-' || c == '_';
         });
}

std::string Subject(std::string_view site, std::string_view type) {
  return "tarn.v0." + std::string(site) + "." + std::string(type);
}

std::string PriceSubject(std::string_view site) {
  return Subject(site, "Prices.set");
}

std::string OrderKey(uint64_t sequence) {
  return "prices-" + std::to_string(sequence);
}

Message* NewMessage(std::string_view type, google::protobuf::Arena* arena) {
  const auto* descriptor =
      DescriptorPool::generated_pool()->FindMessageTypeByName(
          "tarn." + std::string(type));
  // The entries of maps are types as well, but no messages of their own.
  if (descriptor == nullptr || descriptor->options().map_entry()) {
    return nullptr;
  }
  return MessageFactory::generated_factory()
      ->GetPrototype(descriptor)
      ->New(arena);
}

const char kServerHelp[] =
    "  --server URL[,URL...]  servers, by default nats://127.0.0.1:4222\n"
    "  --creds FILE           credentials to show to the server\n"
    "  --nkey FILE            or a key: its seed; FILE.pub has the public key\n"
    "  --tls-ca FILE          certificates to trust; connects by TLS alone\n";

bool SetServerOption(std::string_view name, const std::string& value,
                     Server* server) {
  if (name == "server") {
    server->urls.clear();
    std::istringstream list(value);
    for (std::string url; std::getline(list, url, ',');) {
      server->urls.push_back(url);
    }
  } else if (name == "creds") {
    server->creds = value;
  } else if (name == "nkey") {
    server->nkey = value;
  } else if (name == "tls-ca") {
    server->tls_ca = value;
  } else {
    return false;
  }
  return true;
}

Connection Connect(const Server& server, const char* name, bool patient) {
  if (server.urls.empty()) throw Failure(kUsage, "--server names no server");
  natsOptions* made = nullptr;
  Expect(natsOptions_Create(&made), "NATS library");
  const Options options(made);
  std::vector<const char*> urls;
  for (const std::string& url : server.urls) urls.push_back(url.c_str());
  Expect(
      natsOptions_SetServers(made, urls.data(), static_cast<int>(urls.size())),
      "--server");
  natsOptions_SetName(made, name);
  natsOptions_SetCustomInboxPrefix(made, server.inbox.c_str());
  natsOptions_SetErrorHandler(made, Report, nullptr);
  natsOptions_SetTimeout(made, 5000);
  // Connects again for ever, after 0.5 to 1.5 s each time, so that a fleet does
  // not come back all at once. Without a server a publish fails at once.
  natsOptions_SetMaxReconnect(made, -1);
  natsOptions_SetReconnectWait(made, 500);
  natsOptions_SetReconnectJitter(made, 1000, 1000);
  natsOptions_SetReconnectBufSize(made, 0);
  natsOptions_SetFailRequestsOnDisconnect(made, true);
  if (!server.creds.empty()) {
    Expect(natsOptions_SetUserCredentialsFromFiles(made, server.creds.c_str(),
                                                   nullptr),
           server.creds);
  }
  if (!server.nkey.empty()) {
    Expect(
        natsOptions_SetNKeyFromSeed(
            made, PublicKey(server.nkey + ".pub").c_str(), server.nkey.c_str()),
        server.nkey);
  }
  if (!server.tls_ca.empty()) {
    Expect(natsOptions_SetSecure(made, true), "TLS");
    Expect(natsOptions_LoadCATrustedCertificates(made, server.tls_ca.c_str()),
           server.tls_ca);
  }
  natsConnection* connection = nullptr;
  natsStatus status = natsConnection_Connect(&connection, made);
  if (patient && (status == NATS_NO_SERVER || status == NATS_TIMEOUT)) {
    natsOptions_SetRetryOnFailedConnect(
        made, true, [](natsConnection*, void*) {}, nullptr);
    status = natsConnection_Connect(&connection, made);
    if (status == NATS_NOT_YET_CONNECTED) status = NATS_OK;
  }
  Expect(status, server.urls.front());
  return Connection(connection);
}

void ExpectOpen(natsConnection* connection) {
  if (!natsConnection_IsClosed(connection)) return;
  throw Failure(kInputOutput, Explain(NATS_CONNECTION_AUTH_FAILED));
}

std::string Trouble(natsConnection* connection) {
  const char* reason = nullptr;
  const natsStatus status = natsConnection_GetLastError(connection, &reason);
  return Explain(status == NATS_OK ? NATS_NO_SERVER : status);
}

Context Streams(natsConnection* connection) {
  jsCtx* context = nullptr;
  if (natsConnection_JetStream(&context, connection, nullptr) != NATS_OK) {
    throw Failure(kInputOutput, Explain(NATS_NO_MEMORY));
  }
  return Context(context);
}

natsStatus PublishOnce(jsCtx* context, const std::string& subject,
                       const std::string& bytes, const std::string& id,
                       uint64_t* sequence, jsErrCode* code, int64_t wait_ms) {
  jsPubOptions options;
  jsPubOptions_Init(&options);
  options.MaxWait = wait_ms;
  options.MsgId = id.c_str();
  jsPubAck* ack = nullptr;
  const natsStatus status =
      js_Publish(&ack, context, subject.c_str(), bytes.data(),
                 static_cast<int>(bytes.size()), &options, code);
  if (status != NATS_OK) return status;
  *sequence = ack->Sequence;
  jsPubAck_Destroy(ack);
  // A server of a cluster says so of a message that it had before, but does not
  // keep yet, and never will if another server becomes the leader.
  return *sequence == 0 ? NATS_TIMEOUT : NATS_OK;
}

std::string MessageId(natsMsg* message) {
  const char* id = nullptr;
  const natsStatus status = natsMsgHeader_Get(message, "Nats-Msg-Id", &id);
  return status == NATS_OK && id != nullptr ? id : "";
}

natsStatus LastOrder(jsCtx* context, const std::string& site, Msg* order) {
  const std::string subject = PriceSubject(site);
  jsDirectGetMsgOptions last;
  jsDirectGetMsgOptions_Init(&last);
  last.LastBySubject = subject.c_str();
  natsMsg* got = nullptr;
  const natsStatus status =
      js_DirectGetMsg(&got, context, kPriceStream, nullptr, &last);
  order->reset(got);
  return status;
}

std::string Hex(std::string_view bytes) {
  std::string hex;
  for (const unsigned char byte : bytes) {
    hex += "0123456789abcdef"[byte / 16];
    hex += "0123456789abcdef"[byte % 16];
  }
  return hex;
}

std::string Explain(natsStatus status, int code) {
  switch (code) {
    case JSStreamNotFoundErr:
      return "the server has no such stream; start an office, which makes it";
    case JSStreamStoreFailedErr:
    case JSInsufficientResourcesErr:
    case JSStorageResourcesExceededErr:
      return "the store is full; see whether an office runs, or enlarge it";
    case JSStreamMessageExceedsMaximumErr:
      return "larger than the stream takes; send less, or start the office "
             "that "
             "makes the streams with a larger --max-size";
    case JSNotEnabledErr:
    case JSNotEnabledForAccountErr:
      return kNobody;
    default:
      break;
  }
  switch (status) {
    case NATS_NO_SERVER:
    case NATS_INSUFFICIENT_BUFFER:  // there is none for messages to wait in
    case NATS_CONNECTION_DISCONNECTED:
      return "no server there; start it, or name another with --server";
    case NATS_CONNECTION_AUTH_FAILED:
      return "the server refuses the key; see whether it knows that of --nkey "
             "or --creds";
    case NATS_SSL_ERROR:
      return "no trust in the server's certificate; see its date, and "
             "--tls-ca";
    case NATS_SECURE_CONNECTION_REQUIRED:
      return "the server asks for TLS; name its certificates with --tls-ca";
    case NATS_SECURE_CONNECTION_WANTED:
      return "the server has no TLS; leave --tls-ca out";
    case NATS_NO_RESPONDERS:
      return kNobody;
    case NATS_TIMEOUT:
      return "no answer in time; see the server's log, and whether it permits "
             "the subject";
    case NATS_MAX_PAYLOAD:
      return "larger than the server takes; see \"max_payload\" in its file";
    default:
      return natsStatus_GetText(status);
  }
}

void Notices::Say(const std::string& text, const std::string& about) {
  const std::lock_guard<std::mutex> lock(mutex_);
  if (text != said_) {
    const std::string what = about.empty() ? text : about + ": " + text;
    std::cerr << program_ + ": " + what + '\n';
  }
  said_ = text;
}

void Notices::Forget() {
  const std::lock_guard<std::mutex> lock(mutex_);
  said_.clear();
}

}  // namespace fleet
