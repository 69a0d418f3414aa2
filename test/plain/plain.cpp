// What the tests of the plain road call: each type of values there and back, and functions that do
// what authors' functions do, good and bad.

#include <zax.h>

#include <atomic>
#include <cstring>
#include <deque>
#include <filesystem>
#include <functional>
#include <future>
#include <list>
#include <map>
#include <set>
#include <thread>
#include <unordered_map>

struct Point {
  double x;
  std::optional<long> y;
  bool on;
};
ZAX_FIELDS(Point, x, y, on);

// Of the same name in declarations, if they did not take care.
namespace other {
struct Point {
  int z;
};
}  // namespace other
ZAX_FIELDS(other::Point, z);

// Alternatives that look alike: what fails in one is tried in the other.
struct Node {
  std::vector<std::variant<Node, std::optional<Node>>> nodes;
};
ZAX_FIELDS(Node, nodes);

enum class Color { red, green = 7 };
ZAX_ENUM(Color, red, green);

namespace {

using Either = std::variant<bool, std::string, std::list<double>>;
using Rows = std::vector<std::tuple<std::optional<Point>, Either, Color>>;

std::atomic<int> destroyed{0};
std::vector<std::function<void()>> keptFunctions;
zax::Bytes keptBytes;

Node nested(int depth) {
  Node node;
  if (depth > 0) node.nodes.emplace_back(nested(depth - 1));
  return node;
}

void fail(const std::string& how, const std::string& text) {
  zax::DebugInfo place = ZAX_DEBUG_INFO;
  if (how == "traced") place.callstack.collect();
  const bool isOwn = how == "zax" || how == "traced";
  if (isOwn) throw zax::Exception("EZAX", __("no %(what)s", "what", text), place);
  if (how == "system") throw std::system_error(EACCES, std::generic_category(), text);
  if (how == "stream") throw std::system_error(std::make_error_code(std::io_errc::stream), text);
  if (how == "file") (void)std::filesystem::file_size(text);
  if (how == "std") throw std::runtime_error(text);
  if (how == "huge") throw std::runtime_error(std::string(600'000'000, 'x'));
  if (how == "int") throw 42;
  if (how == "text") throw "a text";
}

/// Tells whether native memory of calls is left.
struct Counted {
  Counted() { ++living; }
  Counted(const Counted& /*other*/) { ++living; }
  ~Counted() { --living; }
  static inline std::atomic<int> living{0};
};

}  // namespace

template <>
struct zax::Value<Counted> {
  static Counted from(zax::Handle /*value*/) { return {}; }
  static zax::Handle to(const Counted& /*value*/) { return zax::Handle::undefined(); }
};

