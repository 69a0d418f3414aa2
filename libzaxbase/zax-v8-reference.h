#ifndef ZAX_V8_REFERENCE_H
#define ZAX_V8_REFERENCE_H

#include <v8.h>

#include <atomic>
#include <list>
#include <memory>
#include <mutex>
#include <vector>

#include "zax-backend.h"
#include "zax-base.h"

namespace zax {

/// The references of one environment. Released on other threads they wait for the JavaScript
/// thread; what is left at the environment's end lets go of its value there.
class References : public NonCopyable, public std::enable_shared_from_this<References> {
 public:
  /// JavaScript thread.
  ZaxReference* make(v8::Isolate* isolate, v8::Local<v8::Value> value);

  /// JavaScript thread: no reference has a value any more.
  void end();

  /// Any thread.
  static void release(ZaxReference* reference);

 private:
  void letGo(ZaxReference* reference);
  void letGoOfReleased();

  std::mutex mutex_;  ///< guards `released_` and `ended_`
  std::vector<ZaxReference*> released_;
  std::atomic<bool> anyReleased_{false};
  bool ended_ = false;
  std::list<ZaxReference*> living_;
};

}  // namespace zax

struct ZaxReference {
  v8::Global<v8::Value> value;
  std::shared_ptr<zax::References> owner;
  std::list<ZaxReference*>::iterator place;
};

#endif
