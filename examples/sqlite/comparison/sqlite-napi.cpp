#include <napi.h>
#include <sqlite3.h>

#include <atomic>
#include <chrono>
#include <cmath>
#include <cstdint>
#include <functional>
#include <memory>
#include <mutex>
#include <optional>
#include <stdexcept>
#include <string>
#include <string_view>
#include <utility>
#include <variant>
#include <vector>

#include "../src/codes.h"

// What the sources in ../src do, with node-addon-api: for the comparison in the README.

namespace {

constexpr std::int64_t maxSafeInteger = (1LL << 53) - 1;
constexpr int interval = 50'000;  // instructions between two calls of the progress handler: some ms
constexpr std::chrono::milliseconds pollTime(20);

// Errors, progress and cancellation.

class Failure : public std::runtime_error {
 public:
  Failure(std::string code, const std::string& message)
      : runtime_error(message), code(std::move(code)) {}

  const std::string code;
};

/// What a task throws when its signal has been aborted.
struct Cancelled {};

Napi::Error makeError(Napi::Env env, const std::string& code, const std::string& message) {
  Napi::Error error = Napi::Error::New(env, message);
  error.Set("code", code);
  return error;
}

Napi::Error refuse(Napi::Env env, const std::string& what) {
  return makeError(env, "EBADARG", what);
}

/// How far a statement has come.
struct Work {
  std::int64_t instructions = 0;  ///< of SQLite's virtual machine
  std::int64_t rows = 0;          ///< found
};

/// What a running task is told by its caller, and tells it.
struct Control {
  const std::atomic<bool>& cancelled;
  std::function<void(const Work&)> progress;  ///< empty where nobody listens

  void check() const {
    if (cancelled.load(std::memory_order_relaxed)) throw Cancelled();
  }
};

/// What may follow a task's arguments: `{ signal, onProgress }`.
class Options {
 public:
  Options(const Napi::CallbackInfo& info, std::size_t index, bool hasProgress)
      : cancelled_(std::make_shared<std::atomic<bool>>(false)) {
    if (info.Length() > index + 1) throw refuse(info.Env(), "too many arguments");
    const Napi::Value given = info[index];
    if (given.IsUndefined() || given.IsNull()) return;
    if (!given.IsObject()) throw refuse(info.Env(), "options: object expected");
    const auto options = given.As<Napi::Object>();
    const Napi::Array names = options.GetPropertyNames();
    for (std::uint32_t i = 0; i < names.Length(); ++i) {
      const std::string name = names.Get(i).As<Napi::String>();
      if (name == "signal" || (hasProgress && name == "onProgress")) continue;
      throw refuse(info.Env(), "unknown option " + name);
    }
    listen(options.Get("signal"));
    readProgress(options.Get("onProgress"));
  }

  bool cancelled() const { return *cancelled_; }
  const std::atomic<bool>& flag() const { return *cancelled_; }
  bool hasProgress() const { return !onProgress_.IsEmpty(); }
  Napi::Value reason() const { return signal_.Get("reason"); }

  void callOnProgress(Napi::Env env, const Work& work) const {
    const Napi::Object value = Napi::Object::New(env);
    value.Set("instructions", static_cast<double>(work.instructions));
    value.Set("rows", static_cast<double>(work.rows));
    onProgress_.Call({value});
  }

  void unlisten() {
    if (signal_.IsEmpty()) return;
    const Napi::Object signal = signal_.Value();
    const auto remove = signal.Get("removeEventListener").As<Napi::Function>();
    remove.Call(signal, {Napi::String::New(signal.Env(), "abort"), listener_.Value()});
  }

 private:
  void listen(const Napi::Value& given) {
    if (given.IsUndefined()) return;
    if (!given.IsObject() || !given.As<Napi::Object>().Get("addEventListener").IsFunction()) {
      throw refuse(given.Env(), "signal: AbortSignal expected");
    }
    const auto signal = given.As<Napi::Object>();
    if (signal.Get("aborted").ToBoolean()) *cancelled_ = true;
    const auto abort = [flag = cancelled_](const Napi::CallbackInfo&) { *flag = true; };
    const Napi::Function listener = Napi::Function::New(given.Env(), abort);
    const auto add = signal.Get("addEventListener").As<Napi::Function>();
    add.Call(signal, {Napi::String::New(given.Env(), "abort"), listener});
    signal_ = Napi::Persistent(signal);
    listener_ = Napi::Persistent(listener);
  }

