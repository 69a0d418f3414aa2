#ifndef ZAX_V8_BULK_H
#define ZAX_V8_BULK_H

#include <v8.h>

#include <cstddef>
#include <memory>
#include <string>
#include <vector>

#include "zax-backend.h"
#include "zax-base.h"

namespace zax {

/// Memory for rows of numbers and values, with the typed array through which script sees the
/// numbers. One user at a time.
struct BulkBuffer : ZaxBulk {
  std::vector<ZaxValue*> valueMemory;
  v8::Global<v8::Float64Array> sharedNumbers;
};

/// The buffers of one environment, one for each conversion within another. JavaScript thread only.
class BulkMemory : public NonCopyable {
 public:
  /// A free buffer; null when all are in use.
  ZaxBulk* open(v8::Isolate* isolate);
  void close(ZaxBulk* bulk);

 private:
  static constexpr std::size_t mostBuffers = 4;

  std::vector<std::unique_ptr<BulkBuffer>> buffers_;
  std::size_t used_ = 0;
};

/// What one environment keeps for a struct: its properties' names, and script that reads and writes
/// many of it, which is compiled when it is first needed. JavaScript thread only.
class ShapeScripts : public NonCopyable {
 public:
  /// A null shape means plain numbers.
  explicit ShapeScripts(const ZaxShape* shape) : shape_(shape) {}

  const ZaxShape* shape() const { return shape_; }

  const std::vector<v8::Eternal<v8::Name>>& names(v8::Isolate* isolate);

  bool read(v8::Isolate* isolate, ZaxBulk& bulk, v8::Local<v8::Value> array, std::size_t from,
            std::size_t count, std::size_t* rows);
  bool write(v8::Isolate* isolate, ZaxBulk& bulk, v8::Local<v8::Value> array, std::size_t from,
             std::size_t count);

 private:
  enum { Reader, Writer };

  v8::MaybeLocal<v8::Function> script(v8::Isolate* isolate, int which);
  std::string readerBody() const;
  std::string writerBody() const;
  std::size_t valueColumns() const;

  const ZaxShape* shape_;
  std::vector<v8::Eternal<v8::Name>> names_;
  v8::Global<v8::Function> scripts_[2];
};

}  // namespace zax

#endif
