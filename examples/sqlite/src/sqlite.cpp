#include <sqlite3.h>
#include <zax.h>

#include <memory>
#include <optional>
#include <string>

#include "connection.h"
#include "statement.h"

// SQLite in JavaScript: what takes time runs on the thread pool, and rows are plain objects.

struct DatabaseOptions {
  std::optional<bool> bigints;   ///< integers of rows are bigints
  std::optional<bool> readonly;  ///< nothing is written, and no file made
};
ZAX_FIELDS(DatabaseOptions, bigints, readonly);

namespace {

class Database {
 public:
  Database(const std::string& path, const std::optional<DatabaseOptions>& options)
      : options_(options.value_or(DatabaseOptions())),
        connection_(std::make_shared<Connection>(path, options_.readonly.value_or(false))) {}

  std::shared_ptr<Statement> prepare(const std::string& sql,
                                     const zax::Cancellation& cancellation) const {
    const bool bigints = options_.bigints.value_or(false);
    return std::make_shared<Statement>(connection_, sql, bigints, cancellation);
  }

  void exec(const std::string& sql, const zax::Progress<Work>& progress,
            const zax::Cancellation& cancellation) const {
    const Turn turn(*connection_, progress, cancellation);
    turn.check(sqlite3_exec(turn.handle(), sql.c_str(), nullptr, nullptr, nullptr));
  }

  /// The connection ends with the last of its statements.
  void close() { connection_.reset(); }

 private:
  DatabaseOptions options_;
  std::shared_ptr<Connection> connection_;
};

}  // namespace

ZAX_MODULE(module) {
  module.type<Database>("Database", "A database: a file, or memory for the path \":memory:\".")
      .constructor<std::string, std::optional<DatabaseOptions>>({"path", "options"})
      .task("prepare", &Database::prepare, {"sql"}, "Compiles one statement.")
      .task("exec", &Database::exec, {"sql"}, "Runs statements that give nothing back.")
      .disposer("close", &Database::close, "Its statements can be used further.");
  module.type<Statement>("Statement", "A statement, made by Database.prepare.")
      .task("all", &Statement::all, {"parameters"}, "All rows that it finds.")
      .task("get", &Statement::get, {"parameters"}, "The first row that it finds.")
      .task("run", &Statement::run, {"parameters"}, "Runs it for what it changes.")
      .field("sql", &Statement::sql)
      .disposer("close", &Statement::close);
  module.value("sqliteVersion", sqlite3_libversion());
}
