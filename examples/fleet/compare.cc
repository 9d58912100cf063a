// Counts what is stored, and compares it with what a site has sent.
#include <algorithm>
#include <fstream>
#include <iostream>
#include <sstream>

#include "json_writer.h"
#include "office.h"

namespace fleet {
namespace {

struct Line {
  std::string name;
  int64_t number;
};

void Print(const std::vector<Line>& lines, bool json) {
  tarn::tool::Output output;
  tarn::tool::JsonWriter writer(&output);
  if (json) writer.BeginObject();
  for (Line line : lines) {
    if (json) {
      std::replace(line.name.begin(), line.name.end(), ' ', '_');
      writer.Key(line.name).Number(line.number);
    } else {
      output.Write(line.name);
      output.Spaces(17 - line.name.size());
      output.Number(line.number);
      output.Write('\n');
    }
  }
  if (json) writer.EndObject();
  if (json) writer.EndLine();
  output.Flush();
}

}  // namespace

void Count(bool json, Database* database) {
  Statement sites(database->get(), "SELECT count(DISTINCT site) FROM message");
  sites.Step();
  Print({{"stored", database->Count("message")},
         {"rejected", database->Count("rejected")},
         {"sites", sites.Number(0)}},
        json);
}

int Compare(const std::string& path, bool json, Database* database) {
  std::ifstream ledger(path);
  if (!ledger) throw Failure(kInputOutput, path + " cannot be read");
  int64_t acknowledged = 0, read_back = 0, equal = 0;
  Statement find(database->get(),
                 "SELECT 'tarn.v0.' || site || '.' || type, bytes FROM message "
                 "WHERE sequence = ?1 OR (id != '' AND id = ?2)");
  for (std::string text; std::getline(ledger, text); ++acknowledged) {
    std::istringstream line(text);
    int64_t sequence = 0;
    std::string subject, hex, id;
    line >> sequence >> subject >> hex >> id;
    find.Bind(sequence).Bind(id);
    const std::unique_ptr<google::protobuf::Message> message(
        NewMessage(subject.substr(subject.rfind('.') + 1), nullptr));
    // A stream that is made anew begins at 1 again.
    bool there = false, same = false;
    while (find.Step()) {
      there = true;
      same |= message != nullptr && find.Text(0) == subject &&
              message->ParseFromString(std::string(find.Text(1))) &&
              Hex(find.Text(1)) == hex;
    }
    read_back += there;
    equal += same;
  }
  if (ledger.bad()) throw Failure(kInputOutput, path + " cannot be read whole");
  Print({{"acknowledged", acknowledged},
         {"stored", database->Count("message")},
         {"read back", read_back},
         {"equal", equal}},
        json);
  return equal == acknowledged ? kFine : kDifferent;
}

}  // namespace fleet
