// tarn: shows the messages of a price-sign installation, byte by byte.
#include <dlfcn.h>
#include <google/protobuf/stubs/common.h>
#include <google/protobuf/stubs/logging.h>
#include <link.h>
#include <unistd.h>

#include <csignal>
#include <exception>
#include <filesystem>
#include <functional>
#include <iostream>
#include <new>
#include <sstream>
#include <stdexcept>

#include "command.h"
#include "command_line.h"
#include "fingerprint.h"
#include "hidden.h"
#include "output.h"
#include "pager.h"
#include "schema.h"

namespace tarn::tool {
namespace {

constexpr Command kCommands[] = {
    {"annotate", RunAnnotate, "Show each byte of a message and its meaning"},
    {"check", RunCheck, "Report problems that a receiver would have"},
    {"conform", RunConform, "Check a reader against the golden messages"},
    {"decode", RunDecode, "Show a message as text, JSON, hex or binary"},
    {"describe", RunDescribe, "Explain a message, field, enum or value"},
    {"diff", RunDiff, "Show how two messages differ in meaning"},
    {"encode", RunEncode, "Encode text or JSON as wire bytes"},
    {"explore", RunExplore, "Open the explorer, a page, with a file's bytes"},
    {"fingerprint", RunFingerprint, "Show a short checksum of the schema"},
    {"guess", RunGuess, "List the types that some bytes may have"},
    {"list", RunList, "List the message types and enums"},
    {"rows", RunRows, "Turn messages into rows of tables, as CSV or JSON"},
    {"sample", RunSample, "Make believable test messages"},
    {"status", RunStatus, "Show a status report as a table, worst first"},
    {"tree", RunTree, "Draw the nodes of a sign network as a tree"},
    {"what", RunWhat, "Say what a capture is, and how to go on"},
};

std::string Usage() {
  std::ostringstream out;
  out << "Usage: tarn VERB [ARGUMENTS] [FILE|-]\n\nVerbs:\n";
  for (const Command& command : kCommands) {
    out << "  " << std::left << std::setw(13) << command.name << command.summary
        << "\n";
  }
  out << "  help VERB    Show the options of a verb\n"
         "  --version    Show the versions of tarn, the library and the "
         "runtime\n"
         "\nExit status: 0 fine, 1 findings or differences, 2 usage, 3 "
         "malformed"
         "\ninput, 4 unknown type, field or node, 5 input or output failed.\n"
         "\nForms of input, streams and examples: man tarn\n";
  return out.str();
}

// The loaded library: its version, read from the name of its file, and that
// file.
std::string LoadedLibrary() {
  void* library = ::dlopen(SCHEMA_SONAME, RTLD_LAZY | RTLD_NOLOAD);
  link_map* map = nullptr;
  if (library == nullptr || ::dlinfo(library, RTLD_DI_LINKMAP, &map) != 0) {
    return "in a file of another name than " SCHEMA_SONAME;
  }
  std::error_code error;
  const std::string file = std::filesystem::canonical(map->l_name, error);
  const std::string suffix = ".so.";
  const size_t at = file.rfind(suffix);
  const std::string version =
      at == file.npos ? "" : file.substr(at + suffix.size()) + ' ';
  return Escaped(version + (error ? map->l_name : file));
}

std::string Versions() {
  std::ostringstream out;
  out << "tarn " TARN_VERSION "\nlibschema " << LoadedLibrary() << "\nprotobuf "
      << google::protobuf::internal::VersionString(GOOGLE_PROTOBUF_VERSION)
      << "\nschema " << Fingerprint(Schema(), nullptr) << "\n";
  return out.str();
}

ExitCode Print(const std::string& text) {
  Output output;
  output.Write(text);
  output.Flush();
  return kFine;
}

const Command& FindCommand(const std::string& name) {
  std::vector<std::string> names;
  for (const Command& command : kCommands) {
    if (name == command.name) return command;
    names.emplace_back(command.name);
  }
  throw Failure(kUsage, "no verb " + name + DidYouMean(name, names));
}

// Commands that are not verbs: for the build, and for completion in shells.
bool RunHidden(const std::string& verb, const Arguments& arguments) {
  const std::vector<Command> commands(std::begin(kCommands),
                                      std::end(kCommands));
  if (verb == "manual") {
    PrintManual(commands);
  } else if (verb == "complete" && arguments.size() > 1) {
    // The words after "--".
    PrintCandidates(commands, {arguments.begin() + 1, arguments.end()});
  } else {
    return false;
  }
  return true;
}

// Ends the program when an allocation fails. It allocates nothing itself.
[[noreturn]] void EndWithoutMemory() {
  constexpr std::string_view kLine = "tarn: out of memory\n";
  [[maybe_unused]] const ssize_t written =
      ::write(STDERR_FILENO, kLine.data(), kLine.size());
  EndPager();
  ::_exit(kInputOutput);
}

// Runs before all other initialisation: some libraries allocate during theirs.
void ExpectFailingAllocations() { std::set_new_handler(EndWithoutMemory); }
[[gnu::section(".preinit_array"),
  gnu::used]] void (*preinit)() = ExpectFailingAllocations;

ExitCode Run(Arguments arguments) {
  if (arguments.empty()) {
    std::cerr << Usage();
    return kUsage;
  }
  const std::string verb = arguments.front();
  arguments.erase(arguments.begin());
  if (verb == "--version") return Print(Versions());
  if (verb == "help" || verb == "--help" || verb == "-h") {
    if (arguments.empty()) return Print(Usage());
    const Command& command = FindCommand(arguments.front());
    return command.run(command, {"--help"});
  }
  if (RunHidden(verb, arguments)) return kFine;
  const Command& command = FindCommand(verb);
  return command.run(command, arguments);
}

// Runs something, and reports why it fails.
ExitCode RunAndReport(const std::function<ExitCode()>& run) {
  try {
    return run();
  } catch (const HelpGiven&) {
    return kFine;
  } catch (const Failure& failure) {
    Complain(failure.what());
    return failure.code();
  } catch (const std::bad_alloc&) {
    // The size asked for is more than any memory has.
    EndWithoutMemory();
  } catch (const std::length_error&) {
    // With 32 bits, texts end below the largest size that --max-size allows.
    EndWithoutMemory();
  }
}

}  // namespace
}  // namespace tarn::tool

int main(int argc, char* argv[]) {
  namespace tool = tarn::tool;
  // Writing to a closed pipe is then an error that the output knows about.
  std::signal(SIGPIPE, SIG_IGN);
  // The runtime's messages about bad input would only repeat those of tarn.
  google::protobuf::SetLogHandler(nullptr);
  const tool::ExitCode status = tool::RunAndReport(
      [&] { return tool::Run(tool::Arguments(argv + 1, argv + argc)); });
  tool::EndPager();
  if (status == tool::kInputOutput) return status;
  return tool::RunAndReport([&] {
    tool::Output::CloseStandardOutput();
    return status;
  });
}
