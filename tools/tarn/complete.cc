// tarn complete: lists what the word at the cursor can become, for completion
// in shells. It is not a verb for users.
#include <tarn/Network.pb.h>

#include <set>

#include "declaration.h"
#include "hidden.h"
#include "nodes.h"
#include "output.h"
#include "rows.h"
#include "schema.h"

namespace tarn::tool {
namespace {

bool StartsWith(const std::string& text, const std::string& start) {
  return text.compare(0, start.size(), start) == 0;
}

class Candidates {
 public:
  explicit Candidates(const std::vector<Command>& commands)
      : commands_(commands) {}

  // `words` is not empty.
  void Complete(const Arguments& words) {
    const std::string& word = words.back();
    if (words.size() == 1) {
      if (StartsWith(word, "-")) {
        Add("--help", "Show the verbs");
        Add("--version", "Show the versions of tarn and what it is built on");
        return;
      }
      Verbs();
      Add("help", "Show the options of a verb");
    } else if (words.front() == "help") {
      if (words.size() == 2) Verbs();
    } else {
      for (const Command& command : commands_) {
        if (words.front() == command.name) BehindVerb(command, words);
      }
    }
  }

  void Flush() { output_.Flush(); }

 private:
  void Add(const std::string& candidate, std::string_view what) {
    output_.Write(front_ + candidate);
    output_.Write('\t');
    output_.Write(what);
    output_.Write('\n');
  }

  void Verbs() {
    for (const Command& command : commands_) Add(command.name, command.summary);
  }

  const Parameter* Find(const std::string& name) const {
    for (const Parameter& parameter : declaration_.parameters) {
      if (!parameter.positional && parameter.name == name) return &parameter;
    }
    return nullptr;
  }

  // Completes a word after a verb.
  void BehindVerb(const Command& command, const Arguments& words) {
    declaration_ = Declare(command);
    verb_ = command.name;
    std::vector<const Parameter*> places;
    for (const Parameter& parameter : declaration_.parameters) {
      if (parameter.positional) places.push_back(&parameter);
    }
    std::set<std::string> given;
    size_t place = 0;
    const Parameter* open = nullptr;  // its value comes next
    for (size_t i = 1; i + 1 < words.size(); ++i) {
      if (open != nullptr) {
        open = nullptr;
      } else if (words[i].size() > 1 && words[i].front() == '-') {
        given.insert(words[i].substr(0, words[i].find('=')));
        open = Find(words[i]);
        if (open != nullptr && open->value.empty()) open = nullptr;
      } else {
        ++place;
      }
    }
    const std::string& word = words.back();
    const size_t equals = word.find('=');
    if (open != nullptr) {
      Values(*open, word);
    } else if (StartsWith(word, "--") && equals != word.npos) {
      const Parameter* option = Find(word.substr(0, equals));
      if (option == nullptr || option->value.empty()) return;
      front_ = word.substr(0, equals + 1);
      Values(*option, word.substr(equals + 1));
    } else if (StartsWith(word, "-") || place >= places.size()) {
      Options(given);
    } else {
      Values(*places[place], word);
    }
  }

  void Options(const std::set<std::string>& given) {
    for (const Parameter& option : declaration_.parameters) {
      if (!option.positional &&
          (option.many || given.count(option.name) == 0)) {
        Add(option.name, option.what);
      }
    }
    Add("--help", "Show these options");
  }

  // Offers values of a parameter, by the name that its help gives the value.
  void Values(const Parameter& parameter, const std::string& word) {
    for (const std::string& choice : parameter.choices) Add(choice, "");
    const std::string& value = parameter.value;
    if (value == "TYPE" || value == "CASE") {
      Types(word);
    } else if (value == "NAME") {
      Names(word);
    } else if (value == "STATUS,...") {
      Statuses(word);
    } else if (value == "TABLE") {
      for (const Table& table : RowTables()) Add(table.name, table.comment);
    } else if (value == "FILE" || value == "FILE|TEXT" || value == "A" ||
               value == "B" || value == "DIR" || value == "COMMAND") {
      output_.Write("files\n");
    }
  }

  // Keeps the package in front of a name, if it is there.
  std::string Package(const std::string& word) const {
    const std::string package = schema_.files().front()->package() + '.';
    return StartsWith(word, package) ? package : "";
  }

  void Types(const std::string& word) {
    if (verb_ == "sample") Add("network", "A whole installation");
    for (const auto* type : schema_.Messages()) {
      if (verb_ == "tree" && !HoldsNodes(*type)) continue;
      Add(Package(word) + schema_.Bare(type->full_name()),
          FirstSentence(schema_.Comment(*type)));
    }
  }

  // Completes one level at a time: after "Server." come its fields.
  void Names(const std::string& word) {
    const std::string package = Package(word);
    const std::string bare = schema_.Bare(word);
    const std::string outer = bare.substr(0, bare.rfind('.') + 1);
    for (const std::string& name : schema_.Names()) {
      if (StartsWith(name, outer) &&
          name.find('.', outer.size()) == name.npos) {
        Add(package + name, "");
      }
    }
  }

  // Completes the last name of a list.
  void Statuses(const std::string& word) {
    front_ += word.substr(0, word.rfind(',') + 1);
    const auto* statuses = tarn::StatusCodes_descriptor();
    for (int i = 0; i < statuses->value_count(); ++i) {
      Add(statuses->value(i)->name(),
          FirstSentence(schema_.Comment(*statuses->value(i))));
    }
  }

  const std::vector<Command>& commands_;
  Schema schema_;
  Output output_;
  Declaration declaration_;
  std::string verb_;
  std::string front_;  // of the word, which stays as it is
};

}  // namespace

void PrintCandidates(const std::vector<Command>& commands,
                     const Arguments& words) {
  Candidates candidates(commands);
  candidates.Complete(words);
  candidates.Flush();
}

}  // namespace tarn::tool
