// tarn conform: holds somebody's reader to the golden messages.
#include <google/protobuf/stubs/strutil.h>

#include <algorithm>
#include <filesystem>

#include "command.h"
#include "command_line.h"
#include "conform_cases.h"
#include "conform_judgement.h"
#include "conform_reader.h"
#include "conform_report.h"
#include "progress.h"

namespace tarn::tool {
namespace {

// After so many questions without an answer, nothing more is asked.
constexpr size_t kMostFailures = 10;

struct Options {
  OutputOptions output;
  std::string corpus;
  std::vector<std::string> only;
  std::vector<std::string> command;
  uint64_t seconds = 10;
  bool canonical = false;
};

// The golden messages of the same install as this program.
std::string InstalledCorpus() {
  std::error_code error;
  const auto program = std::filesystem::canonical("/proc/self/exe", error);
  return (program.parent_path() / TARN_CORPUS).lexically_normal();
}

Options ParseOptions(const Command& command, Arguments arguments) {
  Options options;
  // The words of the command stay as they are, and a single one takes their
  // place for the parser, which would look into them.
  const auto dashes = std::find(arguments.begin(), arguments.end(), "--");
  const bool separated = dashes != arguments.end();
  if (separated && dashes + 1 != arguments.end()) {
    options.command.assign(dashes + 1, arguments.end());
    arguments.erase(dashes + 2, arguments.end());
    arguments.back() = "COMMAND";
  }
  CommandLine line(command.name, command.summary, arguments);
  Parser& app = line.app();
  std::string word;
  app.add_option("COMMAND", word,
                 "The reader and its arguments, after --: tarn conform -- "
                 "./reader --fast")
      ->required();
  app.add_option("--corpus", options.corpus,
                 "Folder of the golden messages; those installed if not given")
      ->type_name("DIR")
      ->group("Input");
  app.add_option("--only", options.only,
                 "Ask only about these: Price, Price/empty or valid; may be "
                 "given repeatedly")
      ->allow_extra_args(false)
      ->type_name("CASE")
      ->group("Input");
  app.add_flag("--canonical", options.canonical,
               "Count other bytes for the same message as a difference");
  app.add_option("--timeout", options.seconds,
                 "Longest time for one answer, in seconds; default 10")
      ->check(WholeNumber(1, 3600))
      ->type_name("SECONDS")
      ->group("Limits");
  line.Json(&options.output);
  line.Color(&options.output);
  line.Parse();
  if (!separated) {
    throw Failure(kUsage,
                  "the command comes after --: tarn conform -- " + word);
  }
  if (options.corpus.empty()) options.corpus = InstalledCorpus();
  return options;
}

// A line without the identifier.
std::string LineFor(const Question& question) {
  const std::string_view operation =
      kOperationNames[static_cast<int>(question.operation)];
  std::string data;
  google::protobuf::Base64Escape(question.given, &data);
  return std::string(operation) + ' ' + question.type->descriptor->full_name() +
         ' ' + data;
}

void AskAll(const Options& options, const Corpus& corpus,
            ConformReport* report) {
  Progress progress(Progress::kStdoutIsIdle);
  ConformReader reader(options.command, std::chrono::seconds(options.seconds));
  for (size_t i = 0; i < corpus.size(); ++i) {
    const Question question = corpus.Read(i);
    report->Add(Judge(question, reader.Ask(LineFor(question))));
    if (report->failures() == kMostFailures) break;
    progress.UpdateQuestions(i + 1, corpus.size());
  }
  progress.Hide();
}

}  // namespace

ExitCode RunConform(const Command& command, const Arguments& arguments) {
  const Options options = ParseOptions(command, arguments);
  Schema schema;
  const Corpus corpus(options.corpus, options.only, &schema);
  ConformReport report(corpus.size(), options.canonical);
  AskAll(options, corpus, &report);
  Output output(options.output.color);
  options.output.json ? report.Write(&output) : report.Print(&output);
  output.Flush();
  if (report.not_asked() > 0) {
    Complain("the reader has failed " + std::to_string(kMostFailures) +
             " times, so nothing more was asked");
  } else if (report.NothingSupported()) {
    Complain("the reader supports nothing that it was asked for");
  }
  return report.status();
}

}  // namespace tarn::tool