namespace {

template <typename... T>
void same(zax::Module& module, std::initializer_list<const char*> names) {
  const char* const* name = names.begin();
  (module.function(*name++, [](T value) { return value; }, {"value"}), ...);
}

void addTypes(zax::Module&& ids) {
  same<bool, int, unsigned, long, std::uint64_t, double, float>(
      ids, {"bool", "int", "unsigned", "long", "ulong", "double", "float"});
  same<zax::BigInt64, zax::BigUint64, std::string, std::string_view, std::filesystem::path, Color>(
      ids, {"bigInt", "bigUint", "string", "view", "path", "color"});
  same<std::vector<double>, std::vector<long>, std::vector<bool>, std::deque<std::optional<int>>>(
      ids, {"doubles", "longs", "bools", "optionals"});
  same<std::set<double>, std::array<std::string_view, 20>, std::pair<int, std::string>, Either>(
      ids, {"set", "views", "pair", "either"});
  same<std::map<std::string, int>, std::map<double, std::string>, Point, std::vector<Point>>(
      ids, {"map", "numbers", "point", "points"});
  same<Node, std::unordered_map<std::string, Rows>, zax::Handle, std::vector<zax::Handle>>(
      ids, {"node", "composed", "any", "handles"});
  same<zax::Bytes, std::vector<std::uint8_t>, zax::TypedArray<double>, std::optional<int>>(
      ids, {"bytes", "copy", "float64", "optional"});
  using namespace std::chrono;
  same<system_clock::time_point, seconds, nanoseconds, duration<double>>(
      ids, {"date", "seconds", "nanoseconds", "duration"});
}

void addFunctions(zax::Module& module) {
  module.function(
      "add", [](int a, std::optional<int> b) { return a + b.value_or(10); }, {"a", "in"},
      "The sum.\nOf two */ numbers.");
  module.function("nothing", [] {});
  module.function("ninth", [](int, int, int, int, int, int, int, int, Point p) { return p.x; });
  module.function("make-text", [](unsigned char code, unsigned times) {
    return std::vector<std::string>{"", std::string(times, static_cast<char>(code))};
  });
  module.function("zeros", [](double size) { return zax::Bytes(static_cast<std::size_t>(size)); });
  module.function("bits", [](unsigned size) { return std::vector<bool>(size); });
  module.function("owned", [](const std::string& text) {
    return zax::OwnedBytes(strdup(text.c_str()), text.size(), std::free);
  });
  module.function("nested", nested);
  module.function("other", [](other::Point point) { return point.z; });
  module.function("set", [](zax::Handle object, zax::Handle key) { object.set(key, key); });
  module.function("kinds", [](zax::Handle of) {
    return std::vector<bool>{of.isUndefined(), of.isNull(),   of.isBoolean(),  of.isNumber(),
                             of.isBigInt(),    of.isString(), of.isFunction(), of.isArray(),
                             of.isMap(),       of.isObject()};
  });
  module.function("fail", fail, {"how", "text"});
  module.function("destroyed", [] { return destroyed.load(); });
}

void addCallbacks(zax::Module& module) {
  using Function = std::function<std::string(const std::string&, std::optional<int>)>;
  module.function("apply", [](const Function& f, const std::string& text) { return f(text, 1); },
                  {"f", "text"});
  module.function("swallow", [](const std::function<int()>& f, const std::string& how) {
    try {
      f();
    } catch (const std::exception& e) {
      fail(how, e.what());
    }
    return std::vector<Point>(20);
  });
  module.function("keep", [](std::function<void()> f, zax::Bytes bytes) {
    keptFunctions.push_back(std::move(f));
    keptBytes = std::move(bytes);
  });
  module.function("callKept", [] { keptFunctions.back()(); });
  module.function("callElsewhere", [](const std::function<void(Point)>& f) {
    std::async(std::launch::async, f, Point()).get();
  });
  module.function("release", [] {
    std::async(std::launch::async, [] { keptFunctions.clear(); }).get();
    return keptBytes.data()[0];
  });
}

/// Posts the numbers below `count`, and returns it.
int countTo(int count, const Counted& /*counted*/, const zax::Progress<int>& progress) {
  for (int i = 0; i < count; ++i) progress(i);
  return count;
}

/// Throws once it is cancelled, without looking before.
void awaitCancellation(const zax::Cancellation& cancellation) {
  std::promise<void> promise;
  const zax::CancellationCallback wake(cancellation, [&]() noexcept { promise.set_value(); });
  promise.get_future().wait();
  cancellation.check();
}

/// Works until it is cancelled, or has posted `steps` numbers; below 0 it only waits for that.
Counted work(int steps, zax::Progress<int> progress, const zax::Cancellation& cancellation,
             const Counted& counted) {
  if (steps < 0) awaitCancellation(cancellation);
  for (int step = 0; step < steps; ++step) {
    cancellation.check();
    progress(step);
    std::this_thread::sleep_for(std::chrono::milliseconds(1));
  }
  return counted;
}

std::atomic<bool> silent{false};

/// Two threads post, and go on when the task is over, until they are told to be silent.
void outlive(zax::Progress<std::string> progress) {
  for (const char* name : {"a", "b"}) {
    std::thread([progress, name] {
      while (!silent) progress(name);
    }).detach();
  }
  std::this_thread::sleep_for(std::chrono::milliseconds(20));
}

void addTasks(zax::Module&& tasks) {
  using Given = std::tuple<std::string_view, zax::Bytes, std::optional<Point>, Either>;
  tasks.task("give", [](const std::string_view& view, zax::Bytes bytes, std::optional<Point> point,
                        Either either) { return Given(view, bytes, point, either); });
  tasks.task("fail", fail, {"how", "text"});
  tasks.task("cancelled", [] { throw zax::Cancelled(); });
  tasks.task("count", countTo, {"count", "counted"}, "Counts.");
  tasks.task("work", work);
  tasks.task("outlive", outlive);
  tasks.function("silence", [] { silent = true; });
  tasks.task("far", [](const zax::Progress<long>& progress) {
    for (const long number : {1L, 1L << 60, 2L}) progress(number);
  });
  tasks.function("living", [] { return Counted::living.load(); });
}

/// Adds a cell of its type to a table; a number without fraction as an integer, and a bigint that
/// is too large for a number too.
struct AddCell {
  void operator()(std::nullptr_t) const { table.addNull(); }
  void operator()(bool value) const { table.addBoolean(value); }
  void operator()(std::int64_t value) const { table.addInteger(value); }
  void operator()(double value) const { table.addNumber(value); }
  void operator()(zax::BigInt64 value) const {
    if (value.value >> 53) return table.addInteger(value.value);
    table.addBigInt(value.value);
  }
  void operator()(const std::string& value) const { table.addText(value); }
  void operator()(const zax::Bytes& value) const { table.addBytes(value.data(), value.size()); }

  zax::Table& table;
};

using Cell = std::variant<std::nullptr_t, bool, zax::BigInt64, std::int64_t, double, std::string,
                          zax::Bytes>;

zax::Table makeTable(const std::vector<std::string>& columns, const std::vector<Cell>& cells,
                     int times) {
  zax::Table table(columns);
  for (int i = 0; i < times; ++i) {
    for (const Cell& cell : cells) std::visit(AddCell{table}, cell);
  }
  return table;
}

}  // namespace

/// In types.cpp.
void addClasses(zax::Module&& module);

ZAX_MODULE(module) {
  if (std::getenv("PLAIN_FAILS")) fail("zax", "body");
  addTypes(module.object("same", "Each type there and back."));
  addFunctions(module);
  addCallbacks(module);
  addTasks(module.object("tasks"));
  addClasses(module.object("types"));
  module.function("table", makeTable, {"columns", "cells", "times"});
  const auto destroy = [](const int* value) { delete value, ++destroyed; };
  module.function("counted", [value = std::shared_ptr<int>(new int, destroy)] { (void)value; });
  module.value("default", std::map<std::string, int>{{"most", 5}});
}
