#ifndef ZAX_TASK_H
#define ZAX_TASK_H

#include <cstddef>
#include <exception>
#include <memory>
#include <new>
#include <optional>
#include <string>
#include <tuple>
#include <type_traits>
#include <utility>
#include <vector>

#include "zax-cancellation.h"
#include "zax-function.h"

// C++ callables that run on the thread pool while JavaScript awaits a promise. What need not be a
// template is compiled once, in zax-task.cpp.

namespace zax {

/// The way of a task's progress values to the JavaScript thread, in the order of posting. With
/// `capacity` of them waiting a poster waits too, until the JavaScript thread has taken them or the
/// way is closed. The JavaScript thread itself never waits.
class ProgressChannel {
 public:
  static constexpr std::size_t capacity = 16384;

  /// JavaScript thread.
  explicit ProgressChannel(ZaxTask* task);
  virtual ~ProgressChannel();
  ProgressChannel(const ProgressChannel&) = delete;
  ProgressChannel& operator=(const ProgressChannel&) = delete;

  /// JavaScript thread: converts up to `most` values and says in `*count` how many. Throws
  /// ConversionError for a value that has no form in JavaScript, which is then gone.
  virtual void take(ZaxValue** values, std::size_t most, std::size_t* count) = 0;

  /// JavaScript thread: from now on values are dropped, and nobody waits. When it returns, no other
  /// thread uses the task through this.
  void close();

 protected:
  /// Held where values change hands.
  class Lock {
   public:
    explicit Lock(ProgressChannel& channel);
    ~Lock();
    Lock(const Lock&) = delete;
    Lock& operator=(const Lock&) = delete;

   private:
    ProgressChannel& channel_;
  };

  // Under the lock, which the first two let go meanwhile.
  /// Whether a value may be added to the `waiting` ones; waits for room.
  bool makeRoom(const std::size_t& waiting);
  void wake();
  void madeRoom();

 private:
  struct State;  ///< with the lock, whose headers stay out of every author's build

  const std::unique_ptr<State> state_;
};

template <typename T>
class ProgressChannelOf : public ProgressChannel {
 public:
  using ProgressChannel::ProgressChannel;

  /// Any thread.
  void post(T&& value) {
    const Lock lock(*this);
    if (!makeRoom(collected_)) return;
    waiting_.push_back(std::move(value));
    if (++collected_ == 1) wake();
  }

  void take(ZaxValue** values, std::size_t most, std::size_t* count) override {
    for (; *count < most; ++*count) {
      if (next_ == taken_.size()) refill();
      if (taken_.empty()) return;
      T value = std::move(taken_[next_++]);
      values[*count] = to(std::move(value)).get();
    }
  }

 private:
  void refill() {
    taken_.clear();
    next_ = 0;
    const Lock lock(*this);
    taken_.swap(waiting_);
    collected_ = 0;
    madeRoom();
  }

  std::vector<T> waiting_;
  std::size_t collected_ = 0;  ///< the size of `waiting_`
  std::vector<T> taken_;       // of the JavaScript thread
  std::size_t next_ = 0;       // in `taken_`
};

/// A parameter of a task, which JavaScript does not see: `progress(value)` hands a value to the
/// caller's onProgress. Every value that is posted before the task ends is delivered, in order and
/// before the promise settles. Without an onProgress a call does nothing. With 16,384 values
/// waiting a call waits for the JavaScript thread to take them. Copies share all this, on any
/// thread; what they post after the task's end is dropped.
template <typename T>
class Progress {
 public:
  /// One that nobody listens to.
  Progress() = default;
  explicit Progress(std::shared_ptr<ProgressChannelOf<T>> channel) : channel_(std::move(channel)) {}

  /// Whether anybody listens.
  explicit operator bool() const { return channel_ != nullptr; }

  void operator()(T value) const {
    if (channel_) channel_->post(std::move(value));
  }

 private:
  std::shared_ptr<ProgressChannelOf<T>> channel_;
};

/// What the caller of a task may give after its parameters; empty handles for what was not given.
struct TaskOptions {
  Handle signal;
  Handle onProgress;
};

/// The options of a call, whose conversion begins; `hasProgress`: whether the task has progress.
/// Throws BadArgument.
TaskOptions readTaskOptions(Invocation& invocation, int position, bool hasProgress);

/// `{ signal?: AbortSignal; ... }`; a null `progress` is that of a task without.
std::string declareTaskOptions(std::string (*progress)());

/// One call of a task, from its start to its settlement. Made and destroyed on the JavaScript
/// thread; work() runs on a thread of the pool.
class TaskCall : public ZaxTask {
 public:
  TaskCall(const TaskCall&) = delete;
  TaskCall& operator=(const TaskCall&) = delete;
  virtual ~TaskCall() = default;

