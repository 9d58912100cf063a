// Fuzzes what the office does with a message of a site: it stores exactly the
// bytes and the rows of what it accepts, nothing but the reason of the rest,
// and a message that comes twice changes nothing. The first byte of the input
// chooses the message type; if the second is 0, the rest is the message.
// Otherwise the rest up to the first zero byte is the end of the subject.
#include <google/protobuf/arena.h>

#include <algorithm>
#include <memory>

#include "database.h"
#include "fleet.h"
#include "target.h"

namespace fuzz {
namespace {

using fleet::Arrived;
using fleet::Database;
using fleet::Statement;
using tarn::tool::Type;

constexpr size_t kLargest = 2048;

struct Office {
  Office() : database(":memory:", true) {
    std::string sql = "SELECT 0";
    for (const auto& table : tarn::tool::RowTables()) {
      sql += " + (SELECT count(*) FROM \"" + table.name + "\")";
    }
    rows = std::make_unique<Statement>(database.get(), sql);
    stored = std::make_unique<Statement>(
        database.get(), "SELECT count(*), max(bytes) FROM message");
    rejected = std::make_unique<Statement>(
        database.get(),
        "SELECT count(*), max(reason), max(bytes), max(size) FROM rejected");
  }

  Database database;
  std::unique_ptr<Statement> rows, stored, rejected;
};

// The only number that a statement gives.
int64_t Count(Statement* statement) {
  statement->Step();
  const int64_t count = statement->Number(0);
  statement->Step();
  return count;
}

// Why the message of a subject has to be rejected is the office's to say; here
// is only whether.
bool IsFine(std::string_view subject, std::string_view bytes, size_t* rows) {
  constexpr std::string_view kPrefix = "tarn.v0.";
  if (subject.substr(0, kPrefix.size()) != kPrefix) return false;
  subject.remove_prefix(kPrefix.size());
  const size_t dot = subject.find('.');
  if (dot == subject.npos || bytes.size() > kLargest) return false;
  const std::string_view site = subject.substr(0, dot);
  const std::string_view name = subject.substr(dot + 1);
  const auto type =
      std::find_if(Types().begin(), Types().end(), [&](const Type* each) {
        return each->descriptor->full_name().substr(5) == name;
      });
  if (!fleet::IsSiteName(site) || type == Types().end()) return false;
  const auto message = Parsed(**type, bytes);
  if (message == nullptr) return false;
  tarn::tool::WriteRows(*message, {},
                        [&](const auto&, const auto&) { ++*rows; });
  return true;
}

void CheckStored(const Type& type, Office* office, std::string_view bytes,
                 size_t rows) {
  office->stored->Step();
  Expect(office->stored->Number(0) == 1 && office->stored->Text(1) == bytes,
         type, "the bytes are stored once");
  office->stored->Step();
  Expect(Count(office->rejected.get()) == 0, type, "nothing is rejected");
  Expect(Count(office->rows.get()) == static_cast<int64_t>(rows), type,
         "all rows are stored");
}

void CheckRejected(const Type& type, Office* office, std::string_view bytes,
                   const std::string& reason) {
  Statement& rejected = *office->rejected;
  rejected.Step();
  Expect(rejected.Number(0) == 1 && rejected.Text(1) == reason, type,
         "the reason is stored");
  Expect(rejected.Text(2) == bytes.substr(0, 256) &&
             rejected.Number(3) == static_cast<int64_t>(bytes.size()),
         type, "the beginning is stored");
  rejected.Step();
  Expect(Count(office->stored.get()) == 0 && Count(office->rows.get()) == 0,
         type, "nothing else is stored");
}

}  // namespace

const size_t kOptions = 2;

void Try(std::string_view input) {
  if (input.size() < kOptions) return;
  static Office* const office = new Office();
  const Type& type = TypeOf(input);
  std::string_view bytes = input.substr(kOptions);
  std::string subject =
      "tarn.v0.site." + type.descriptor->full_name().substr(5);
  if (input[1] != 0) {
    const size_t end = std::min(bytes.find('\0'), bytes.size());
    subject = "tarn.v0." + std::string(bytes.substr(0, end));
    bytes.remove_prefix(std::min(end + 1, bytes.size()));
  }
  size_t rows = 0;
  const bool fine = IsFine(subject, bytes, &rows);
  const Arrived arrived = {1, "2026-01-31T08:30:00Z", subject, bytes, "id"};
  office->database.Begin();
  const std::string reason = office->database.Add(arrived, kLargest);
  Expect(reason.empty() == fine, type, "what is sound is accepted");
  Arrived again = arrived;
  again.sequence = 2;
  Expect(office->database.Add(again, kLargest) == reason, type,
         "the same answer to the same message");
  fine ? CheckStored(type, office, bytes, rows)
       : CheckRejected(type, office, bytes, reason);
  Statement(office->database.get(), "ROLLBACK").Run();
}

}  // namespace fuzz
