// Reads a file of cases line by line: what begins in the first column says
// what follows, indented lines are bytes in the notation.
#include "case_file.h"

#include <fstream>
#include <regex>
#include <set>
#include <string>
#include <utility>
#include <vector>

namespace {

using notation::Error;
using notation::Line;

class CaseReader {
 public:
  void AddLine(const Line& line) {
    static const std::regex kBlank("[ \t]*(#.*)?");
    static const std::regex kWords("([a-z_]+)(?: ([A-Za-z0-9_.]+))?");
    std::smatch words;
    if (std::regex_match(line.text, kBlank)) return;
    if (line.text[0] == ' ') {
      if (bytes_ == nullptr) throw Error(line.number, "bytes before a case");
      bytes_->push_back(line);
    } else if (std::regex_match(line.text, words, kWords)) {
      AddWords(line.number, words[1], words[2]);
    } else {
      throw Error(line.number, "neither a case nor indented bytes");
    }
  }

  std::vector<Case> Finish() {
    FinishCase();
    return std::move(cases_);
  }

 private:
  void AddWords(int line, const std::string& word, const std::string& value) {
    const bool is_case =
        word == "valid" || word == "accepted" || word == "rejected";
    if (value.empty() != (word == "canonical")) {
      throw Error(line,
                  word + (value.empty() ? " needs a name" : " stands alone"));
    }
    if (is_case) {
      FinishCase();
      if (!names_.insert(word + " " + value).second) {
        throw Error(line, "a second case of this name");
      }
      cases_.push_back({line, word, value});
      bytes_ = &written_;
      return;
    }
    if (cases_.empty()) throw Error(line, word + " before a case");
    Case& current = cases_.back();
    if (word == "reason" && current.kind == "rejected") {
      SetOnce(line, word, value, &current.reason);
    } else if (word == "runtime_limit") {
      SetOnce(line, word, value, &current.runtime_limit);
    } else if (word == "canonical" && current.kind == "accepted" &&
               bytes_ == &written_) {
      bytes_ = &canonical_;
    } else {
      throw Error(line, word + " has no place here");
    }
  }

  static void SetOnce(int line, const std::string& word,
                      const std::string& value, std::string* member) {
    if (!member->empty()) throw Error(line, "a second " + word);
    *member = value;
  }

  void FinishCase() {
    if (cases_.empty()) return;
    Case& finished = cases_.back();
    if (finished.kind == "rejected" && finished.reason.empty()) {
      throw Error(finished.line, "a rejected case needs a reason");
    }
    finished.bytes = notation::ToBytes(written_);
    finished.canonical =
        bytes_ == &canonical_ ? notation::ToBytes(canonical_) : finished.bytes;
    written_.clear();
    canonical_.clear();
  }

  std::vector<Case> cases_;
  std::set<std::string> names_;
  std::vector<Line> written_, canonical_;  // of the case that is read
  std::vector<Line>* bytes_ = nullptr;     // where indented lines go
};

}  // namespace

std::vector<Case> ReadCases(const std::filesystem::path& path) {
  std::ifstream file(path, std::ios::binary);
  CaseReader reader;
  Line line{0, ""};
  while (std::getline(file, line.text)) {
    ++line.number;
    reader.AddLine(line);
  }
  if (!file.eof()) throw Error(line.number, "cannot be read");
  return reader.Finish();
}
