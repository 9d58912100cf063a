// Receives records from sites, stores them, reads them back, and prints them.
#include <unistd.h>

#include <CLI/CLI.hpp>
#include <cstdlib>
#include <fstream>
#include <iostream>
#include <memory>
#include <string>

#include "parse.h"
#include "print.h"
#include "receive.h"
#include "record.h"
#include "socket.h"
#include "status.h"
#include "store.h"
#include "text.h"

namespace site_office {
namespace {

enum Exit { kAllEqual = 0, kDifferent = 1, kUsage = 2, kInputOutput = 5 };

struct Options {
  std::string listen = "127.0.0.1:0";
  std::string port_file;
  std::string store;
  std::string color = "auto";
  ReceiveOptions receive;
};

// What happened to the records of all peers.
struct Counts {
  int64_t sent = 0;
  uint64_t received = 0, stored = 0, read_back = 0, equal = 0;
  uint64_t rejected = 0, silent_peers = 0;

  bool AllEqual() const {
    return silent_peers == 0 && rejected == 0 && sent >= 0 &&
           static_cast<uint64_t>(sent) == received && received == stored &&
           stored == read_back && read_back == equal;
  }
};

class Office {
 public:
  Office(const Options& options, bool colour)
      : store_(options.store), colour_(colour) {}

  const Store& store() const { return store_; }

  // Takes a record, or says why it is bad.
  std::string Take(Peer& peer, const Record& record) {
    std::string reason;
    const auto received = ParseMessage(record.type, record.message, &reason);
    if (received == nullptr) return reason;
    ++counts_.received;

    const Store::Place place = store_.Append(record.type, record.message);
    ++counts_.stored;

    const std::string bytes = store_.Read(place);
    const Limits limits = {kLargestMessage, kLargestMessage};
    Record stored;
    std::unique_ptr<google::protobuf::Message> read_back;
    if (ScanRecord(bytes, limits, &stored, &reason) == Scan::kComplete) {
      read_back = ParseMessage(stored.type, stored.message, &reason);
    }
    if (read_back == nullptr) {
      std::cerr << "office: the record at byte " << place.offset
                << " of the store cannot be read back: " << reason << '\n';
      return "";
    }
    ++counts_.read_back;
    counts_.equal +=
        stored.type == record.type &&
        DeterministicBytes(*read_back) == DeterministicBytes(*received);

    Print(peer, *read_back);
    const auto* reply = dynamic_cast<const tarn::BaseMsg*>(read_back.get());
    if (reply != nullptr && reply->command() == "sent") {
      peer.sent = int64_t{reply->value()} + 1;  // and this record itself
    }
    return "";
  }

  void Note(const Peer& peer, const Fault& fault) {
    const std::string note = peer.address + ": record " +
                             std::to_string(peer.records + 1) + " at byte " +
                             std::to_string(peer.offset) + ": " + fault.reason;
    std::cerr << "office: " << note << "; "
              << (fault.closes ? "connection closed" : "record rejected")
              << '\n';
    ++counts_.rejected;
    if (!fault.bytes.empty()) store_.Reject(note, fault.bytes);
  }

  void End(const Peer& peer) {
    if (peer.sent >= 0) {
      counts_.sent += peer.sent;
    } else if (peer.records > 0) {
      ++counts_.silent_peers;
    }
  }

  // Prints the counts, and tells whether nothing was lost.
  bool Summarize() const {
    std::cout << Rule("records") << "\nsent             ";
    if (counts_.silent_peers == 0) {
      std::cout << counts_.sent;
    } else {
      std::cout << "not known: " << counts_.silent_peers
                << " peer(s) did not say";
    }
    std::cout << "\nreceived         " << counts_.received
              << "\nstored           " << counts_.stored
              << "\nread back        " << counts_.read_back
              << "\ncompared equal   " << counts_.equal;
    if (counts_.rejected > 0) {
      std::cout << "\nrejected         " << counts_.rejected;
    }
    const bool all = counts_.AllEqual();
    std::cout << "\n\n"
              << (all ? Paint("All records arrived and are stored as sent.",
                              Tone::kGood, colour_)
                      : Paint("Not all records arrived and are stored.",
                              Tone::kBad, colour_))
              << std::endl;
    return all;
  }

 private:
  // A line across, with a title in it.
  std::string Rule(const std::string& title) const {
    constexpr size_t kWidth = 80;
    std::string line = "── " + title + " ";
    for (size_t i = Columns(line); i < kWidth; ++i) line += "─";
    return "\n" + Paint(line, Tone::kFaint, colour_) + "\n";
  }

  void Print(Peer& peer, const google::protobuf::Message& message) {
    std::cout << Rule(message.GetTypeName() + ", " +
                      std::to_string(message.ByteSizeLong()) +
                      " bytes, record " + std::to_string(peer.records + 1) +
                      " of " + peer.address);
    PrintMessage(message, colour_, &peer.node_names, std::cout);
    std::cout.flush();
  }

