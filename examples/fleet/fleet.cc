// What the programs of the fleet share: streams, subjects, types, connection.
#include "fleet.h"

#include <google/protobuf/descriptor.h>
#include <tarn/Network.pb.h>
#include <tarn/Tarn.pb.h>

#include <algorithm>
#include <fstream>
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

Message* NewMessage(std::string_view type, google::protobuf::Arena* arena) {
  const auto* descriptor =
      DescriptorPool::generated_pool()->FindMessageTypeByName(
          "tarn." + std::string(type));
  // The entries of maps are types as well, but no messages of their own.
  if (descriptor == nullptr || descriptor->options().map_entry()) {
    return nullptr;
  }
  return MessageFactory::generated_factory()->GetPrototype(descriptor)->New(
      arena);
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
}  // namespace fleet