  void readProgress(const Napi::Value& given) {
    if (given.IsUndefined()) return;
    if (!given.IsFunction()) throw refuse(given.Env(), "onProgress: function expected");
    onProgress_ = Napi::Persistent(given.As<Napi::Function>());
  }

  std::shared_ptr<std::atomic<bool>> cancelled_;
  Napi::ObjectReference signal_;
  Napi::FunctionReference listener_;
  Napi::FunctionReference onProgress_;
};

/// Runs on the thread pool while JavaScript awaits a promise.
template <typename Result>
class Task : public Napi::AsyncProgressQueueWorker<Work> {
  using Base = Napi::AsyncProgressQueueWorker<Work>;

 public:
  using Run = std::function<Result(const Control&)>;
  using Convert = std::function<Napi::Value(Napi::Env, Result&)>;

  static Napi::Value start(Napi::Env env, Options options, Run run, Convert convert) {
    auto* task = new Task(env, std::move(options), std::move(run), std::move(convert));
    task->Queue();
    return task->deferred_.Promise();
  }

 private:
  Task(Napi::Env env, Options options, Run run, Convert convert)
      : Base(env),
        deferred_(Napi::Promise::Deferred::New(env)),
        options_(std::move(options)),
        run_(std::move(run)),
        convert_(std::move(convert)) {}

  void Execute(const typename Base::ExecutionProgress& progress) override {
    Control control{options_.flag(), {}};
    if (options_.hasProgress()) {
      control.progress = [&](const Work& work) { progress.Send(&work, 1); };
    }
    try {
      control.check();
      result_.emplace(run_(control));
    } catch (const Cancelled&) {
      isCancelled_ = true;
      SetError("cancelled");
    } catch (const Failure& failure) {
      code_ = failure.code;
      SetError(failure.what());
    } catch (const std::exception& e) {
      code_ = "EUNKNOWN";
      SetError(e.what());
    }
  }

  void OnProgress(const Work* work, std::size_t count) override {
    const Napi::HandleScope scope(Env());
    for (std::size_t i = 0; work && i < count; ++i) options_.callOnProgress(Env(), work[i]);
  }

  void OnOK() override {
    const Napi::HandleScope scope(Env());
    options_.unlisten();
    try {
      deferred_.Resolve(convert_(Env(), *result_));
    } catch (const Napi::Error& error) {
      deferred_.Reject(error.Value());
    }
  }

  void OnError(const Napi::Error& error) override {
    const Napi::HandleScope scope(Env());
    options_.unlisten();
    if (isCancelled_) return deferred_.Reject(options_.reason());
    deferred_.Reject(makeError(Env(), code_, error.Message()).Value());
  }

  Napi::Promise::Deferred deferred_;
  Options options_;
  Run run_;
  Convert convert_;
  std::optional<Result> result_;
  std::string code_;
  bool isCancelled_ = false;
};

/// Runs what a task's call does; what is thrown on the way rejects a promise.
template <typename Call>
Napi::Value promise(const Napi::CallbackInfo& info, const Call& call) {
  try {
    return call();
  } catch (const Napi::Error& error) {
    const auto deferred = Napi::Promise::Deferred::New(info.Env());
    deferred.Reject(error.Value());
    return deferred.Promise();
  }
}

std::string toText(const Napi::CallbackInfo& info, std::size_t index, const char* name) {
  if (info[index].IsString()) return info[index].As<Napi::String>();
  throw refuse(info.Env(), std::string(name) + ": string expected");
}

// The connection.

/// A connection to a database. A Database and its Statements share it; what they do with it they do
/// in a Turn, one after another, on any thread.
class Connection {
 public:
  Connection(const std::string& path, bool readonly) {
    const int mode = readonly ? SQLITE_OPEN_READONLY : SQLITE_OPEN_READWRITE | SQLITE_OPEN_CREATE;
    // Turns do what SQLite's own locks would do at each of its calls.
    const int flags = mode | SQLITE_OPEN_NOMUTEX | SQLITE_OPEN_URI;
    if (sqlite3_open_v2(path.c_str(), &handle_, flags, nullptr) != SQLITE_OK) {
      const std::unique_ptr<sqlite3, int (*)(sqlite3*)> opened(handle_, sqlite3_close);
      fail();
    }
    sqlite3_extended_result_codes(handle_, 1);
  }

