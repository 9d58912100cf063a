// Makes the golden messages of corpus/ from the files of cases and from the
// table of the schema. Neither the library nor the runtime has a part in it:
// bytes come from the notation or the reference, text forms from the reference.
//
// usage: make_corpus CASES CORPUS
//
// All files are made before the first is replaced.
#include <algorithm>
#include <cstdio>
#include <exception>
#include <filesystem>
#include <fstream>
#include <map>
#include <stdexcept>
#include <string>
#include <vector>

#include "case_file.h"
#include "reference/reference.h"
#include "reference/wire.h"

namespace {

namespace fs = std::filesystem;
using reference::Field;
using reference::Kind;
using reference::Label;
using reference::Type;
using wire::Writer;

// The files to be written, by their paths below corpus/, and what failed.
class Corpus {
 public:
  // Adds the files of a case, unless the reference reads its bytes otherwise
  // than the case says. `origin` is where the case comes from, for errors.
  void Add(const std::string& origin, const Type& type, const Case& made) {
    const std::string name = made.kind + "/" + type.name + "/" + made.name;
    const reference::Decoded decoded = reference::Decode(type, made.bytes);
    if (decoded.reason != made.reason) {
      return Fail(origin,
                  name + ": the reference " +
                      (decoded.accepted() ? "accepts these bytes"
                                          : "rejects them: " + decoded.reason));
    }
    Put(origin, name + ".binpb", made.bytes);
    if (!made.runtime_limit.empty()) limits_[name] = made.runtime_limit;
    if (made.kind == "rejected") {
      return Put(origin, name + ".reason", made.reason + "\n");
    }
    const std::string canonical = reference::Encode(decoded.message);
    if (canonical != made.canonical) {
      Fail(origin, name + ": the reference writes " + wire::ToHex(canonical));
    }
    if (made.kind == "accepted") {
      return Put(origin, name + ".canonical.binpb", made.canonical);
    }
    Put(origin, name + ".txtpb", reference::ToText(decoded.message));
    Put(origin, name + ".json", reference::ToJson(decoded.message));
  }

  void Fail(const std::string& origin, const std::string& reason) {
    failed_ = true;
    std::fprintf(stderr, "make_corpus: %s: %s\n", origin.c_str(),
                 reason.c_str());
  }

  bool failed() const { return failed_; }

  // Replaces what `root` has, after all files were written beside it. Throws
  // where writing fails; the old files are then still there.
  void Replace(const fs::path& root) const {
    const fs::path fresh = root / ".new";
    try {
      WriteAll(fresh);
    } catch (const std::exception&) {
      fs::remove_all(fresh);
      throw;
    }
    for (const char* entry :
         {"valid", "accepted", "rejected", "runtime_limits.txt"}) {
      fs::remove_all(root / entry);
      if (fs::exists(fresh / entry)) fs::rename(fresh / entry, root / entry);
    }
    fs::remove(fresh);
  }

 private:
  void Put(const std::string& origin, const std::string& path,
           const std::string& content) {
    if (!files_.emplace(path, content).second) {
      Fail(origin, path + " is made from the schema already");
    }
  }

  void WriteAll(const fs::path& folder) const {
    fs::remove_all(folder);
    for (const auto& [path, content] : files_) Write(folder / path, content);
    std::string limits;
    for (const auto& [name, kind] : limits_) limits += kind + " " + name + "\n";
    Write(folder / "runtime_limits.txt", limits);
  }

  static void Write(const fs::path& path, const std::string& content) {
    fs::create_directories(path.parent_path());
    std::ofstream file(path, std::ios::binary);
    file << content;
    file.close();
    if (!file) throw std::runtime_error("cannot write " + path.string());
  }

  std::map<std::string, std::string> files_;
  std::map<std::string, std::string> limits_;
  bool failed_ = false;
};

Case ValidCase(const std::string& name, const std::string& bytes) {
  return {0, "valid", name, bytes, bytes};
}

// Text that is not UTF-8 in the field, or in the key of a map.
Case BadText(const Field& field) {
  const bool map = field.label == Label::MAP;
  const Writer entry = Writer().Bytes(1, "\xC3\x28").Int(2, 1);
  const Writer record = map ? Writer().Message(field.number, entry)
                            : Writer().Bytes(field.number, "\xC3\x28");
  return {0,
          "rejected",
          (map ? "invalid_utf8_in_key_of_" : "invalid_utf8_in_") + field.name,
          record.bytes(),
          "",
          field.full_name};
}

// A member of a choice: empty, under another wire type, and with all fields.
std::vector<Case> ChoiceCases(const Field& field) {
  const Writer number = Writer().Int(field.number, 1);
  const Writer full = Writer().Bytes(
      field.number, reference::Encode(reference::Sample(*field.type, 2)));
  return {ValidCase("empty_" + field.name + "_is_written",
                    Writer().Bytes(field.number, "").bytes()),
          {0, "accepted", field.name + "_as_varint_is_unknown", number.bytes(),
           number.bytes()},
          ValidCase("full_" + field.name, full.bytes())};
}

// What every message has, made from the table: nothing set, each field alone,
// all fields together, texts that are not UTF-8, and members of choices.
std::vector<Case> CasesOf(const Type& type) {
  std::vector<Case> cases = {ValidCase("empty", "")};
  if (type.fields.size() > 1 && type.fields[0].label != Label::ONEOF) {
    cases.push_back(ValidCase("every_field_set",
                              reference::Encode(reference::Sample(type, 2))));
  }
  for (const Field& field : type.fields) {
    cases.push_back(
        ValidCase("only_" + field.name,
                  reference::Encode(reference::Sample(type, field, 1))));
    if (field.label == Label::MAP || field.kind == Kind::STRING) {
      cases.push_back(BadText(field));
    }
    if (field.label == Label::ONEOF && field.kind == Kind::MESSAGE) {
      for (const Case& made : ChoiceCases(field)) cases.push_back(made);
    }
  }
  return cases;
}

void AddFile(const fs::path& path, Corpus* corpus) {
  const std::string file = path.string();
  const auto& types = reference::Types();
  const auto type = std::find_if(
      types.begin(), types.end(),
      [&](const Type& known) { return known.name == path.stem().string(); });
  if (type == types.end()) {
    return corpus->Fail(file, "the schema has no message of this name");
  }
  try {
    for (const Case& made : ReadCases(path)) {
      corpus->Add(file + ":" + std::to_string(made.line), *type, made);
    }
  } catch (const notation::Error& error) {
    corpus->Fail(file + ":" + std::to_string(error.line), error.what());
  }
}

}  // namespace

int main(int argc, char** argv) {
  if (argc != 3) {
    std::fprintf(stderr, "usage: make_corpus CASES CORPUS\n");
    return 2;
  }
  try {
    Corpus corpus;
    for (const Type& type : reference::Types()) {
      for (const Case& made : CasesOf(type)) {
        corpus.Add("tests/reference/schema_table.inc", type, made);
      }
    }
    std::vector<fs::path> files;
    for (const auto& entry : fs::directory_iterator(argv[1])) {
      if (entry.path().extension() == ".txt") files.push_back(entry.path());
    }
    std::sort(files.begin(), files.end());
    for (const fs::path& file : files) AddFile(file, &corpus);
    if (corpus.failed()) {
      std::fprintf(stderr, "make_corpus: %s is left as it was\n", argv[2]);
      return 1;
    }
    corpus.Replace(argv[2]);
  } catch (const std::exception& error) {
    std::fprintf(stderr, "make_corpus: %s\n", error.what());
    return 1;
  }
}
