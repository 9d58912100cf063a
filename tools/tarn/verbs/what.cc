// tarn what: says of any capture what it is, what is wrong, and how to go on.
#include <memory>

#include "candidates.h"
#include "command.h"
#include "command_line.h"
#include "what_input.h"
#include "what_message.h"
#include "what_page.h"
#include "what_steps.h"
#include "what_stream.h"

namespace tarn::tool {
namespace {

struct Options {
  InputOptions input;
  OutputOptions output;
  std::string type;
};

void PrintSource(const Capture& capture, Output* output) {
  output->WrapLines(kPageIndent);
  BeginLine("Input", output);
  if (capture.source == Source::kFile) {
    output->Write("the file ");
    output->Untrusted(capture.options.file);
  } else if (capture.source == Source::kText) {
    output->Write("taken as text, because there is no file of this name");
  } else {
    output->Write("standard input");
  }
  output->Write('\n');
}

void PrintForm(const Capture& capture, Output* output) {
  BeginLine("Form", output);
  output->Write(capture.form);
  if (!capture.layout.empty()) output->Write(" (" + capture.layout + ")");
  if (capture.stream == nullptr && capture.written.empty()) {
    output->Write(", " + Count(capture.bytes.size(), "byte"));
  }
  output->Write('\n');
}

void PrintFrame(const Capture& capture, Output* output) {
  BeginLine("Frame", output);
  output->Write(capture.options.frame);
  if (capture.stream != nullptr) {
    output->Write(": a stream, with a length before each message");
  } else {
    output->Write(": a single message");
  }
  if (!capture.other_frame.empty()) {
    output->Write("; with " + capture.other_frame + " it is a stream as well");
  }
  output->Write('\n');
}

// Begins the object of an answer.
void WriteSource(const Capture& capture, JsonWriter* json) {
  constexpr const char* kSources[] = {"file", "text", "standardInput"};
  json->BeginObject();
  json->Key("source").Word(kSources[static_cast<int>(capture.source)]);
}

void EndAnswer(const Steps& steps, JsonWriter* json) {
  steps.Write(json);
  json->EndObject();
  json->EndLine();
}

void WriteForm(const Capture& capture, JsonWriter* json) {
  json->Key("form").String(capture.form);
  json->Key("frame").String(capture.options.frame);
}

ExitCode SayMessage(const Options& options, const Capture& capture,
                    const std::vector<const Type*>& types, const Type* given,
                    Schema* schema) {
  Output output(options.output.color);
  const Answer answer = AnswerFor(capture, types, given);
  const Steps steps = StepsFor(capture, answer);
  if (options.output.json) {
    JsonWriter json(&output);
    WriteSource(capture, &json);
    WriteForm(capture, &json);
    WriteAnswer(answer, &json);
    EndAnswer(steps, &json);
  } else {
    PrintSource(capture, &output);
    PrintForm(capture, &output);
    PrintFrame(capture, &output);
    PrintAnswer(answer, schema, &output);
    steps.Print(&output);
  }
  output.Flush();
  return answer.status;
}

void AddStepsForType(const StreamSummary& summary, const Type& type,
                     Steps* steps) {
  if (summary.HasLikelierType()) steps->AddAgain("");
  const std::string& name = type.descriptor->name();
  steps->Add("decode " + name + " --keep-going");
  if (summary.broken() > 0) steps->Add("check " + name + " --keep-going");
  steps->AddDrawing(type, " --keep-going");
  if (!summary.LastIsWell()) steps->AddDrawing(type, " --errors --keep-going");
  steps->Add("rows " + name + " --to ndjson --keep-going");
}

Steps StepsForStream(const Capture& capture, const StreamSummary& summary) {
  Steps steps(capture);
  const std::vector<const Type*>& types = summary.MostTypes();
  constexpr size_t kFew = 3;
  if (summary.IsMixed()) {
    // The other verbs read messages of one type.
    steps.Add("guess --keep-going");
    if (summary.HasNodes()) steps.Add("tree --keep-going");
  } else if (types.size() == 1) {
    AddStepsForType(summary, *types.front(), &steps);
  } else if (types.empty() || types.size() > kFew) {
    steps.Add("guess --keep-going");
  } else {
    steps.AddTypes(types);
  }
  return steps;
}

// Reads a stream; records of the types `expected` are looked for after damage.
void Summarize(const Capture& capture, Reader* stream,
               const std::vector<const Type*>& expected,
               StreamSummary* summary) {
  InputOptions input = capture.options;
  input.keep_going = true;
  ForEachFramed(
      input, stream, expected,
      [&](const Record& record) { return summary->Add(record); },
      [&](const Record& record, const std::string& reason) {
        summary->Fail(record, reason);
      });
}

// The summary of a stream. Among all types, damage can look like messages: if
// there is some, the stream is read again with the types of most records, as
// far as it is in memory.
std::unique_ptr<StreamSummary> SummaryOf(const Capture& capture,
                                         const std::vector<const Type*>& types,
                                         const Type* given) {
  auto summary = std::make_unique<StreamSummary>(types, given);
  if (given != nullptr) {
    Summarize(capture, capture.stream.get(), {given}, summary.get());
    return summary;
  }
  Summarize(capture, capture.stream.get(), types, summary.get());
  const std::vector<const Type*> expected = summary->MostTypes();
  if (summary->broken() == 0 || expected.empty() || !capture.whole) {
    return summary;
  }
  capture.stream->MoveTo(0);
  auto second = std::make_unique<StreamSummary>(types, nullptr);
  Summarize(capture, capture.stream.get(), expected, second.get());
  return second->IsBetterThan(*summary) ? std::move(second)
                                        : std::move(summary);
}

ExitCode SayStream(const Options& options, Capture* capture,
                   const std::vector<const Type*>& types, const Type* given) {
  const auto kept = SummaryOf(*capture, types, given);
  const StreamSummary& summary = *kept;
  Output output(options.output.color);
  const Steps steps = StepsForStream(*capture, summary);
  if (options.output.json) {
    JsonWriter json(&output);
    WriteSource(*capture, &json);
    WriteForm(*capture, &json);
    summary.Write(&json);
    EndAnswer(steps, &json);
  } else {
    PrintSource(*capture, &output);
    PrintForm(*capture, &output);
    PrintFrame(*capture, &output);
    summary.Print(&output);
    steps.Print(&output);
  }
  output.Flush();
  return summary.broken() > 0 ? kMalformed : kFine;
}

// For a capture whose form cannot be told, or cannot be read.
ExitCode SayWhyNot(const Options& options, Source source,
                   const NotRead& reason) {
  Output output(options.output.color);
  Capture capture;
  capture.source = source;
  capture.options = options.input;
  Steps steps(capture);
  if (reason.forms().size() > 1) {
    for (const std::string& form : reason.forms()) {
      steps.AddAgain("--from " + form);
    }
  }
  if (!reason.filter().empty()) {
    steps.AddFiltered(reason.filter());
  } else if (reason.type() != nullptr) {
    const std::string& name = reason.type()->descriptor->name();
    steps.AddPlain("describe " + name);
    steps.AddPlain("describe --template " + name);
  } else if (reason.forms().size() == 1 && (reason.forms().front() == "text" ||
                                            reason.forms().front() == "json")) {
    steps.AddPlain("list");
  }
  if (options.output.json) {
    JsonWriter json(&output);
    WriteSource(capture, &json);
    json.Key("forms").BeginList();
    for (const std::string& form : reason.forms()) json.String(form);
    json.EndList();
    EndAnswer(steps, &json);
  } else {
    PrintSource(capture, &output);
    BeginLine("Form", &output);
    std::string words;
    for (const std::string& form : reason.forms()) {
      words += (words.empty() ? "" : " or ") + form;
    }
    output.Write(words.empty() ? "not known" : words);
    output.Write('\n');
    steps.Print(&output);
  }
  output.Flush();
  Complain(reason.what());
  return reason.code();
}

}  // namespace

ExitCode RunWhat(const Command& command, const Arguments& arguments) {
  CommandLine line(command.name, command.summary, arguments);
  Options options;
  line.app().add_option("FILE|TEXT", options.input.file,
                        "File to read, or the message itself in any form but "
                        "binary; standard input if - or not given");
  line.Form(&options.input);
  line.Frame(&options.input);
  line.app()
      .add_option("--type", options.type,
                  "Type of the messages; if not given, tarn finds it")
      ->type_name("TYPE")
      ->group("Input");
  line.Json(&options.output);
  line.Color(&options.output);
  line.Parse();

  Schema schema;
  const std::vector<const Type*> types = AllTypes(&schema);
  const Type* given =
      options.type.empty() ? nullptr : &schema.Find(options.type);
  const Source source = SourceOf(options.input.file);
  try {
    Capture capture = ReadCapture(options.input, source, types);
    return capture.stream != nullptr
               ? SayStream(options, &capture, types, given)
               : SayMessage(options, capture, types, given, &schema);
  } catch (const NotRead& reason) {
    return SayWhyNot(options, source, reason);
  }
}

}  // namespace tarn::tool