  ~Connection() {
    finalizeRetired();
    sqlite3_close(handle_);
  }
  Connection(const Connection&) = delete;
  Connection& operator=(const Connection&) = delete;

  /// Finalizes a statement that nobody uses any more, at once or when the turn of another has
  /// ended: the JavaScript thread waits for none.
  void retire(sqlite3_stmt* statement) {
    {
      const std::lock_guard<std::mutex> lock(retiring_);
      retired_.push_back(statement);
    }
    const std::unique_lock<std::timed_mutex> turn(turn_, std::try_to_lock);
    if (turn) finalizeRetired();
  }

  /// Throws what the last call has failed with.
  [[noreturn]] void fail() const {
    if (!handle_) throw Failure("SQLITE_NOMEM", "out of memory");
    throw Failure(nameOfCode(sqlite3_extended_errcode(handle_)), sqlite3_errmsg(handle_));
  }

 private:
  friend class Turn;

  void finalizeRetired() {
    const std::lock_guard<std::mutex> lock(retiring_);
    for (sqlite3_stmt* statement : retired_) sqlite3_finalize(statement);
    retired_.clear();
  }

  sqlite3* handle_ = nullptr;
  std::timed_mutex turn_;
  std::mutex retiring_;  ///< guards what follows
  std::vector<sqlite3_stmt*> retired_;
};

/// The time within which a connection belongs to one thread. SQLite's progress handler tells how
/// far its statement has come and ends it where its task is cancelled.
class Turn {
 public:
  Turn(Connection& connection, const Control& control)
      : connection_(connection), control_(control) {
    while (!connection.turn_.try_lock_for(pollTime)) control.check();
    sqlite3_progress_handler(handle(), interval, onProgress, this);
  }
  ~Turn() {
    sqlite3_progress_handler(handle(), 0, nullptr, nullptr);
    connection_.finalizeRetired();
    connection_.turn_.unlock();
  }
  Turn(const Turn&) = delete;
  Turn& operator=(const Turn&) = delete;

  sqlite3* handle() const { return connection_.handle_; }

  /// Takes the result of a call that should have succeeded.
  void check(int result) const {
    if (result != SQLITE_OK) stop(result);
  }

  /// Whether the statement has found another row.
  bool step(sqlite3_stmt* statement) {
    control_.check();
    const int result = sqlite3_step(statement);
    if (result != SQLITE_ROW && result != SQLITE_DONE) stop(result);
    work_.rows += result == SQLITE_ROW ? 1 : 0;
    return result == SQLITE_ROW;
  }

 private:
  [[noreturn]] void stop(int result) const {
    if (result == SQLITE_INTERRUPT) control_.check();
    connection_.fail();
  }

  static int onProgress(void* turn) {
    Turn& self = *static_cast<Turn*>(turn);
    self.work_.instructions += interval;
    if (self.control_.progress) self.control_.progress(self.work_);
    return self.control_.cancelled ? 1 : 0;
  }

