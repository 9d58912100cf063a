// The office's database: messages, what was rejected, and tables of rows.
#ifndef EXAMPLES_FLEET_DATABASE_H_
#define EXAMPLES_FLEET_DATABASE_H_

#include <sqlite3.h>

#include <cstdint>
#include <map>
#include <memory>
#include <string>
#include <string_view>

#include "rows.h"

namespace fleet {

// A prepared statement. Parameters and columns count from 0; text is bound
// without a copy, and has to stay until Run() or the last Step().
class Statement {
 public:
  Statement(sqlite3* database, const std::string& sql);
  ~Statement() { sqlite3_finalize(statement_); }
  Statement(const Statement&) = delete;
  Statement& operator=(const Statement&) = delete;

  Statement& Bind(const tarn::tool::RowValue& value);
  Statement& BindBytes(std::string_view bytes);
  // True: there is a row. Throws a Failure.
  bool Step();
  // For statements without rows: steps, and makes it ready for other values.
  void Run();

  int64_t Number(int column);
  std::string_view Text(int column);

 private:
  sqlite3_stmt* statement_ = nullptr;
  int bound_ = 0;
};

// A message as it comes from the stream.
struct Arrived {
  uint64_t sequence;
  std::string time;  // when the stream took it: UTC, as in RFC 3339
  std::string_view subject;
  std::string_view bytes;
  std::string id;  // by which the server knows it again; empty if there is none
};

class Database {
 public:
  // Opens the file, or makes it if `writing`. Throws a Failure where it is
  // locked, cannot be written, or is no database of this version.
  Database(const std::string& path, bool writing);

  // Stores messages in one transaction: Begin(), Add() for each, Commit(). If
  // one of them throws a Failure, nothing of it is there. What has been stored
  // before changes nothing: it has the same sequence, or it is the same message
  // with the same id, because a cluster that loses its leader can keep one
  // twice.
  void Begin();
  void Commit();
  // Stores the message and its rows, or why it was rejected, which it returns.
  std::string Add(const Arrived& message, size_t largest);

  sqlite3* get() { return database_.get(); }
  int64_t Count(const std::string& table);

 private:
  struct Closer {
    void operator()(sqlite3* database) const { sqlite3_close(database); }
  };

  void Execute(const std::string& sql);
  Statement& Prepared(const std::string& sql);
  std::string Accept(const Arrived& message, size_t largest);

  std::unique_ptr<sqlite3, Closer> database_;
  std::map<std::string, Statement> prepared_;
  std::map<const tarn::tool::Table*, Statement*> inserts_;
};

}  // namespace fleet

#endif  // EXAMPLES_FLEET_DATABASE_H_
