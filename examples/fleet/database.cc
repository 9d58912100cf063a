// The office's database: messages, what was rejected, and tables of rows.
#include "database.h"

#include <google/protobuf/arena.h>

#include <cstdlib>
#include <new>

#include "fleet.h"

namespace fleet {
namespace {

using google::protobuf::Arena;
using google::protobuf::Message;
using tarn::tool::RowTables;
using tarn::tool::RowValue;
using tarn::tool::Table;

// A message of 1 MiB can be made to take a hundred times its size when it is
// parsed, and to fill half a million rows. A tree of modules takes four times
// its size, and has 22 rows for each 1,000 bytes.
constexpr size_t kMostMemory = 24 << 20;  // on the arena of one message
constexpr int kMostRows = 50000;          // of one message
constexpr size_t kKeptOfRejected = 256;   // bytes

struct TooMuchMemory {};
struct TooManyRows {};

thread_local size_t memory_left;

void* TakeBlock(size_t size) {
  if (size > memory_left) throw TooMuchMemory();
  memory_left -= size;
  return ::operator new(size);
}
void GiveBlock(void* block, size_t) { ::operator delete(block); }

[[noreturn]] void Fail(sqlite3* database) {
  const int code = sqlite3_errcode(database) & 0xff;
  if (code == SQLITE_NOMEM) throw Failure(kInputOutput, "out of memory");
  const char* name = sqlite3_db_filename(database, "main");
  std::string text = std::string(name != nullptr ? name : "the database") +
                     ": " + sqlite3_errmsg(database) + "; ";
  if (code == SQLITE_BUSY || code == SQLITE_LOCKED) {
    text += "end the program that keeps it locked, or name another --database";
  } else if (code == SQLITE_READONLY || code == SQLITE_CANTOPEN ||
             code == SQLITE_PERM) {
    text += "see whether this user may write the file and its folder";
  } else if (code == SQLITE_FULL || code == SQLITE_IOERR) {
    text +=
        "make room on its disk and start again: all that was acknowledged "
        "is stored, the rest comes again";
  } else if (code == SQLITE_NOTADB || code == SQLITE_CORRUPT) {
    text += "name another --database, or put a copy of a backup there";
  } else {
    text += "the database is not as this office makes it";
  }
  throw Failure(kInputOutput, text);
}

std::string CreateTable(const Table& table) {
  std::string sql = "CREATE TABLE \"" + table.name + "\" (";
  std::string key = "sequence", index;
  for (const tarn::tool::Column& column : table.columns) {
    const char* types[] = {" INTEGER", " REAL", " TEXT"};
    sql += (&column == &table.columns[0] ? "\"" : ", \"") + column.name + '"' +
           types[static_cast<int>(column.type)];
    if (column.name == "position") key = "sequence, position";
  }
  if (table.name == "node") {  // statuses name nodes by their uuid
    index = "CREATE INDEX node_by_uuid ON node (uuid, sequence);";
  }
  return sql + "); CREATE INDEX \"" + table.name + "_by_message\" ON \"" +
         table.name + "\" (" + key + ");" + index;
}

// The sequence alone would not do: it begins again if the stream is made anew.
std::string CreateAll() {
  std::string sql =
      "CREATE TABLE message (sequence INTEGER, site TEXT, time TEXT, type TEXT,"
      " bytes BLOB, id TEXT, PRIMARY KEY (sequence, time)) WITHOUT ROWID;"
      "CREATE INDEX message_by_site ON message (site, type, time);"
      "CREATE INDEX message_by_id ON message (id, site) WHERE id != '';"
      "CREATE TABLE rejected (sequence INTEGER, subject TEXT, time TEXT,"
      " reason TEXT, size INTEGER, bytes BLOB, id TEXT,"
      " PRIMARY KEY (sequence, time));"
      "CREATE INDEX rejected_by_id ON rejected (id, subject) WHERE id != '';";
  for (const Table& table : RowTables()) sql += CreateTable(table);
  return sql;
}

// Changes with the tables, which follow from the schema. (FNV-1a)
int64_t Version(const std::string& sql) {
  uint32_t hash = 2166136261u;
  for (const unsigned char c : sql) hash = (hash ^ c) * 16777619u;
  return static_cast<int64_t>(hash & 0x7fffffff) | 1;
}

}  // namespace

Statement::Statement(sqlite3* database, const std::string& sql) {
  if (sqlite3_prepare_v2(database, sql.c_str(), -1, &statement_, nullptr) !=
      SQLITE_OK) {
    Fail(database);
  }
}

Statement& Statement::Bind(const RowValue& value) {
  ++bound_;
  if (const auto* number = std::get_if<int64_t>(&value)) {
    sqlite3_bind_int64(statement_, bound_, *number);
  } else if (const auto* real = std::get_if<double>(&value)) {
    sqlite3_bind_double(statement_, bound_, *real);
  } else if (const auto* text = std::get_if<std::string_view>(&value)) {
    sqlite3_bind_text64(statement_, bound_, text->empty() ? "" : text->data(),
                        text->size(), SQLITE_STATIC, SQLITE_UTF8);
  } else {
    sqlite3_bind_null(statement_, bound_);
  }
  return *this;
}

Statement& Statement::BindBytes(std::string_view bytes) {
  sqlite3_bind_blob64(statement_, ++bound_, bytes.empty() ? "" : bytes.data(),
                      bytes.size(), SQLITE_STATIC);
  return *this;
}

bool Statement::Step() {
  const int status = sqlite3_step(statement_);
  if (status == SQLITE_ROW) return true;
  if (status != SQLITE_DONE) {
    sqlite3* const database = sqlite3_db_handle(statement_);
    Fail(database);
  }
  sqlite3_reset(statement_);
  bound_ = 0;
  return false;
}

void Statement::Run() { Step(); }

int64_t Statement::Number(int column) {
  return sqlite3_column_int64(statement_, column);
}

std::string_view Statement::Text(int column) {
  const auto* text = sqlite3_column_blob(statement_, column);
  return {static_cast<const char*>(text),
          static_cast<size_t>(sqlite3_column_bytes(statement_, column))};
}

Database::Database(const std::string& path, bool writing) {
  sqlite3* opened = nullptr;
  const int status =
      sqlite3_open_v2(path.c_str(), &opened,
                      writing ? SQLITE_OPEN_READWRITE | SQLITE_OPEN_CREATE
                              : SQLITE_OPEN_READONLY,
                      nullptr);
  database_.reset(opened);
  if (status != SQLITE_OK) Fail(opened);
  sqlite3_busy_timeout(opened, 10000);
  if (writing) {
    Execute("PRAGMA journal_mode = WAL; PRAGMA synchronous = FULL;");
    Execute("BEGIN IMMEDIATE");
  }
  const std::string sql = CreateAll();
  Statement version(opened, "PRAGMA user_version");
  version.Step();
  Statement tables(opened, "SELECT count(*) FROM sqlite_master");
  tables.Step();
  if (writing && version.Number(0) == 0 && tables.Number(0) == 0) {
    Execute(sql + "PRAGMA user_version = " + std::to_string(Version(sql)));
  } else if (version.Number(0) != Version(sql)) {
    throw Failure(kInputOutput,
                  path +
                      ": made by another version of the office, or by "
                      "another program; name another --database");
  }
  version.Step();
  tables.Step();
  if (writing) Execute("COMMIT");
}

void Database::Execute(const std::string& sql) {
  if (sqlite3_exec(get(), sql.c_str(), nullptr, nullptr, nullptr) !=
      SQLITE_OK) {
    Fail(get());
  }
}

Statement& Database::Prepared(const std::string& sql) {
  const auto found = prepared_.find(sql);
  if (found != prepared_.end()) return found->second;
  return prepared_.try_emplace(sql, get(), sql).first->second;
}

// IMMEDIATE: waits for other offices now, and not when half of it is written.
void Database::Begin() { Prepared("BEGIN IMMEDIATE").Run(); }
void Database::Commit() { Prepared("COMMIT").Run(); }

// Returns why the message is rejected; what it has written then goes back.
std::string Database::Accept(const Arrived& message, size_t largest) {
  const std::string_view subject = message.subject;
  const std::string_view prefix = "tarn.v0.";
  const size_t dot = subject.find('.', prefix.size());
  if (subject.substr(0, prefix.size()) != prefix ||
      dot == std::string_view::npos) {
    return "the subject is not tarn.v0.<site>.<Message>";
  }
  const std::string_view site =
      subject.substr(prefix.size(), dot - prefix.size());
  const std::string_view type = subject.substr(dot + 1);
  if (!IsSiteName(site)) {
    return "the subject names no site: 1 to 64 letters, digits, - and _";
  }
  if (message.bytes.size() > largest) {
    return "larger than " + std::to_string(largest) +
           " bytes: send less, or start the office with a larger --max-size";
  }
  memory_left = kMostMemory;
  google::protobuf::ArenaOptions options;
  options.block_alloc = TakeBlock;
  options.block_dealloc = GiveBlock;
  Arena arena(options);
  Message* const parsed = NewMessage(type, &arena);
  if (parsed == nullptr) {
    return "the subject names no type of this schema: update the office, or "
           "mend the site";
  }
  if (!parsed->ParseFromArray(message.bytes.data(),
                              static_cast<int>(message.bytes.size()))) {
    return "these bytes are no " + std::string(type) +
           ": look into them with \"tarn annotate\"";
  }
  Statement& insert = Prepared(
      "INSERT OR IGNORE INTO message "
      "SELECT ?1, ?2, ?3, ?4, ?5, ?6 WHERE NOT EXISTS (SELECT 1 "
      "FROM message WHERE id != '' AND id = ?6 AND site = ?2 "
      "AND type = ?4 AND bytes = ?5)");
  insert.Bind(static_cast<int64_t>(message.sequence))
      .Bind(site)
      .Bind(message.time)
      .Bind(type)
      .BindBytes(message.bytes)
      .Bind(message.id)
      .Run();
  if (sqlite3_changes(get()) == 0) return "";  // it came a second time
  int rows = 0;
  tarn::tool::WriteRows(
      *parsed, {site, message.time, static_cast<int64_t>(message.sequence)},
      [&](const Table& table, const std::vector<RowValue>& values) {
        if (++rows > kMostRows) throw TooManyRows();
        Statement*& row = inserts_[&table];
        if (row == nullptr) {
          std::string sql = "INSERT INTO \"" + table.name + "\" VALUES (?";
          for (size_t i = 1; i < values.size(); ++i) sql += ", ?";
          row = &Prepared(sql + ")");
        }
        for (const RowValue& value : values) row->Bind(value);
        row->Run();
      });
  return "";
}

std::string Database::Add(const Arrived& message, size_t largest) {
  std::string reason;
  Prepared("SAVEPOINT message").Run();
  try {
    reason = Accept(message, largest);
  } catch (const TooMuchMemory&) {
    reason = "takes more than " + std::to_string(kMostMemory >> 20) +
             " MiB of memory: send it in parts";
  } catch (const TooManyRows&) {
    reason = "has more than " + std::to_string(kMostRows) +
             " rows: send it in parts";
  }
  if (!reason.empty()) {
    Prepared("ROLLBACK TO message").Run();
    Prepared(
        "INSERT OR IGNORE INTO rejected "
        "SELECT ?1, ?2, ?3, ?4, ?5, ?6, ?7 WHERE NOT EXISTS (SELECT 1 "
        "FROM rejected WHERE id != '' AND id = ?7 AND subject = ?2 "
        "AND size = ?5 AND bytes = ?6)")
        .Bind(static_cast<int64_t>(message.sequence))
        .Bind(message.subject)
        .Bind(message.time)
        .Bind(reason)
        .Bind(static_cast<int64_t>(message.bytes.size()))
        .BindBytes(message.bytes.substr(0, kKeptOfRejected))
        .Bind(message.id)
        .Run();
  }
  Prepared("RELEASE message").Run();
  return reason;
}

int64_t Database::Count(const std::string& table) {
  Statement count(get(), "SELECT count(*) FROM \"" + table + '"');
  count.Step();
  return count.Number(0);
}

}  // namespace fleet