  Connection& connection_;
  const Control& control_;
  Work work_;
};

// Values.

void checkSafe(std::int64_t value) {
  if (value >= -maxSafeInteger && value <= maxSafeInteger) return;
  throw Failure("EOVERFLOW", std::to_string(value) +
                                 " is beyond what a number holds exactly; the option bigints "
                                 "gives bigints");
}

Napi::Value integerToJs(Napi::Env env, std::int64_t value, bool bigints) {
  if (bigints) return Napi::BigInt::New(env, value);
  return Napi::Number::New(env, static_cast<double>(value));
}

using Bytes = std::vector<std::uint8_t>;
using Cell = std::variant<std::nullptr_t, std::int64_t, double, std::string, Bytes>;

Cell parameterFrom(const Napi::Value& value) {
  if (value.IsNull()) return nullptr;
  if (value.IsString()) return value.As<Napi::String>().Utf8Value();
  if (value.IsNumber()) {
    const double number = value.As<Napi::Number>();
    const bool whole = std::trunc(number) == number && std::abs(number) <= maxSafeInteger;
    return whole ? Cell(static_cast<std::int64_t>(number)) : Cell(number);
  }
  if (value.IsBigInt()) {
    bool lossless = false;
    const std::int64_t integer = value.As<Napi::BigInt>().Int64Value(&lossless);
    if (lossless) return integer;
  }
  if (value.IsTypedArray() && value.As<Napi::TypedArray>().TypedArrayType() == napi_uint8_array) {
    const auto bytes = value.As<Napi::Uint8Array>();
    return Bytes(bytes.Data(), bytes.Data() + bytes.ByteLength());
  }
  throw refuse(value.Env(),
               "parameters: null, number, bigint of 64 bits, string or bytes expected");
}

std::vector<Cell> parametersFrom(const Napi::Value& given) {
  std::vector<Cell> parameters;
  if (given.IsUndefined() || given.IsNull()) return parameters;
  if (!given.IsArray()) throw refuse(given.Env(), "parameters: array expected");
  const auto array = given.As<Napi::Array>();
  for (std::uint32_t i = 0; i < array.Length(); ++i) {
    parameters.push_back(parameterFrom(array.Get(i)));
  }
  return parameters;
}

/// Binds a value to a parameter, where it stays until the statement's bindings are cleared.
struct Bind {
  sqlite3_stmt* statement;
  int index;

  int operator()(std::nullptr_t) const { return sqlite3_bind_null(statement, index); }
  int operator()(double value) const { return sqlite3_bind_double(statement, index, value); }
  int operator()(std::int64_t value) const { return sqlite3_bind_int64(statement, index, value); }
  int operator()(const std::string& value) const {
    return sqlite3_bind_text64(statement, index, value.data(), value.size(), SQLITE_STATIC,
                               SQLITE_UTF8);
  }
  int operator()(const Bytes& value) const {
    const void* data = value.empty() ? static_cast<const void*>("") : value.data();
    return sqlite3_bind_blob64(statement, index, data, value.size(), SQLITE_STATIC);
  }
};

Cell cellOf(sqlite3_stmt* statement, int column, bool bigints) {
  const auto size = [&] { return sqlite3_column_bytes(statement, column); };
  switch (sqlite3_column_type(statement, column)) {
    case SQLITE_INTEGER: {
      const std::int64_t value = sqlite3_column_int64(statement, column);
      if (!bigints) checkSafe(value);
      return value;
    }
    case SQLITE_FLOAT:
      return sqlite3_column_double(statement, column);
    case SQLITE_TEXT: {
      const auto* text = reinterpret_cast<const char*>(sqlite3_column_text(statement, column));
      if (!text) throw std::bad_alloc();
      return std::string(text, size());
    }
    case SQLITE_BLOB: {
      const auto* data = static_cast<const std::uint8_t*>(sqlite3_column_blob(statement, column));
      return Bytes(data, data + size());
    }
    default:
      return nullptr;
  }
}

/// Makes a value of JavaScript.
struct Make {
  Napi::Env env;
  bool bigints;

  Napi::Value operator()(std::nullptr_t) const { return env.Null(); }
  Napi::Value operator()(double value) const { return Napi::Number::New(env, value); }
  Napi::Value operator()(std::int64_t value) const { return integerToJs(env, value, bigints); }
  Napi::Value operator()(const std::string& value) const { return Napi::String::New(env, value); }
  Napi::Value operator()(const Bytes& value) const {
    return Napi::Buffer<std::uint8_t>::Copy(env, value.data(), value.size());
  }
};

/// What a statement has found.
struct Rows {
  std::vector<std::string> columns;
  std::vector<Cell> cells;  ///< row after row
};

/// Makes the rows' objects with the columns' names as keys, which are made once.
class RowMaker {
 public:
  RowMaker(Napi::Env env, const Rows& rows, bool bigints) : rows_(rows), make_{env, bigints} {
    for (const std::string& name : rows.columns) keys_.push_back(Napi::String::New(env, name));
  }

