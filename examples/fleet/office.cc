// Stores what the sites of a fleet report, shows it, and sends prices to sites.
#include "office.h"

#include <getopt.h>
#include <google/protobuf/stubs/logging.h>
#include <sys/stat.h>

#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <iostream>
#include <new>
#include <vector>

#include "pager.h"

namespace fleet {
namespace {

const char kHelp[] =
    "Usage: office [OPTION...]                  stores messages until it is "
    "ended\n"
    "       office [OPTION...] show SITE        what is known of a site\n"
    "       office [OPTION...] prices SITE FILE sends prices, awaits the "
    "answer\n"
    "       office [OPTION...] count            how much is stored and "
    "rejected\n"
    "       office [OPTION...] compare LEDGER   what a site's ledger has, "
    "with\n"
    "                                           what is stored\n"
    "  --database FILE        SQLite database, by default office.db\n"
    "  --json                 output for programs\n"
    "  --color WHEN           auto, always or never\n"
    "  --wait SECONDS         for the answer to prices, by default 60\n"
    "  --max-size BYTES       of a message, by default 1048576\n"
    "  --max-messages N       that wait in the stream, by default 1000000\n"
    "  --replicas N           of the streams, by default 1\n";

volatile std::sig_atomic_t ending = 0;

int64_t Number(const char* text, int64_t least, int64_t most) {
  char* end = nullptr;
  const int64_t number = std::strtoll(text, &end, 10);
  if (*text != '\0' && *end == '\0' && number >= least && number <= most) {
    return number;
  }
  throw Failure(kUsage, std::string(text) + ": give a number from " +
                            std::to_string(least) + " to " +
                            std::to_string(most));
}

struct Arguments {
  Server server;
  StreamOptions streams;
  std::string database = "office.db";
  std::string color = "auto";
  bool json = false;
  int wait = 60;
  std::vector<std::string> words;
  bool help = false;
};

Arguments Read(int argc, char** argv) {
  std::vector<option> options;
  for (const char* name :
       {"server", "creds", "nkey", "tls-ca", "database", "color", "wait",
        "max-size", "max-messages", "replicas"}) {
    options.push_back({name, required_argument, nullptr, 0});
  }
  options.push_back({"json", no_argument, nullptr, 'j'});
  options.push_back({"help", no_argument, nullptr, 'h'});
  options.push_back({});
  Arguments arguments;
  // As long as `_INBOX`: with a longer one, libnats 3.10 does not see that the
  // server has no more messages, and a batch that is not full takes a second.
  arguments.server.inbox = "_STORE";
  int index = 0;
  for (int c;
       (c = getopt_long(argc, argv, "h", options.data(), &index)) != -1;) {
    if (c == '?') throw Failure(kUsage, "see office --help");
    if (c == 'h') arguments.help = true;
    if (c == 'j') arguments.json = true;
    if (c != 0) continue;
    const std::string name = options[static_cast<size_t>(index)].name;
    SetServerOption(name, optarg, &arguments.server);
    if (name == "database") arguments.database = optarg;
    if (name == "color") arguments.color = optarg;
    if (name == "wait")
      arguments.wait = static_cast<int>(Number(optarg, 1, 86400));
    if (name == "max-size") {
      arguments.streams.largest = static_cast<int>(Number(optarg, 1, 64 << 20));
    }
    if (name == "max-messages") {
      arguments.streams.messages = Number(optarg, 1, int64_t{1} << 50);
    }
    if (name == "replicas") {
      arguments.streams.replicas = static_cast<int>(Number(optarg, 1, 5));
    }
  }
  arguments.words.assign(argv + optind, argv + argc);
  return arguments;
}

int Run(const Arguments& arguments) {
  const std::vector<std::string>& words = arguments.words;
  const std::string verb = words.empty() ? "" : words[0];
  const auto expect = [&](size_t count) {
    if (words.size() != count) throw Failure(kUsage, "see office --help");
  };
  if (arguments.help) {
    std::cout << kHelp << kServerHelp << std::flush;
    return std::cout ? kFine : kInputOutput;
  } else if (verb.empty()) {
    Database database(arguments.database, /*writing=*/true);
    const Connection connection =
        Connect(arguments.server, "office", /*patient=*/true);
    Receive(connection.get(), arguments.streams, &database, ending);
  } else if (verb == "prices") {
    expect(3);
    std::unique_ptr<Database> names;
    if (std::ifstream(arguments.database)) {
      names = std::make_unique<Database>(arguments.database, /*writing=*/false);
    }
    return SendPrices(arguments.server, words[1], words[2], arguments.wait,
                      arguments.json, names.get());
  } else if (verb == "show") {
    expect(2);
    Database database(arguments.database, /*writing=*/false);
    return Show(words[1], arguments.json, arguments.color, &database);
  } else if (verb == "count") {
    expect(1);
    Database database(arguments.database, /*writing=*/false);
    Count(arguments.json, &database);
  } else if (verb == "compare") {
    expect(2);
    Database database(arguments.database, /*writing=*/false);
    return Compare(words[1], arguments.json, &database);
  } else {
    throw Failure(kUsage, "see office --help");
  }
  return kFine;
}

}  // namespace
}  // namespace fleet

int main(int argc, char** argv) {
  std::set_new_handler([] {
    std::fputs("office: out of memory\n", stderr);
    std::_Exit(fleet::kInputOutput);
  });
  std::signal(SIGINT, [](int) { fleet::ending = 1; });
  std::signal(SIGTERM, [](int) { fleet::ending = 1; });
  std::signal(SIGPIPE, SIG_IGN);
  // Messages can hold pass phrases: only the user who runs it reads what it
  // writes.
  umask(077);
  // A site that sends invalid UTF-8 would fill the log, a line a message.
  google::protobuf::SetLogHandler(nullptr);
  tarn::tool::ForbidPager();
  try {
    return fleet::Run(fleet::Read(argc, argv));
  } catch (const fleet::Failure& failure) {
    std::cerr << "office: " << failure.what() << '\n';
    return failure.exit;
  } catch (const std::exception& error) {
    std::cerr << "office: " << error.what() << '\n';
    return fleet::kInputOutput;
  }
}
