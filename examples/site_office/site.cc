// Reads messages in text form and sends them to an office. For each network in
// them, it also sends a report with the status of every node.
#include <google/protobuf/io/tokenizer.h>
#include <google/protobuf/text_format.h>
#include <sys/socket.h>
#include <sys/time.h>
#include <tarn/Network.pb.h>
#include <tarn/Tarn.pb.h>
#include <unistd.h>

#include <CLI/CLI.hpp>
#include <algorithm>
#include <cerrno>
#include <chrono>
#include <csignal>
#include <filesystem>
#include <fstream>
#include <iostream>
#include <iterator>
#include <memory>
#include <sstream>
#include <string>
#include <thread>
#include <vector>

#include "parse.h"
#include "record.h"
#include "socket.h"
#include "status.h"

namespace site_office {
namespace {

using google::protobuf::Message;

enum Exit {
  kSent = 0,
  kUsage = 2,
  kMalformed = 3,
  kUnknownType = 4,
  kInputOutput = 5
};

struct Failure {
  Exit exit;
  std::string text;
};

struct Options {
  std::vector<std::string> paths;
  std::string connect;
  std::string port_file;
  int retry_seconds = 10;
};

// The files named, and the *.txtpb of the folders named, by name.
std::vector<std::string> FindFiles(const std::vector<std::string>& paths) {
  std::vector<std::string> files;
  for (const std::string& path : paths) {
    if (!std::filesystem::is_directory(path)) {
      files.push_back(path);
      continue;
    }
    std::vector<std::string> inside;
    for (const auto& entry : std::filesystem::directory_iterator(path)) {
      if (entry.path().extension() == ".txtpb") inside.push_back(entry.path());
    }
    if (inside.empty()) throw Failure{kUsage, path + " holds no *.txtpb"};
    std::sort(inside.begin(), inside.end());
    files.insert(files.end(), inside.begin(), inside.end());
  }
  return files;
}

std::string ReadFile(const std::string& path) {
  std::ifstream file(path);
  std::string content(std::istreambuf_iterator<char>(file), {});
  if (!file) ThrowErrno("cannot read " + path);
  return content;
}

// The type named by the line "# proto-message: tarn.Prices".
std::string TypeOf(const std::string& path, const std::string& text) {
  const std::string label = "# proto-message: ";
  std::istringstream lines(text);
  for (std::string line; std::getline(lines, line);) {
    if (line.compare(0, label.size(), label) == 0) {
      return line.substr(label.size());
    }
  }
  throw Failure{kMalformed, path + ": no line says \"" + label + "TYPE\""};
}

// Keeps the first error of the text parser, with its place in the file.
class FirstError : public google::protobuf::io::ErrorCollector {
 public:
  void AddError(int line, int column, const std::string& text) override {
    if (!text_.empty()) return;
    text_ = std::to_string(line + 1) + ":" + std::to_string(column + 1) + ": " +
            text;
  }
  const std::string& text() const { return text_; }

