// What the tests of types call: a class with a member of each kind, one that extends it, and what
// an author may do wrong.

#include <zax.h>

#include <atomic>
#include <chrono>
#include <functional>
#include <stdexcept>
#include <thread>

namespace {

class Store : public std::enable_shared_from_this<Store> {
 public:
  explicit Store(std::string name, std::optional<int> size = {})
      : name(std::move(name)), size_(size.value_or(0)) {
    if (size_ < 0) throw std::invalid_argument("a size below zero");
    ++living;
  }
  Store(const Store&) = delete;
  virtual ~Store() { --living; }

  int add(int more) { return size_ += more; }
  int size() const noexcept { return size_; }
  void size(int size) { size_ = size; }
  Store& self() { return *this; }
  std::shared_ptr<Store> shared() { return shared_from_this(); }
  void each(const std::function<void(int)>& visit) const {
    for (int i = 0; i < size_; ++i) visit(i);
  }
  /// Fails where another task or thread uses the object meanwhile.
  int work(int milliseconds, const zax::Progress<int>& progress,
           const zax::Cancellation& cancellation) {
    if (used_.exchange(true)) throw std::logic_error("used by two");
    for (int i = 0; i < milliseconds && !cancellation.requested(); ++i) {
      progress(i);
      std::this_thread::sleep_for(std::chrono::milliseconds(1));
    }
    used_ = false;
    cancellation.check();
    return ++size_;
  }
  void close() const {
    if (name == "stubborn") throw std::runtime_error("not yet");
    if (onClose_) onClose_();
  }
  void whenClosed(std::function<void()> call) { onClose_ = std::move(call); }
  std::size_t externalBytes() const { return size_ * std::size_t(1 << 20); }

  static inline std::atomic<int> living{0};
  std::string name;
  const int fixed = 7;

 private:
  std::atomic<int> size_;  // peek reads it beside work
  std::atomic<bool> used_{false};
  std::function<void()> onClose_;
};

struct Other {
  virtual ~Other() = default;
  int other = 3;
};

/// A Store that does not lie where the whole object does.
class Large : public Other, public Store {
 public:
  Large() : Store("large", 4) {}
  int twice() const { return 2 * size(); }
};

/// Of a class that no script constructs, and that nobody shares before `number` asks for it.
class Plain {
 public:
  explicit Plain(int number) : number(number) {}
  int number;
};

class Unknown {
 public:
  Unknown() = default;

 private:
  [[maybe_unused]] int number_ = 0;
};

struct Late : Other {};

/// Of a name that is TypeScript's.
struct Record {
  std::shared_ptr<Store> store;
  std::optional<Plain> plain;
};

/// What an author may say wrong.
constexpr void (*mistakes[])(zax::Module& module) = {
    [](zax::Module& module) {
      module.type<Other>("Other");
      module.type<Other>("Again");
    },
    [](zax::Module& module) { module.type<Late>("Late").extends<Other>(); },
    [](zax::Module& module) {
      module.type<Other>("Other").field("x", &Other::other).field("x", &Other::other);
    },
    [](zax::Module& module) { module.function("take", [](const Unknown&) {}); },
    [](zax::Module& module) {
      module.type<Other>("Other").method("take", [](const Other&, const Unknown&) {});
    },
    [](zax::Module& module) { module.function("give", [] { return std::optional<Unknown>(); }); },
};

std::shared_ptr<Store> kept;
Store unheld("unheld");

void addValues(zax::Module&& values) {
  using Stores = std::vector<std::shared_ptr<Store>>;
  values.function("size", [](const Store& store) { return store.size(); }, {"store"});
  values.function("maybe", [](Store* store) { return store; });
  values.function("unheld", []() -> Store& { return unheld; });
  values.function("none", [] { return std::unique_ptr<Store>(); });
  values.function("stores", [](Stores stores) { return stores; });
  values.function("holder", [](Record holder) { return holder; });
  values.function("plain", [](int number) { return Plain(number); });
  values.function("number", [](std::shared_ptr<Plain> plain) { return plain->number; });
  values.function("large", []() -> std::unique_ptr<Store> { return std::make_unique<Large>(); });
  values.function("keep", [](std::shared_ptr<Store> store) { kept = std::move(store); });
  values.function("kept", [] { return std::exchange(kept, nullptr); });
  values.function("living", [] { return Store::living - 1; });
  values.task("both", [](Store& a, Store& b, int milliseconds) {
    return a.work(milliseconds, {}, {}) + b.work(milliseconds, {}, {});
  });
  values.function("mistake", [](unsigned which) {
    zax::loadModule(zax::backend, zax::Handle::object().get(), mistakes[which]);
  });
}

}  // namespace

ZAX_FIELDS(Record, store, plain);

void addClasses(zax::Module&& module) {
  addValues(module.object("values"));
  module.type<Store>("Store", "Has a size.")
      .constructor<const std::string&, std::optional<int>>({"name", "size"})
      .method("add", &Store::add, {"more"}, "Grows.")
      .method("self", &Store::self)
      .method("shared", &Store::shared)
      .method("each", &Store::each)
      .method("whenClosed", &Store::whenClosed)
      .method("isSame", [](const Store& store, const Store& other) { return &store == &other; })
      .property("size", zax::overload<>(&Store::size), zax::overload<int>(&Store::size),
                "How much it has.")
      .field("name", &Store::name)
      .field("fixed", &Store::fixed)
      .task("work", &Store::work, {"milliseconds"})
      .concurrentTask("peek",
                      [](const Store& store, int milliseconds) {
                        std::this_thread::sleep_for(std::chrono::milliseconds(milliseconds));
                        return store.size();
                      })
      .staticFunction("open",
                      [](const std::string& name) { return std::make_shared<Store>(name, 9); })
      .disposer("close", &Store::close);
  module.type<Large>("Large").constructor().extends<Store>().method("twice", &Large::twice);
  module.type<Plain>("Point")
      .method("call", [](const Plain&, const std::function<void()>& call) { call(); })
      .task("add", [](Plain& plain, int more) { return plain.number += more; })
      .field("number", &Plain::number);
}
