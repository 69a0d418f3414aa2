#ifndef ZAX_V8_TYPE_H
#define ZAX_V8_TYPE_H

#include <v8.h>

#include <cstddef>
#include <cstdint>
#include <memory>
#include <vector>

#include "zax-backend.h"
#include "zax-base.h"

namespace zax {

class EventLoop;
class PoolWork;

/// V8's side of a ZaxType.
struct Class {
  const ZaxType* type;
  v8::Global<v8::FunctionTemplate> made;
  v8::Global<v8::Function> function;  ///< empty until there is the first instance or the export
  ZaxInstance* last = nullptr;  ///< the living one that was asked for last: often it is the next
};

class TaskInstances;

/// That a task uses an instance, until it has settled.
struct Claim {
  ZaxInstance* instance;
  TaskInstances* owner;
  Claim* next = nullptr;  ///< of the instance's
};

class Instances;

/// The instances that a task uses. Where it is exclusive it waits until it is the first of each of
/// them, and none is in a synchronous call: then its work starts. JavaScript thread only.
class TaskInstances : public NonCopyable {
 public:
  TaskInstances(Instances& all, PoolWork& work) : all_(all), work_(work) {}
  /// Lets the next task have them.
  ~TaskInstances();

  /// Keeps instances, and waits for them where it is `exclusive`.
  void take(ZaxInstance* const* instances, std::size_t count, bool exclusive);

  bool isWaiting() const { return blocked_ > 0; }

 private:
  friend class Instances;

  void queueUp(Claim& claim);
  static void leaveQueue(Claim& claim);
  void unblock();

  Instances& all_;
  PoolWork& work_;
  std::vector<Claim> claims_;
  bool exclusive_ = false;
  std::size_t blocked_ = 0;  ///< how many claims it waits for
};

/// The classes of one environment and their living instances, which it owns. JavaScript thread
/// only.
class Instances : public NonCopyable {
 public:
  explicit Instances(EventLoop& loop);
  /// Destroys all instances.
  ~Instances();

  void makeClass(ZaxType* type);
  /// False where the class has been made already.
  bool addMember(const ZaxType* type, const char* name, v8::Local<v8::FunctionTemplate> member,
                 ZaxMemberKind kind, v8::Local<v8::FunctionTemplate> setter);
  /// Empty when script failed on the way.
  v8::MaybeLocal<v8::Function> getClass(const ZaxType* type);
  /// The type of a key; null where there is none.
  const ZaxType* findType(const void* key);

  /// The instance of a type that a value is; null for any other value.
  static ZaxInstance* get(v8::Local<v8::Value> value, const ZaxType* type);

  /// Makes an object stand for an instance.
  void attach(v8::Local<v8::Object> object, ZaxInstance* instance);
  /// The same for a new object.
  v8::MaybeLocal<v8::Object> wrap(ZaxInstance* instance);
  /// The object that stands for another as a type; empty where none does.
  v8::Local<v8::Value> find(const void* identity, const ZaxType* type);

  /// See ZaxBackend.
  void endUse(ZaxInstance* instance);

 private:
  friend class TaskInstances;

  static void onConstruct(const v8::FunctionCallbackInfo<v8::Value>& info);
  static void onCollected(const v8::WeakCallbackInfo<ZaxInstance>& info);

  void keep(ZaxInstance* instance);
  void letGo(ZaxInstance* instance);
  void measure(ZaxInstance* instance);
  void tell(ZaxInstance* instance, std::int64_t bytes);
  void destroy(ZaxInstance* instance);

  void insert(ZaxInstance* instance);
  void remove(ZaxInstance* instance);
  ZaxInstance** bucketOf(const void* identity);
  void insertInBucket(ZaxInstance* instance);
  void index();

  EventLoop& loop_;
  v8::Isolate* const isolate_;
  std::vector<std::unique_ptr<Class>> classes_;
  std::size_t lastClass_ = 0;          ///< the index of the one that was asked for last
  ZaxInstance* first_ = nullptr;       ///< of those whose object lives
  std::size_t count_ = 0;              ///< of those
  std::vector<ZaxInstance*> buckets_;  ///< the same by identity; empty until one is looked for
};

}  // namespace zax

#endif
