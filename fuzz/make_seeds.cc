// Writes the seeds of a target as files, and the dictionary of all targets: the
// tags of fields, and the names of fields and values.
// Usage: make_seeds CORPUS TARGET FOLDER
//        make_seeds dictionary FILE
#include <filesystem>
#include <fstream>
#include <set>

#include "reference/wire.h"
#include "seeds.h"
#include "target.h"

namespace {

std::set<std::string> Words() {
  std::set<std::string> words = {"@unknown",  "\\u",  "\\x",        "0x", "NaN",
                                 "-Infinity", "1e38", "00000010: ", "\"", "{}"};
  for (const tarn::tool::Type* type : fuzz::Types()) {
    for (const tarn::tool::Field& field : type->fields) {
      if (field.kind == tarn::tool::Kind::kNone) continue;
      words.insert(wire::Writer().Varint(field.tag).bytes());
      words.insert(std::string(field.name));
      words.insert(field.json_key);
      if (field.packed_tag != 0) {
        words.insert(wire::Writer().Varint(field.packed_tag).bytes());
      }
    }
  }
  for (const auto* enumeration : fuzz::TheSchema()->Enums()) {
    for (int i = 0; i < enumeration->value_count(); ++i) {
      words.insert(enumeration->value(i)->name());
    }
  }
  return words;
}

void WriteDictionary(const std::string& path) {
  std::ofstream file(path);
  for (const std::string& word : Words()) {
    file << '"';
    const std::string digits = wire::ToHex(word);  // "0A 08"
    for (size_t i = 0; i < digits.size(); i += 3) {
      file << "\\x" << digits.substr(i, 2);
    }
    file << "\"\n";
  }
}

}  // namespace

int main(int argc, char* argv[]) {
  if (argc == 3) {
    WriteDictionary(argv[2]);
    return 0;
  }
  const std::filesystem::path folder = argv[3];
  std::filesystem::create_directories(folder);
  fuzz::ForEachSeed(argv[2], argv[1],
                    [&](const std::string& name, const std::string& input) {
                      std::ofstream(folder / name, std::ios::binary) << input;
                    });
}
