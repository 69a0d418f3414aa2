#ifndef SQLITE_EXAMPLE_STATEMENT_H
#define SQLITE_EXAMPLE_STATEMENT_H

#include <sqlite3.h>
#include <zax.h>

#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <variant>
#include <vector>

#include "connection.h"

/// What a statement's parameters may be; a number without fraction is an INTEGER.
using Parameter = std::variant<std::nullptr_t, double, zax::BigInt64, std::string, zax::Bytes>;
using Parameters = std::optional<std::vector<Parameter>>;

using Integer = std::variant<std::int64_t, zax::BigInt64>;

/// What a statement has done to the database.
struct Changes {
  std::int64_t changes = 0;  ///< rows
  Integer lastInsertRowid;
};
ZAX_FIELDS(Changes, changes, lastInsertRowid);

/// One row by itself.
struct Row {
  zax::Table table;
};
template <>
struct zax::Value<Row> {
  static Handle to(Row&& row) { return zax::to(std::move(row.table)).element(0); }
  static std::string declaration() {
    const std::string rows = Value<Table>::declaration();
    return rows.substr(0, rows.size() - 2);
  }
};

/// A prepared statement. Each of its runs is a task, and a Turn of the connection.
class Statement {
 public:
  /// JavaScript's integers are bigints where `bigints` says so, otherwise numbers, and what they do
  /// not hold exactly is an error.
  Statement(std::shared_ptr<Connection> connection, const std::string& sql, bool bigints,
            const zax::Cancellation& cancellation);
  ~Statement() { close(); }
  Statement(const Statement&) = delete;
  Statement& operator=(const Statement&) = delete;

  zax::Table all(const Parameters& parameters, const zax::Progress<Work>& progress,
                 const zax::Cancellation& cancellation);
  /// The first row.
  std::optional<Row> get(const Parameters& parameters, const zax::Progress<Work>& progress,
                         const zax::Cancellation& cancellation);
  Changes run(const Parameters& parameters, const zax::Progress<Work>& progress,
              const zax::Cancellation& cancellation);
  void close();

  const std::string sql;

 private:
  class Execution;

  std::shared_ptr<Connection> connection_;
  sqlite3_stmt* statement_ = nullptr;
  bool bigints_;
};

#endif
