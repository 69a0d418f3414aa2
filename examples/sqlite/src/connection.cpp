#include "connection.h"

#include <chrono>

#include "codes.h"

namespace {

constexpr int interval = 50'000;  // instructions between two calls of the progress handler: some ms
constexpr std::chrono::milliseconds pollTime(20);

}  // namespace

void fail(sqlite3* handle) {
  const char* code = nameOfCode(handle ? sqlite3_extended_errcode(handle) : SQLITE_NOMEM);
  const char* message = handle ? sqlite3_errmsg(handle) : "out of memory";
  throw zax::Exception(code, __("%(message)s", "message", message), ZAX_DEBUG_INFO);
}

Connection::Connection(const std::string& path, bool readonly) {
  const int mode = readonly ? SQLITE_OPEN_READONLY : SQLITE_OPEN_READWRITE | SQLITE_OPEN_CREATE;
  // Turns do what SQLite's own locks would do at each of its calls.
  const int flags = mode | SQLITE_OPEN_NOMUTEX | SQLITE_OPEN_URI;
  if (sqlite3_open_v2(path.c_str(), &handle_, flags, nullptr) != SQLITE_OK) {
    const std::unique_ptr<sqlite3, int (*)(sqlite3*)> opened(handle_, sqlite3_close);
    fail(handle_);
  }
  sqlite3_extended_result_codes(handle_, 1);
}

Connection::~Connection() {
  finalizeRetired();
  sqlite3_close(handle_);
}

void Connection::retire(sqlite3_stmt* statement) {
  {
    const std::lock_guard<std::mutex> lock(retiring_);
    retired_.push_back(statement);
  }
  const std::unique_lock<std::timed_mutex> turn(turn_, std::try_to_lock);
  if (turn) finalizeRetired();
}

void Connection::finalizeRetired() {
  const std::lock_guard<std::mutex> lock(retiring_);
  for (sqlite3_stmt* statement : retired_) sqlite3_finalize(statement);
  retired_.clear();
}

std::unique_lock<std::timed_mutex> Connection::waitForTurn(const zax::Cancellation& cancellation) {
  std::unique_lock<std::timed_mutex> lock(turn_, std::defer_lock);
  while (!lock.try_lock_for(pollTime)) cancellation.check();
  return lock;
}

Turn::Turn(Connection& connection, const zax::Progress<Work>& progress,
           const zax::Cancellation& cancellation)
    : connection_(connection),
      progress_(progress),
      cancellation_(cancellation),
      lock_(connection.waitForTurn(cancellation)),
      interrupt_(cancellation, [this]() noexcept { sqlite3_interrupt(handle()); }) {
  sqlite3_progress_handler(handle(), interval, onProgress, this);
}

Turn::~Turn() {
  sqlite3_progress_handler(handle(), 0, nullptr, nullptr);
  connection_.finalizeRetired();
}

bool Turn::step(sqlite3_stmt* statement) {
  cancellation_.check();
  const int result = sqlite3_step(statement);
  if (result != SQLITE_ROW && result != SQLITE_DONE) stop(result);
  work_.rows += result == SQLITE_ROW ? 1 : 0;
  return result == SQLITE_ROW;
}

void Turn::stop(int result) const {
  if (result == SQLITE_INTERRUPT) cancellation_.check();
  fail(handle());
}

int Turn::onProgress(void* turn) {
  Turn& self = *static_cast<Turn*>(turn);
  self.work_.instructions += interval;
  self.progress_(self.work_);
  // SQLite forgets an interrupt that comes before the statement's first step.
  return self.cancellation_.requested() ? 1 : 0;
}
