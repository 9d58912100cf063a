// Sites of a fleet in one process. They live as sites do: their equipment fails
// and recovers, prices change, sites leave and come back. Every message is sent
// until it is acknowledged; at the end the counts say what happened.
#include <getopt.h>

#include <csignal>
#include <cstdio>
#include <exception>
#include <iostream>
#include <string>
#include <thread>
#include <vector>

#include "worker.h"

namespace fleet {
namespace {

std::atomic<bool> stop{false};

const char kHelp[] =
    "usage: simulate [OPTION]...\n"
    "Simulates the sites of a fleet, and prints what they sent.\n\n"
    "  --sites N              sites, by default 100\n"
    "  --connections N        connections that they share, by default 8\n"
    "  --seconds N            how long they live, by default 10\n"
    "  --messages N           or how many messages they send\n"
    "  --size N               reports of at most so many bytes and nothing "
    "else,\n"
    "                         with other keys each time\n"
    "  --window N             messages that each connection sends before the\n"
    "                         first is acknowledged, by default 1; with more, "
    "a\n"
    "                         message that is not acknowledged ends it\n"
    "  --rate N               messages a second of all; 0, the default: as "
    "many\n"
    "                         as are acknowledged\n"
    "  --day N                seconds that a day takes, by default 60; some\n"
    "                         radios lose contact more often at night\n"
    "  --prices N             prices that are ordered in between, by default "
    "0\n"
    "  --hostile N            hostile messages in between, by default 0\n"
    "  --seed N               the same seed makes the same sites, by default "
    "1\n"
    "  --patience N           seconds to go on with one message, by default "
    "120\n"
    "  --ledger FILE          writes a line for each acknowledged message:\n"
    "                         sequence, fate, CRC-32, size, subject\n"
    "  --json                 prints the counts as JSON\n";

struct Command {
  Plan plan;
  bool json = false;
  bool help = false;
};

// A number that is at least `least`; throws a Failure for anything else.
double Number(const std::string& option, const std::string& text,
              double least) {
  size_t end = 0;
  double number = 0;
  try {
    number = std::stod(text, &end);
  } catch (const std::exception&) {
    end = 0;
  }
  if (end == 0 || end != text.size() || !(number >= least) || number > 1e9) {
    throw Failure(kUsage, "--" + option + " takes a number of at least " +
                              std::to_string(static_cast<int>(least)));
  }
  return number;
}

void SetOption(const std::string& name, const std::string& value,
               Command* command) {
  Plan& plan = command->plan;
  if (name == "help") {
    command->help = true;
  } else if (name == "json") {
    command->json = true;
  } else if (name == "ledger") {
    plan.ledger = value;
  } else if (name == "sites") {
    plan.sites = static_cast<int>(Number(name, value, 1));
  } else if (name == "connections") {
    plan.connections = static_cast<int>(Number(name, value, 1));
  } else if (name == "hostile") {
    plan.hostile = static_cast<int>(Number(name, value, 0));
  } else if (name == "prices") {
    plan.prices = static_cast<int>(Number(name, value, 0));
  } else if (name == "seed") {
    plan.seed = static_cast<uint64_t>(Number(name, value, 0));
  } else if (name == "seconds") {
    plan.seconds = Number(name, value, 0);
  } else if (name == "messages") {
    plan.messages = static_cast<int>(Number(name, value, 1));
  } else if (name == "size") {
    plan.size = static_cast<int>(Number(name, value, 1));
  } else if (name == "window") {
    plan.window = static_cast<int>(Number(name, value, 1));
  } else if (name == "rate") {
    plan.rate = Number(name, value, 0);
  } else if (name == "day") {
    plan.day = Number(name, value, 1);
  } else if (name == "patience") {
    plan.patience = Number(name, value, 1);
  } else {
    SetServerOption(name, value, &plan.server);
  }
}

Command ReadCommand(int argc, char** argv) {
  constexpr int kText = required_argument;
  static const option kOptions[] = {
      {"sites", kText, nullptr, 0},      {"connections", kText, nullptr, 0},
      {"seconds", kText, nullptr, 0},    {"messages", kText, nullptr, 0},
      {"rate", kText, nullptr, 0},       {"day", kText, nullptr, 0},
      {"prices", kText, nullptr, 0},     {"hostile", kText, nullptr, 0},
      {"seed", kText, nullptr, 0},       {"patience", kText, nullptr, 0},
      {"size", kText, nullptr, 0},       {"window", kText, nullptr, 0},
      {"ledger", kText, nullptr, 0},     {"server", kText, nullptr, 0},
      {"creds", kText, nullptr, 0},      {"nkey", kText, nullptr, 0},
      {"tls-ca", kText, nullptr, 0},     {"json", no_argument, nullptr, 0},
      {"help", no_argument, nullptr, 0}, {nullptr, 0, nullptr, 0}};
  Command command;
  int index = 0;
  while (true) {
    const int found = getopt_long(argc, argv, "", kOptions, &index);
    if (found == -1) break;
    if (found != 0) throw Failure(kUsage, "see simulate --help");
    SetOption(kOptions[index].name, optarg != nullptr ? optarg : "", &command);
  }
  if (optind < argc) {
    throw Failure(kUsage, std::string("what is ") + argv[optind] +
                              "? See simulate --help");
  }
  Plan& plan = command.plan;
  if (plan.connections > plan.sites) plan.connections = plan.sites;
  if (plan.size > 0 && (plan.rate > 0 || plan.hostile > 0 || plan.prices > 0)) {
    throw Failure(kUsage,
                  "--size leaves no room for --rate, --hostile or --prices");
  }
  if (plan.server.inbox.empty()) plan.server.inbox = "_INBOX";
  return command;
}

void Print(const Command& command, const Counts& counts) {
  const struct {
    const char* name;
    uint64_t count;
  } kLines[] = {{"sites", static_cast<uint64_t>(command.plan.sites)},
                {"sent", counts.sent},
                {"acknowledged", counts.acknowledged},
                {"refused", counts.refused},
                {"sent again", counts.again},
                {"hostile", counts.hostile},
                {"prices ordered", counts.ordered},
                {"prices taken", counts.taken},
                {"prices answered", counts.answered},
                {"milliseconds", counts.milliseconds}};
  const char* before = "{";
  for (const auto& line : kLines) {
    if (command.json) {
      std::cout << before << '"' << line.name << "\": " << line.count;
      before = ", ";
    } else {
      std::printf("%-16s %llu\n", line.name,
                  static_cast<unsigned long long>(line.count));
    }
  }
  if (command.json) std::cout << "}\n";
}

// Runs all workers; false if one failed, which says why.
bool RunAll(const Plan& plan, Counts* counts, Ledger* ledger) {
  const std::string run = std::to_string(
      std::chrono::system_clock::now().time_since_epoch().count());
  std::vector<std::unique_ptr<Worker>> workers;
  for (int i = 0; i < plan.connections; ++i) {
    workers.push_back(std::make_unique<Worker>(plan, i, run, counts, ledger));
  }
  std::atomic<bool> good{true};
  std::vector<std::thread> threads;
  const auto begin = Clock::now();
  for (const auto& worker : workers) {
    threads.emplace_back([&, worker = worker.get()] {
      try {
        worker->Live(begin, stop);
        worker->Finish();
      } catch (const std::exception& error) {
        // One sentence is enough; the others would say the same.
        if (good.exchange(false)) {
          std::cerr << "simulate: " << error.what() << '\n';
        }
        stop = true;
      }
    });
  }
  for (std::thread& thread : threads) thread.join();
  counts->milliseconds = static_cast<uint64_t>(
      std::chrono::duration_cast<std::chrono::milliseconds>(Clock::now() -
                                                            begin)
          .count());
  return good;
}

int Run(int argc, char** argv) {
  const Command command = ReadCommand(argc, argv);
  if (command.help) {
    std::cout << kHelp << kServerHelp;
    return kFine;
  }
  std::signal(SIGINT, [](int) { stop = true; });
  std::signal(SIGTERM, [](int) { stop = true; });
  Counts counts;
  Ledger ledger(command.plan.ledger);
  const bool good = RunAll(command.plan, &counts, &ledger);
  ledger.Close();
  Print(command, counts);
  return good && counts.sent == counts.acknowledged + counts.refused
             ? kFine
             : kInputOutput;
}

}  // namespace
}  // namespace fleet

int main(int argc, char** argv) {
  try {
    return fleet::Run(argc, argv);
  } catch (const fleet::Failure& failure) {
    std::cerr << "simulate: " << failure.what() << '\n';
    return failure.exit;
  } catch (const std::exception& error) {
    std::cerr << "simulate: " << error.what() << '\n';
    return fleet::kInputOutput;
  }
}
