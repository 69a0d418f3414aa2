#ifndef SQLITE_EXAMPLE_CONNECTION_H
#define SQLITE_EXAMPLE_CONNECTION_H

#include <sqlite3.h>
#include <zax.h>

#include <cstdint>
#include <mutex>
#include <string>
#include <vector>

/// How far a statement has come.
struct Work {
  std::int64_t instructions = 0;  ///< of SQLite's virtual machine
  std::int64_t rows = 0;          ///< found
};
ZAX_FIELDS(Work, instructions, rows);

/// A connection to a database. A Database and its Statements share it; what they do with it they do
/// in a Turn, one after another, on any thread.
class Connection {
 public:
  Connection(const std::string& path, bool readonly);
  ~Connection();
  Connection(const Connection&) = delete;
  Connection& operator=(const Connection&) = delete;

  /// Finalizes a statement that nobody uses any more, at once or when the turn of another has
  /// ended: the JavaScript thread waits for none.
  void retire(sqlite3_stmt* statement);

 private:
  friend class Turn;

  void finalizeRetired();
  std::unique_lock<std::timed_mutex> waitForTurn(const zax::Cancellation& cancellation);

  sqlite3* handle_ = nullptr;
  std::timed_mutex turn_;
  std::mutex retiring_;  ///< guards what follows
  std::vector<sqlite3_stmt*> retired_;
};

/// Throws what the last call on a connection has failed with.
[[noreturn]] void fail(sqlite3* handle);

/// The time within which a connection belongs to one thread. SQLite's progress handler tells how
/// far its statement has come. Where its task is cancelled the statement is interrupted, and none
/// of a later turn.
class Turn {
 public:
  /// Waits for the turns of others. Throws zax::Cancelled.
  Turn(Connection& connection, const zax::Progress<Work>& progress,
       const zax::Cancellation& cancellation);
  ~Turn();
  Turn(const Turn&) = delete;
  Turn& operator=(const Turn&) = delete;

  sqlite3* handle() const { return connection_.handle_; }

  /// Takes the result of a call that should have succeeded.
  void check(int result) const {
    if (result != SQLITE_OK) stop(result);
  }

  /// Whether the statement has found another row.
  bool step(sqlite3_stmt* statement);

 private:
  [[noreturn]] void stop(int result) const;
  static int onProgress(void* turn);

  Connection& connection_;
  const zax::Progress<Work>& progress_;
  const zax::Cancellation& cancellation_;
  Work work_;
  const std::unique_lock<std::timed_mutex> lock_;
  const zax::CancellationCallback interrupt_;  // gone before others have the connection
};

#endif