  Store store_;
  bool colour_;
  Counts counts_;
};

// Writes the address for scripts that wait for it. The file appears only when
// it is complete.
void WritePortFile(const std::string& path, const std::string& address) {
  const std::string unfinished = path + ".new";
  std::ofstream file(unfinished);
  file << address << '\n';
  file.close();
  if (!file || std::rename(unfinished.c_str(), path.c_str()) != 0) {
    ThrowErrno("cannot write " + path);
  }
}

int Run(Options options) {
  // Blocked from here on: these signals end the loop, not the program.
  sigemptyset(&options.receive.stop_signals);
  sigaddset(&options.receive.stop_signals, SIGINT);
  sigaddset(&options.receive.stop_signals, SIGTERM);
  sigprocmask(SIG_BLOCK, &options.receive.stop_signals, nullptr);
  CatchRuntimeLog();
  UseUtf8();

  const char* no_color = std::getenv("NO_COLOR");
  const bool colour = options.color == "always" ||
                      (options.color == "auto" && isatty(STDOUT_FILENO) == 1 &&
                       (no_color == nullptr || no_color[0] == '\0'));

  Office office(options, colour);
  const Fd listener = Listen(options.listen);
  const std::string address = LocalAddress(listener.get());
  std::cout << "office: listening on " << address << ", storing in "
            << options.store << " (" << office.store().records_before()
            << " records so far)" << std::endl;
  if (!options.port_file.empty()) WritePortFile(options.port_file, address);

  ReceiveHandler handler;
  handler.record = [&](Peer& peer, const Record& record) {
    return office.Take(peer, record);
  };
  handler.fault = [&](const Peer& peer, const Fault& fault) {
    office.Note(peer, fault);
  };
  handler.end = [&](const Peer& peer) { office.End(peer); };
  try {
    Receive(listener.get(), options.receive, handler);
  } catch (...) {
    office.Summarize();
    throw;
  }
  return office.Summarize() ? kAllEqual : kDifferent;
}

}  // namespace
}  // namespace site_office

int main(int argc, char** argv) {
  site_office::Options options;
  site_office::ReceiveOptions& receive = options.receive;
  CLI::App app(
      "Receives records from sites over TCP, stores them, reads them "
      "back, and prints what arrived.");
  app.option_defaults()->always_capture_default();
  app.add_option("--store", options.store,
                 "File to append the records to. What cannot be accepted goes "
                 "to FILE.rejected")
      ->required()
      ->type_name("FILE");
  app.add_option("--listen", options.listen,
                 "Address to listen on; port 0 stands for any free port")
      ->type_name("HOST:PORT");
  app.add_option("--port-file", options.port_file,
                 "File to write the address to, once peers can connect")
      ->type_name("FILE");
  app.add_option("--until-peers", receive.until_peers,
                 "End after this many peers have disconnected; 0: end on "
                 "SIGINT or SIGTERM")
      ->type_name("COUNT");
  app.add_option("--max-record", receive.limits.message,
                 "Largest message to accept, in bytes or as 64MiB")
      ->type_name("SIZE")
      ->transform(CLI::AsSizeValue(false).description(""))
      ->check(CLI::Range(size_t{1}, site_office::kLargestMessage));
  app.add_option("--max-type-name", receive.limits.name,
                 "Longest type name to accept, in bytes")
      ->type_name("SIZE")
      ->check(CLI::Range(1, 65536));
  app.add_option("--idle-timeout", receive.idle_seconds,
                 "Disconnect a peer that sends nothing for so long, in "
                 "seconds")
      ->type_name("SECONDS")
      ->check(CLI::Range(1, 86400));
  app.add_option("--max-peers", receive.max_peers,
                 "Largest number of peers at a time; each can take the memory "
                 "of one record and its parsed form")
      ->type_name("COUNT")
      ->check(CLI::Range(1, 1000));
  app.add_option("--color", options.color,
                 "Colour the output; auto: on a terminal, unless NO_COLOR is "
                 "set")
      ->check(CLI::IsMember({"auto", "always", "never"}));
  app.footer(
      "Exit status: 0 all records sent were received, stored, and read "
      "back equal;\n1 some were not; 2 usage; 5 input or output failed.");
  try {
    app.parse(argc, argv);
  } catch (const CLI::ParseError& error) {
    return app.exit(error) == 0 ? site_office::kAllEqual : site_office::kUsage;
  }
  try {
    return site_office::Run(options);
  } catch (const std::invalid_argument& error) {
    std::cerr << "office: " << error.what() << '\n';
    return site_office::kUsage;
  } catch (const std::exception& error) {
    std::cerr << "office: " << error.what() << '\n';
    return site_office::kInputOutput;
  }
}