 private:
  std::string text_;
};

std::unique_ptr<Message> ReadMessage(const std::string& path) {
  const std::string text = ReadFile(path);
  const std::string type = TypeOf(path, text);
  std::unique_ptr<Message> message = NewMessage(type);
  if (message == nullptr) {
    throw Failure{kUnknownType, path + ": no message type is called " + type};
  }
  google::protobuf::TextFormat::Parser parser;
  FirstError error;
  parser.RecordErrorsTo(&error);
  parser.SetRecursionLimit(100);  // as deep as the binary form can be
  if (!parser.ParseFromString(text, message.get())) {
    throw Failure{kMalformed, path + ":" + error.text()};
  }
  // Text may hold what the binary form does not allow. Reports it here, before
  // the office would.
  std::string reason;
  if (ParseMessage(type, message->SerializeAsString(), &reason) == nullptr) {
    throw Failure{kMalformed, path + ": " + reason};
  }
  return message;
}

using Nodes = google::protobuf::RepeatedPtrField<tarn::ChildTypes>;

// How far the price update of a display is, as far as its status tells.
tarn::StatusCodes PriceStatus(const tarn::Display& display) {
  switch (display.status()) {
    case tarn::ok:
      return tarn::price_update_ok;
    case tarn::price_update_failure:
    case tarn::price_sync_pending:
    case tarn::price_update_uninitialized:
    case tarn::price_update_ok:
      return display.status();
    default:
      return tarn::price_sync_pending;
  }
}

// Adds the status of every node, by its uuid.
void AddStatus(const Nodes& nodes, tarn::NetworkStatusReport* report) {
  auto& statuses = *report->mutable_status_packet();
  for (const tarn::ChildTypes& child : nodes) {
    if (child.has_server()) {
      statuses[child.server().uuid()] = child.server().status();
      AddStatus(child.server().children(), report);
    } else if (child.has_client()) {
      statuses[child.client().uuid()] = child.client().status();
      AddStatus(child.client().children(), report);
    } else if (child.has_direct()) {
      statuses[child.direct().uuid()] = child.direct().status();
      AddStatus(child.direct().children(), report);
    } else if (child.has_display()) {
      const tarn::Display& display = child.display();
      statuses[display.uuid()] = display.status();
      if (display.subtype() == tarn::price) {
        (*report->mutable_price_sync_status_packet())[display.uuid()] =
            PriceStatus(display);
      }
      AddStatus(display.children(), report);
    } else if (child.has_module()) {
      statuses[child.module().uuid()] = child.module().status();
    }
  }
}

// The price update of the network is only as far as its worst display.
tarn::NetworkStatusReport Report(const tarn::ModsConfigured& network) {
  tarn::NetworkStatusReport report;
  AddStatus(network.modsconfigured(), &report);
  tarn::StatusCodes worst = tarn::price_update_ok;
  for (const auto& [uuid, status] : report.price_sync_status_packet()) {
    if (Severity(status) > Severity(worst)) worst = status;
  }
  report.set_network_price_lifecycle(worst);
  return report;
}

std::string OfficeAddress(const Options& options) {
  if (!options.connect.empty()) return options.connect;
  std::ifstream file(options.port_file);
  std::string address;
  if (!std::getline(file, address)) {
    throw std::runtime_error("cannot read " + options.port_file);
  }
  return address;
}

// Connects, and tries again while the office may still be starting.
Fd ConnectWithRetry(const Options& options) {
  const auto deadline = std::chrono::steady_clock::now() +
                        std::chrono::seconds(options.retry_seconds);
  while (true) {
    try {
      return Connect(OfficeAddress(options));
    } catch (const std::runtime_error& error) {
      if (std::chrono::steady_clock::now() >= deadline) {
        throw Failure{kInputOutput,
                      error.what() + std::string(" (gave up after ") +
                          std::to_string(options.retry_seconds) + " s)"};
      }
    }
    std::this_thread::sleep_for(std::chrono::milliseconds(50));
  }
}

void Send(const Message& message, int fd) {
  WriteAll(fd, FrameRecord(message.GetTypeName(), message.SerializeAsString()),
           "the office does not take " + message.GetTypeName());
}

// Waits until the office has taken everything and closes the connection too.
void AwaitEnd(int fd, int seconds) {
  const timeval limit = {seconds, 0};
  setsockopt(fd, SOL_SOCKET, SO_RCVTIMEO, &limit, sizeof limit);
  shutdown(fd, SHUT_WR);
  char byte;
  ssize_t got;
  do {
    got = recv(fd, &byte, 1, 0);
  } while (got > 0 || (got < 0 && errno == EINTR));
  if (got < 0 && errno == EAGAIN) errno = ETIMEDOUT;
  if (got < 0) ThrowErrno("the office does not take everything");
}

int Run(const Options& options) {
  CatchRuntimeLog();
  std::signal(SIGPIPE, SIG_IGN);  // a write to a lost connection is an error

  std::vector<std::unique_ptr<Message>> messages;
  for (const std::string& path : FindFiles(options.paths)) {
    messages.push_back(ReadMessage(path));
    const auto* network =
        dynamic_cast<const tarn::ModsConfigured*>(messages.back().get());
    if (network != nullptr) {
      messages.push_back(
          std::make_unique<tarn::NetworkStatusReport>(Report(*network)));
    }
  }
  auto total = std::make_unique<tarn::BaseMsg>();
  total->set_command("sent");
  total->set_value(static_cast<int>(messages.size()));
  total->set_description("number of records before this one");
  messages.push_back(std::move(total));

  const Fd office = ConnectWithRetry(options);
  for (const auto& message : messages) Send(*message, office.get());
  AwaitEnd(office.get(), options.retry_seconds);
  std::cout << "site: sent " << messages.size() << " records\n";
  return kSent;
}

}  // namespace
}  // namespace site_office

int main(int argc, char** argv) {
  site_office::Options options;
  CLI::App app(
      "Reads messages in text form and sends them to an office over "
      "TCP, with a status report for each network among them.");
  app.add_option("paths", options.paths,
                 "Files in text form, or folders of *.txtpb. A line in each "
                 "says its type: \"# proto-message: tarn.Prices\"")
      ->required()
      ->type_name("PATH");
  auto* office = app.add_option_group("Where the office is");
  office->add_option("--connect", options.connect, "Address of the office")
      ->type_name("HOST:PORT");
  office
      ->add_option("--port-file", options.port_file,
                   "File that the office writes its address to")
      ->type_name("FILE");
  office->require_option(1);
  app.add_option("--retry", options.retry_seconds,
                 "How long to try to connect, and how long to wait until the "
                 "office has taken everything, in seconds")
      ->type_name("SECONDS")
      ->check(CLI::Range(1, 86400))
      ->capture_default_str();
  app.footer(
      "Exit status: 0 sent; 2 usage; 3 malformed file; 4 unknown type; 5 input "
      "or output failed.");
  try {
    app.parse(argc, argv);
  } catch (const CLI::ParseError& error) {
    return app.exit(error) == 0 ? site_office::kSent : site_office::kUsage;
  }
  try {
    return site_office::Run(options);
  } catch (const site_office::Failure& failure) {
    std::cerr << "site: " << failure.text << '\n';
    return failure.exit;
  } catch (const std::invalid_argument& error) {
    std::cerr << "site: " << error.what() << '\n';
    return site_office::kUsage;
  } catch (const std::exception& error) {
    std::cerr << "site: " << error.what() << '\n';
    return site_office::kInputOutput;
  }
}