  std::size_t count() const { return keys_.empty() ? 0 : rows_.cells.size() / keys_.size(); }

  Napi::Object row(std::size_t index) const {
    const Napi::Object object = Napi::Object::New(make_.env);
    const Cell* cell = &rows_.cells[index * keys_.size()];
    for (const Napi::String& key : keys_) object.Set(key, std::visit(make_, *cell++));
    return object;
  }

 private:
  const Rows& rows_;
  Make make_;
  std::vector<Napi::String> keys_;
};

Napi::Value arrayOf(Napi::Env env, const Rows& rows, bool bigints) {
  const RowMaker maker(env, rows, bigints);
  Napi::Array array = Napi::Array::New(env, maker.count());
  for (std::uint32_t i = 0; i < maker.count(); ++i) {
    const Napi::HandleScope scope(env);
    array.Set(i, maker.row(i));
  }
  return array;
}

// Statements.

/// What a statement has done to the database.
struct Changes {
  std::int64_t changes;
  std::int64_t lastInsertRowid;
};

/// A compiled statement; a Statement and its tasks share it.
struct Prepared {
  Prepared(std::shared_ptr<Connection> connection, std::string sql, bool bigints,
           const Control& control)
      : connection(std::move(connection)), sql(std::move(sql)), bigints(bigints) {
    const Turn turn(*this->connection, control);
    const char* text = this->sql.c_str();
    const char* rest;
    turn.check(
        sqlite3_prepare_v3(turn.handle(), text, -1, SQLITE_PREPARE_PERSISTENT, &statement, &rest));
    const bool whole = this->sql.find_first_not_of("; \t\r\n", rest - text) == std::string::npos;
    if (statement && whole) return;
    sqlite3_finalize(statement);
    throw Failure("EBADARG", "one statement expected, and nothing after it");
  }
  ~Prepared() { connection->retire(statement); }
  Prepared(const Prepared&) = delete;
  Prepared& operator=(const Prepared&) = delete;

  std::shared_ptr<Connection> connection;
  std::string sql;
  bool bigints;
  sqlite3_stmt* statement = nullptr;
};

/// One run of a statement, from its parameters to its last row.
class Execution {
 public:
  Execution(const Prepared& prepared, const std::vector<Cell>& parameters, const Control& control)
      : turn_(*prepared.connection, control),
        statement_(prepared.statement),
        bigints_(prepared.bigints) {
    const std::size_t expected = sqlite3_bind_parameter_count(statement_);
    if (parameters.size() != expected) {
      throw Failure("EBADARG", "the statement has " + std::to_string(expected) +
                                   " parameters, got " + std::to_string(parameters.size()));
    }
    for (std::size_t i = 0; i < expected; ++i) {
      turn_.check(std::visit(Bind{statement_, static_cast<int>(i + 1)}, parameters[i]));
    }
  }
  ~Execution() {
    sqlite3_reset(statement_);
    sqlite3_clear_bindings(statement_);
  }
  Execution(const Execution&) = delete;
  Execution& operator=(const Execution&) = delete;

  bool step() { return turn_.step(statement_); }

  /// No rows yet; after the first step, which may find the columns changed.
  Rows rows() const {
    Rows rows;
    for (int i = 0; i < sqlite3_column_count(statement_); ++i) {
      rows.columns.emplace_back(sqlite3_column_name(statement_, i));
    }
    return rows;
  }

  void addRow(Rows& rows) const {
    const auto columns = static_cast<int>(rows.columns.size());
    for (int i = 0; i < columns; ++i) rows.cells.push_back(cellOf(statement_, i, bigints_));
  }

  sqlite3* handle() const { return turn_.handle(); }

