#include "statement.h"

#include <cerrno>
#include <cmath>

namespace {

constexpr std::int64_t maxSafeInteger = (1LL << 53) - 1;

void checkSafe(std::int64_t value) {
  if (value >= -maxSafeInteger && value <= maxSafeInteger) return;
  throw zax::ErrnoException(
      zax::Errno(EOVERFLOW),
      __("%(value)s is beyond what a number holds exactly; the option bigints gives bigints",
         "value", value),
      ZAX_DEBUG_INFO);
}

/// Binds a value to a parameter, where it stays until the statement's bindings are cleared.
struct Bind {
  sqlite3_stmt* statement;
  int index;

  int operator()(std::nullptr_t) const { return sqlite3_bind_null(statement, index); }
  int operator()(double value) const {
    const bool whole = std::trunc(value) == value && std::abs(value) <= maxSafeInteger;
    return whole ? sqlite3_bind_int64(statement, index, static_cast<std::int64_t>(value))
                 : sqlite3_bind_double(statement, index, value);
  }
  int operator()(zax::BigInt64 value) const {
    return sqlite3_bind_int64(statement, index, value.value);
  }
  int operator()(const std::string& value) const {
    return sqlite3_bind_text64(statement, index, value.data(), value.size(), SQLITE_STATIC,
                               SQLITE_UTF8);
  }
  int operator()(const zax::Bytes& value) const {
    const void* data = value.size() > 0 ? static_cast<const void*>(value.data()) : "";
    return sqlite3_bind_blob64(statement, index, data, value.size(), SQLITE_STATIC);
  }
};

/// Adds a column of the row that a statement has found.
void addCell(zax::Table& table, sqlite3_stmt* statement, int column, bool bigints) {
  switch (sqlite3_column_type(statement, column)) {
    case SQLITE_INTEGER: {
      const std::int64_t value = sqlite3_column_int64(statement, column);
      if (bigints) return table.addBigInt(value);
      checkSafe(value);
      return table.addInteger(value);
    }
    case SQLITE_FLOAT:
      return table.addNumber(sqlite3_column_double(statement, column));
    case SQLITE_TEXT: {
      const auto* text = reinterpret_cast<const char*>(sqlite3_column_text(statement, column));
      if (!text) throw std::bad_alloc();
      return table.addText(
          {text, static_cast<std::size_t>(sqlite3_column_bytes(statement, column))});
    }
    case SQLITE_BLOB: {
      const void* data = sqlite3_column_blob(statement, column);
      return table.addBytes(data, sqlite3_column_bytes(statement, column));
    }
    default:
      return table.addNull();
  }
}

}  // namespace

/// One run of a statement, from its parameters to its last row.
class Statement::Execution {
 public:
  Execution(Statement& statement, const Parameters& parameters, const zax::Progress<Work>& progress,
            const zax::Cancellation& cancellation)
      : turn_(*statement.connection_, progress, cancellation),
        statement_(statement.statement_),
        bigints_(statement.bigints_) {
    const std::size_t expected = sqlite3_bind_parameter_count(statement_);
    const std::size_t given = parameters ? parameters->size() : 0;
    if (given != expected) {
      throw zax::BadArgument("the statement has " + std::to_string(expected) + " parameters, got " +
                             std::to_string(given));
    }
    for (std::size_t i = 0; i < given; ++i) {
      turn_.check(std::visit(Bind{statement_, static_cast<int>(i + 1)}, (*parameters)[i]));
    }
  }

  ~Execution() {
    sqlite3_reset(statement_);
    sqlite3_clear_bindings(statement_);
  }
  Execution(const Execution&) = delete;
  Execution& operator=(const Execution&) = delete;

  bool step() { return turn_.step(statement_); }

  /// A table without rows; after the first step, which may find the columns changed.
  zax::Table table() const {
    std::vector<std::string> names;
    for (int i = 0; i < sqlite3_column_count(statement_); ++i) {
      names.emplace_back(sqlite3_column_name(statement_, i));
    }
    return zax::Table(std::move(names));
  }

  void addRow(zax::Table& table) const {
    const auto columns = static_cast<int>(table.columns().size());
    for (int i = 0; i < columns; ++i) addCell(table, statement_, i, bigints_);
  }

  sqlite3* handle() const { return turn_.handle(); }

 private:
  Turn turn_;
  sqlite3_stmt* statement_;
  bool bigints_;
};

Statement::Statement(std::shared_ptr<Connection> connection, const std::string& sql, bool bigints,
                     const zax::Cancellation& cancellation)
    : sql(sql), connection_(std::move(connection)), bigints_(bigints) {
  const zax::Progress<Work> none;
  const Turn turn(*connection_, none, cancellation);
  const char* rest;
  turn.check(sqlite3_prepare_v3(turn.handle(), sql.c_str(), -1, SQLITE_PREPARE_PERSISTENT,
                                &statement_, &rest));
  const bool whole = sql.find_first_not_of("; \t\r\n", rest - sql.c_str()) == std::string::npos;
  if (statement_ && whole) return;
  sqlite3_finalize(statement_);
  throw zax::BadArgument("one statement expected, and nothing after it");
}

zax::Table Statement::all(const Parameters& parameters, const zax::Progress<Work>& progress,
                          const zax::Cancellation& cancellation) {
  Execution execution(*this, parameters, progress, cancellation);
  bool found = execution.step();
  zax::Table rows = execution.table();
  for (; found; found = execution.step()) execution.addRow(rows);
  return rows;
}

std::optional<Row> Statement::get(const Parameters& parameters, const zax::Progress<Work>& progress,
                                  const zax::Cancellation& cancellation) {
  Execution execution(*this, parameters, progress, cancellation);
  if (!execution.step()) return std::nullopt;
  Row row{execution.table()};
  execution.addRow(row.table);
  return row;
}

Changes Statement::run(const Parameters& parameters, const zax::Progress<Work>& progress,
                       const zax::Cancellation& cancellation) {
  Execution execution(*this, parameters, progress, cancellation);
  sqlite3* handle = execution.handle();
  const std::int64_t before = sqlite3_total_changes64(handle);
  while (execution.step()) continue;
  const bool changed = sqlite3_total_changes64(handle) > before;
  const std::int64_t rowid = sqlite3_last_insert_rowid(handle);
  if (!bigints_) checkSafe(rowid);
  return {changed ? sqlite3_changes64(handle) : 0,
          bigints_ ? Integer(zax::BigInt64{rowid}) : Integer(rowid)};
}

void Statement::close() {
  if (connection_) connection_->retire(statement_);
  connection_.reset();
}