  static void* operator new(std::size_t size);
  static void* operator new(std::size_t size, std::align_val_t alignment);
  static void operator delete(void* memory, std::size_t size) noexcept;
  static void operator delete(void* memory, std::size_t size, std::align_val_t alignment) noexcept;

  /// Hands the call over to the backend, with the instances that it uses, which may be null;
  /// `exclusive`: not beside other tasks of theirs. Returns the promise.
  static ZaxValue* start(std::unique_ptr<TaskCall> call, const TaskOptions& options, Uses* uses,
                         bool exclusive);

 protected:
  explicit TaskCall(const Function& function);

  /// Runs the callable and keeps what it returns.
  virtual void work() = 0;
  /// What it has returned as a JavaScript value.
  virtual Handle convert() = 0;

  std::shared_ptr<CancellationState> cancellation_;  ///< null where the callable does not ask
  std::shared_ptr<ProgressChannel> progress_;        ///< null where nobody listens

 private:
  ZaxValue* resultOf();

  const Function& function_;
  std::exception_ptr thrown_;
};

// What a signature tells.

struct NoProgress {
  static constexpr bool exists = false;
  static constexpr std::string (*declaration)() = nullptr;
};
template <typename T>
struct ProgressOf {
  static constexpr bool exists = true;
  static constexpr std::string (*declaration)() = Declared<T>::text;
  using Channel = ProgressChannelOf<T>;
};

/// Of a parameter: the Progress that it is.
template <typename P>
struct ProgressIn {
  using type = NoProgress;
};
template <typename T>
struct ProgressIn<Progress<T>> {
  using type = ProgressOf<T>;
};

/// Of all parameters: the first Progress.
template <typename... P>
struct FirstProgress {
  using type = NoProgress;
};
template <typename P, typename... Rest>
struct FirstProgress<P, Rest...>
    : std::conditional_t<ProgressIn<P>::type::exists, ProgressIn<P>, FirstProgress<Rest...>> {};

/// Whether JavaScript gives a parameter.
template <typename P>
inline constexpr bool isShown = !ProgressIn<P>::type::exists && !std::is_same_v<P, Cancellation>;

/// The conversions of those parameters that JavaScript gives: a CallOf.
template <typename R, typename Shown, typename... P>
struct ShownCall;
template <typename R, typename... Shown>
struct ShownCall<R, std::tuple<Shown...>> {
  using type = CallOf<R, Shown...>;
};
template <typename R, typename... Shown, typename P, typename... Rest>
struct ShownCall<R, std::tuple<Shown...>, P, Rest...>
    : ShownCall<R,
                std::conditional_t<isShown<std::decay_t<P>>, std::tuple<Shown..., P>,
                                   std::tuple<Shown...>>,
                Rest...> {};

/// What a task that takes P... and returns R has.
template <typename R, typename... P>
struct TaskTypes {
  using Call = typename ShownCall<R, std::tuple<>, P...>::type;
  using ProgressType = typename FirstProgress<std::decay_t<P>...>::type;
  using Result = std::decay_t<R>;
  static constexpr bool cancellable = (std::is_same_v<std::decay_t<P>, Cancellation> || ...);

  static_assert((int(ProgressIn<std::decay_t<P>>::type::exists) + ... + 0) <= 1,
                "a task has one zax::Progress at the most");
  static_assert(!(holds<std::decay_t<P>, Handle> || ... || holds<Result, Handle>),
                "a zax::Handle is a value of the JavaScript thread: a task cannot take or return "
                "one");
  static_assert(!(holds<std::decay_t<P>, ScriptFunction> || ...),
                "a std::function is called on the JavaScript thread: a task cannot take one; for "
                "what it tells while it works there is zax::Progress");

  /// Where a parameter is among those that JavaScript gives.
  static constexpr std::size_t shownIndex(std::size_t index) {
    constexpr bool shown[] = {isShown<std::decay_t<P>>..., false};
    std::size_t before = 0;
    for (std::size_t i = 0; i < index; ++i) before += shown[i] ? 1 : 0;
    return before;
  }
};

/// Parameters in declarations: those of the call, and the options.
template <typename Types, typename Indices>
struct TaskSignature;
template <typename Types, std::size_t... I>
struct TaskSignature<Types, std::index_sequence<I...>> {
  using Call = typename Types::Call;