 private:
  Turn turn_;
  sqlite3_stmt* statement_;
  bool bigints_;
};

Rows findAll(const Prepared& prepared, const std::vector<Cell>& parameters,
             const Control& control) {
  Execution execution(prepared, parameters, control);
  bool found = execution.step();
  Rows rows = execution.rows();
  for (; found; found = execution.step()) execution.addRow(rows);
  return rows;
}

Rows findFirst(const Prepared& prepared, const std::vector<Cell>& parameters,
               const Control& control) {
  Execution execution(prepared, parameters, control);
  const bool found = execution.step();
  Rows rows = execution.rows();
  if (found) execution.addRow(rows);
  return rows;
}

Changes change(const Prepared& prepared, const std::vector<Cell>& parameters,
               const Control& control) {
  Execution execution(prepared, parameters, control);
  sqlite3* handle = execution.handle();
  const std::int64_t before = sqlite3_total_changes64(handle);
  while (execution.step()) continue;
  const bool changed = sqlite3_total_changes64(handle) > before;
  const std::int64_t rowid = sqlite3_last_insert_rowid(handle);
  if (!prepared.bigints) checkSafe(rowid);
  return {changed ? sqlite3_changes64(handle) : 0, rowid};
}

// The classes.

/// Lets `using` dispose of an object, where Node has that.
void addDispose(Napi::Function constructor) {
  const Napi::Env env = constructor.Env();
  const Napi::Value symbol = env.Global().Get("Symbol").As<Napi::Object>().Get("dispose");
  if (!symbol.IsSymbol()) return;
  const auto prototype = constructor.Get("prototype").As<Napi::Object>();
  prototype.Set(symbol, prototype.Get("close"));
}

class Statement : public Napi::ObjectWrap<Statement> {
 public:
  static Napi::Function define(Napi::Env env) {
    const Napi::Function constructor = DefineClass(
        env, "Statement",
        {InstanceMethod<&Statement::all>("all"), InstanceMethod<&Statement::get>("get"),
         InstanceMethod<&Statement::run>("run"), InstanceMethod<&Statement::close>("close"),
         InstanceAccessor<&Statement::sql>("sql")});
    addDispose(constructor);
    return constructor;
  }

  static Napi::Value make(Napi::Function constructor, std::shared_ptr<Prepared> prepared) {
    return constructor.New(
        {Napi::External<std::shared_ptr<Prepared>>::New(constructor.Env(), &prepared)});
  }

  explicit Statement(const Napi::CallbackInfo& info) : ObjectWrap(info) {
    if (!info[0].IsExternal()) {
      throw Napi::TypeError::New(info.Env(), "a Statement is made by Database.prepare");
    }
    prepared_ = *info[0].As<Napi::External<std::shared_ptr<Prepared>>>().Data();
  }

 private:
  template <typename Result>
  using Work = Result (*)(const Prepared&, const std::vector<Cell>&, const Control&);

  template <typename Result, typename Convert>
  Napi::Value start(const Napi::CallbackInfo& info, Work<Result> work, Convert convert) {
    return promise(info, [&] {
      const auto run = [work, prepared = opened(info.Env()), parameters = parametersFrom(info[0])](
                           const Control& control) { return work(*prepared, parameters, control); };
      const bool bigints = prepared_->bigints;
      return Task<Result>::start(info.Env(), Options(info, 1, true), run,
                                 [convert, bigints](Napi::Env env, Result& result) -> Napi::Value {
                                   return convert(env, result, bigints);
                                 });
    });
  }

  Napi::Value all(const Napi::CallbackInfo& info) { return start<Rows>(info, findAll, arrayOf); }

  Napi::Value get(const Napi::CallbackInfo& info) {
    const auto convert = [](Napi::Env env, const Rows& rows, bool bigints) -> Napi::Value {
      const RowMaker maker(env, rows, bigints);
      return maker.count() > 0 ? maker.row(0) : env.Undefined();
    };
    return start<Rows>(info, findFirst, convert);
  }

  Napi::Value run(const Napi::CallbackInfo& info) {
    const auto convert = [](Napi::Env env, const Changes& done, bool bigints) -> Napi::Value {
      const Napi::Object result = Napi::Object::New(env);
      result.Set("changes", static_cast<double>(done.changes));
      result.Set("lastInsertRowid", integerToJs(env, done.lastInsertRowid, bigints));
      return result;
    };
    return start<Changes>(info, change, convert);
  }

