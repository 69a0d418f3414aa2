#include "zax-task.h"

#include <condition_variable>
#include <mutex>
#include <thread>

#include "zax-base.h"
#include "zax-block-cache.h"

namespace zax {

struct ProgressChannel::State {
  std::mutex mutex;                  ///< guards the rest, and the values that wait
  std::condition_variable_any room;  ///< told when anything that somebody waits for has changed
  int posters = 0;                   ///< how many wait for room
  int waking = 0;                    ///< how many threads are waking the JavaScript thread
  bool closed = false;
  ZaxTask* const task;
  const std::thread::id taker = std::this_thread::get_id();
};

ProgressChannel::ProgressChannel(ZaxTask* task) : state_(new State{{}, {}, 0, 0, false, task}) {}

ProgressChannel::~ProgressChannel() = default;

ProgressChannel::Lock::Lock(ProgressChannel& channel) : channel_(channel) {
  channel_.state_->mutex.lock();
}

ProgressChannel::Lock::~Lock() { channel_.state_->mutex.unlock(); }

bool ProgressChannel::makeRoom(const std::size_t& waiting) {
  State& state = *state_;
  if (waiting >= capacity && std::this_thread::get_id() != state.taker) {
    ++state.posters;
    state.room.wait(state.mutex, [&] { return state.closed || waiting < capacity; });
    --state.posters;
  }
  return !state.closed;
}

void ProgressChannel::wake() {
  State& state = *state_;
  ++state.waking;
  state.mutex.unlock();  // Otherwise the other thread would wake only to wait.
  backend->wakeTask(state.task);
  state.mutex.lock();
  if (--state.waking == 0 && state.closed) state.room.notify_all();
}

void ProgressChannel::madeRoom() {
  if (state_->posters > 0) state_->room.notify_all();
}

void ProgressChannel::close() {
  State& state = *state_;
  const Lock lock(*this);
  state.closed = true;
  state.room.notify_all();
  state.room.wait(state.mutex, [&] { return state.waking == 0; });
}

namespace {

thread_local BlockCache callMemory;

[[noreturn]] void refuseOption(const char* name, const char* expected, Handle got) {
  BadArgument refusal(expected, got);
  refusal.inMember(name);
  throw refusal;
}

/// Empty where there is none.
Handle readSignal(Handle value) {
  if (value.isUndefined()) return Handle();
  if (!value.isObject() || !value.property("aborted").isBoolean()) {
    refuseOption("signal", "AbortSignal", value);
  }
  return value;
}

Handle readOnProgress(Handle value) {
  if (value.isUndefined()) return Handle();
  if (!value.isFunction()) refuseOption("onProgress", "function", value);
  return value;
}

}  // namespace

TaskOptions readTaskOptions(Invocation& invocation, int position, bool hasProgress) {
  TaskOptions options;
  if (invocation.count <= position) return options;
  invocation.position = position;
  const Handle given(invocation.arguments[position]);
  if (given.isUndefined()) return options;
  if (!given.isObject()) throw BadArgument("object with options", given);
  const Handle entries = checked(backend->getEntries(given.get()));
  for (std::size_t i = 0; i < entries.length(); i += 2) {
    const std::string name = entries.element(i).text();
    const Handle value = entries.element(i + 1);
    if (name == "signal") {
      options.signal = readSignal(value);
    } else if (name == "onProgress" && hasProgress) {
      options.onProgress = readOnProgress(value);
    } else {
      throw BadArgument(name == "onProgress" ? "this task has no progress for an onProgress"
                                             : concat({"unknown option ", quoted(name),
                                                       hasProgress ? ", not signal or onProgress"
                                                                   : ", not signal"}));
    }
  }
  return options;
}

std::string declareTaskOptions(std::string (*progress)()) {
  const std::string onProgress =
      progress ? concat({"; onProgress?: (value: ", progress(), ") => void"}) : "";
  return concat({"{ signal?: AbortSignal", onProgress, " }"});
}

void* TaskCall::operator new(std::size_t size) { return callMemory.allocate(size); }

void* TaskCall::operator new(std::size_t size, std::align_val_t alignment) {
  return ::operator new(size, alignment);
}

void TaskCall::operator delete(void* memory, std::size_t size) noexcept {
  callMemory.release(memory, size);
}

void TaskCall::operator delete(void* memory, std::size_t /*size*/,
                               std::align_val_t alignment) noexcept {
  ::operator delete(memory, alignment);
}

TaskCall::TaskCall(const Function& function) : ZaxTask(), function_(function) {
  ZaxTask::run = [](ZaxTask* self) {
    auto* call = static_cast<TaskCall*>(self);
    try {
      call->work();
    } catch (...) {
      call->thrown_ = std::current_exception();
    }
  };
  ZaxTask::result = [](ZaxTask* self) { return static_cast<TaskCall*>(self)->resultOf(); };
  ZaxTask::takeProgress = [](ZaxTask* self, ZaxValue** values, std::size_t most) {
    const auto* call = static_cast<TaskCall*>(self);
    std::size_t count = 0;
    try {
      call->progress_->take(values, most, &count);
    } catch (std::exception& e) {
      call->function_.fail(Invocation::progress, &e);
    } catch (...) {
      call->function_.fail(Invocation::progress, nullptr);
    }
    return count;
  };
  ZaxTask::cancel = [](ZaxTask* self) {
    const auto* call = static_cast<TaskCall*>(self);
    if (call->cancellation_) call->cancellation_->request();
  };
  ZaxTask::closeProgress = [](ZaxTask* self) {
    const auto* call = static_cast<TaskCall*>(self);
    if (call->progress_) call->progress_->close();
  };
  ZaxTask::destroy = [](ZaxTask* self) { delete static_cast<TaskCall*>(self); };
}

ZaxValue* TaskCall::resultOf() {
  int position = Invocation::working;
  try {
    if (thrown_) std::rethrow_exception(std::exchange(thrown_, nullptr));
    position = Invocation::returning;
    return convert().get();
  } catch (Cancelled& e) {
    if (cancellation_ && cancellation_->requested()) return nullptr;
    return function_.fail(position, &e);
  } catch (std::exception& e) {
    return function_.fail(position, &e);
  } catch (...) {
    return function_.fail(position, nullptr);
  }
}

ZaxValue* TaskCall::start(std::unique_ptr<TaskCall> call, const TaskOptions& options, Uses* uses,
                          bool exclusive) {
  if (uses) uses->close();
  return backend->startTask(call.release(), uses ? uses->data() : nullptr, uses ? uses->size() : 0,
                            exclusive, options.signal.get(), options.onProgress.get());
}

}  // namespace zax
