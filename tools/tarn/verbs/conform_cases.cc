// Finds and reads the files of the golden messages.
#include "conform_cases.h"

#include <algorithm>
#include <filesystem>

#include "failure.h"
#include "forms.h"
#include "input.h"

namespace tarn::tool {
namespace {

namespace fs = std::filesystem;

// Larger ones would not fit into a line.
constexpr uint64_t kLargestFile = 512 << 10;
constexpr std::string_view kBytes = ".binpb";

bool EndsWith(std::string_view text, std::string_view end) {
  return text.size() >= end.size() &&
         text.substr(text.size() - end.size()) == end;
}

// The names in a folder, sorted, without what stands for nothing by itself.
std::vector<std::string> NamesIn(const std::string& folder) {
  std::vector<std::string> names;
  std::error_code error;
  for (fs::directory_iterator at(folder, error), end; !error && at != end;
       at.increment(error)) {
    names.push_back(at->path().filename());
  }
  if (error) throw Failure(kInputOutput, folder + ": " + error.message());
  std::sort(names.begin(), names.end());
  return names;
}

// Whether a text names a case: all of its name, the beginning, or either
// without the first folder.
bool Names(const std::string& text, const std::string& name) {
  for (const size_t from : {size_t{0}, name.find('/') + 1}) {
    if ((name + '/').compare(from, text.size() + 1, text + '/') == 0) {
      return true;
    }
  }
  return false;
}

bool IsWanted(const std::string& name, const std::vector<std::string>& only) {
  return only.empty() ||
         std::any_of(only.begin(), only.end(), [&](const std::string& text) {
           return Names(text, name);
         });
}

// Every file must be there and be one, not something that never ends.
std::string ReadCase(const std::string& file) {
  std::error_code error;
  const bool regular = fs::is_regular_file(file, error);
  if (!error && !regular) throw Failure(kInputOutput, file + ": not a file");
  return ReadFile(file, kLargestFile);
}

// The type that a folder is named for.
const Type& TypeOf(const std::string& folder, const std::string& name,
                   Schema* schema) {
  try {
    return schema->Find(name);
  } catch (const Failure& failure) {
    throw Failure(failure.code(), folder + ": " + failure.what());
  }
}

std::map<std::string, std::string> ReadLimits(const std::string& file) {
  std::map<std::string, std::string> limits;
  const std::string text = ReadCase(file);
  std::string_view rest = text;
  while (!rest.empty()) {
    const std::string_view line = TakeLine(&rest);
    const size_t blank = line.find(' ');
    if (blank == line.npos) {
      throw Failure(kMalformed,
                    file + ": not a kind and a case: " + std::string(line));
    }
    limits.emplace(line.substr(blank + 1), line.substr(0, blank));
  }
  return limits;
}

}  // namespace

Corpus::Corpus(const std::string& folder, const std::vector<std::string>& only,
               Schema* schema)
    : folder_(folder), limits_(ReadLimits(folder + "/runtime_limits.txt")) {
  for (const char* kind : {"accepted", "rejected", "valid"}) {
    const std::string kinds = folder + '/' + kind;
    for (const std::string& type_name : NamesIn(kinds)) {
      const Type& type = TypeOf(kinds, type_name, schema);
      const std::string start = std::string(kind) + '/' + type_name + '/';
      std::string messages = kinds + '/';
      messages += type_name;
      for (const std::string& file : NamesIn(messages)) {
        if (!EndsWith(file, kBytes) || EndsWith(file, ".canonical.binpb")) {
          continue;
        }
        const std::string name =
            start + file.substr(0, file.size() - kBytes.size());
        if (!IsWanted(name, only)) continue;
        questions_.push_back({name, Operation::kParse, &type});
        if (std::string_view(kind) != "valid") continue;
        questions_.push_back({name, Operation::kFromJson, &type});
        questions_.push_back({name, Operation::kToJson, &type});
      }
    }
  }
  if (!questions_.empty()) return;
  if (only.empty())
    throw Failure(kInputOutput, folder + ": no golden messages");
  std::vector<std::string> types;
  for (const auto* type : schema->Messages()) types.push_back(type->name());
  throw Failure(kUnknownName,
                "no such case in " + folder + DidYouMean(only.front(), types));
}

Question Corpus::Read(size_t index) const {
  const Place& place = questions_[index];
  Question question{place.name, place.operation, place.type, {}};
  const std::string stem = folder_ + '/' + place.name;
  const std::string bytes = ReadCase(stem + std::string(kBytes));
  question.given = place.operation == Operation::kFromJson
                       ? ReadCase(stem + ".json")
                       : bytes;
  question.must_reject = place.name.compare(0, 9, "rejected/") == 0;
  if (question.must_reject) {
    question.reason = Trim(ReadCase(stem + ".reason"));
  }
  const bool accepted = place.name.compare(0, 9, "accepted/") == 0;
  question.expected = accepted ? ReadCase(stem + ".canonical.binpb") : bytes;
  const auto limit = limits_.find(place.name);
  if (limit != limits_.end()) question.limit = limit->second;
  return question;
}

}  // namespace tarn::tool