  Napi::Value sql(const Napi::CallbackInfo& info) {
    return Napi::String::New(info.Env(), opened(info.Env())->sql);
  }

  void close(const Napi::CallbackInfo&) { prepared_.reset(); }

  std::shared_ptr<Prepared> opened(Napi::Env env) const {
    if (!prepared_) throw makeError(env, "EDISPOSED", "the Statement has been disposed of");
    return prepared_;
  }

  std::shared_ptr<Prepared> prepared_;
};

/// What each environment has.
struct AddonData {
  Napi::FunctionReference statement;
};

class Database : public Napi::ObjectWrap<Database> {
 public:
  static Napi::Function define(Napi::Env env) {
    const Napi::Function constructor = DefineClass(
        env, "Database",
        {InstanceMethod<&Database::prepare>("prepare"), InstanceMethod<&Database::exec>("exec"),
         InstanceMethod<&Database::close>("close")});
    addDispose(constructor);
    return constructor;
  }

  explicit Database(const Napi::CallbackInfo& info) : ObjectWrap(info) {
    const std::string path = toText(info, 0, "path");
    bool readonly = false;
    if (!info[1].IsUndefined()) {
      if (!info[1].IsObject()) throw refuse(info.Env(), "options: object expected");
      const auto options = info[1].As<Napi::Object>();
      bigints_ = toBoolean(options, "bigints");
      readonly = toBoolean(options, "readonly");
    }
    try {
      connection_ = std::make_shared<Connection>(path, readonly);
    } catch (const Failure& failure) {
      throw makeError(info.Env(), failure.code, failure.what());
    }
  }

 private:
  static bool toBoolean(const Napi::Object& options, const char* name) {
    const Napi::Value value = options.Get(name);
    if (value.IsUndefined()) return false;
    if (!value.IsBoolean()) throw refuse(options.Env(), std::string(name) + ": boolean expected");
    return value.As<Napi::Boolean>();
  }

  Napi::Value prepare(const Napi::CallbackInfo& info) {
    using Made = std::shared_ptr<Prepared>;
    return promise(info, [&] {
      const auto run = [connection = opened(info.Env()), sql = toText(info, 0, "sql"),
                        bigints = bigints_](const Control& control) {
        return std::make_shared<Prepared>(connection, sql, bigints, control);
      };
      const auto convert = [](Napi::Env env, Made& made) {
        return Statement::make(env.GetInstanceData<AddonData>()->statement.Value(), made);
      };
      return Task<Made>::start(info.Env(), Options(info, 1, false), run, convert);
    });
  }

  Napi::Value exec(const Napi::CallbackInfo& info) {
    return promise(info, [&] {
      const auto run = [connection = opened(info.Env()),
                        sql = toText(info, 0, "sql")](const Control& control) {
        const Turn turn(*connection, control);
        turn.check(sqlite3_exec(turn.handle(), sql.c_str(), nullptr, nullptr, nullptr));
        return nullptr;
      };
      const auto convert = [](Napi::Env env, std::nullptr_t) { return env.Undefined(); };
      return Task<std::nullptr_t>::start(info.Env(), Options(info, 1, true), run, convert);
    });
  }

  void close(const Napi::CallbackInfo&) { connection_.reset(); }

  std::shared_ptr<Connection> opened(Napi::Env env) const {
    if (!connection_) throw makeError(env, "EDISPOSED", "the Database has been disposed of");
    return connection_;
  }

  bool bigints_ = false;
  std::shared_ptr<Connection> connection_;
};

Napi::Object initialize(Napi::Env env, Napi::Object exports) {
  const Napi::Function statement = Statement::define(env);
  env.SetInstanceData(new AddonData{Napi::Persistent(statement)});
  exports.Set("Database", Database::define(env));
  exports.Set("Statement", statement);
  exports.Set("sqliteVersion", sqlite3_libversion());
  return exports;
}

}  // namespace

NODE_API_MODULE(sqlite_napi, initialize)