  static std::string options() { return declareTaskOptions(Types::ProgressType::declaration); }
  static std::string result() { return joinTypes("Promise<", {Call::signature.result}, "", ">"); }

  static constexpr std::string (*parameters[])() = {Call::parameters[I]..., options};
  static constexpr Signature signature = {
      parameters, sizeof...(I) + 1, Call::signature.required, result, Call::signature.usesInstances,
      true};
};

/// A call of a task with its arguments and its result. `F` is how it keeps its callable: by
/// reference, or by value where it is made for the call.
template <typename F, typename R, typename... P>
class TaskCallOf : public TaskCall {
  using Types = TaskTypes<R, P...>;
  using Call = typename Types::Call;
  static_assert(std::is_invocable_v<const std::decay_t<F>&, P...>,
                "calls of a task run at the same time, so its function object is called as const: "
                "it cannot be a mutable lambda");
  static constexpr auto shown = std::make_index_sequence<std::size_t(Call::signature.count)>();

 public:
  /// Converts the arguments.
  TaskCallOf(F callable, const Function& function, Invocation& invocation)
      : TaskCall(function), callable_(callable), arguments_(Call::read(invocation, shown)) {
    if constexpr (!std::is_same_v<typename Call::MaybeKeeper, NoKeeper>) keeper_.end();
    if constexpr (Types::cancellable) cancellation_ = CancellationState::make();
  }

  /// What `module.task` makes run at a call: starts a task.
  static ZaxValue* run(F callable, const Function& function, Invocation& invocation) {
    if constexpr (Call::readsInstances) {
      Uses uses(Uses::Of::task);
      return run(callable, function, invocation, &uses, true);
    } else {
      return run(callable, function, invocation, nullptr, true);
    }
  }

  /// The same for one that may use instances, to which those among its arguments are added.
  static ZaxValue* run(F callable, const Function& function, Invocation& invocation, Uses* uses,
                       bool exclusive) {
    using Progress = typename Types::ProgressType;
    auto call = std::make_unique<TaskCallOf>(callable, function, invocation);
    const TaskOptions options =
        readTaskOptions(invocation, Call::signature.count, Progress::exists);
    if constexpr (Progress::exists) {
      if (options.onProgress.get()) {
        call->progress_ = std::make_shared<typename Progress::Channel>(call.get());
      }
    }
    return start(std::move(call), options, uses, exclusive);
  }

  static constexpr const Signature& signature =
      TaskSignature<Types, std::make_index_sequence<std::size_t(Call::signature.count)>>::signature;

 private:
  void work() override { call(std::index_sequence_for<P...>()); }

  template <std::size_t... I>
  void call(std::index_sequence<I...>) {
    if constexpr (std::is_void_v<R>) {
      callable_(give<P, I>()...);
    } else {
      result_.emplace(callable_(give<P, I>()...));
    }
  }

  template <typename Parameter, std::size_t I>
  decltype(auto) give() {
    using Plain = std::decay_t<Parameter>;
    if constexpr (ProgressIn<Plain>::type::exists) {
      using Channel = typename ProgressIn<Plain>::type::Channel;
      return Plain(std::static_pointer_cast<Channel>(progress_));
    } else if constexpr (std::is_same_v<Plain, Cancellation>) {
      return Cancellation(cancellation_);
    } else {
      return static_cast<Parameter&&>(argumentAt<Types::shownIndex(I)>(arguments_));
    }
  }

  Handle convert() override {
    if constexpr (std::is_void_v<R>) {
      return Handle::undefined();
    } else {
      return to(std::move(*result_));
    }
  }

  F callable_;
  typename Call::MaybeKeeper keeper_;
  typename Call::Arguments arguments_;
  std::conditional_t<std::is_void_v<R>, std::monostate, std::optional<typename Types::Result>>
      result_;
};

/// A callable's call as a task.
template <typename F>
struct TaskOf {
  template <typename R, typename... P>
  using CallWith = TaskCallOf<const F&, R, P...>;
  using Call = typename CallableOf<F>::template Rebind<CallWith>;
};

template <typename F>
using TaskFunction = FunctionOf<F, typename TaskOf<F>::Call>;

}  // namespace zax

#endif
