#ifndef ZAX_V8_BYTES_H
#define ZAX_V8_BYTES_H

#include <v8.h>

#include <cstddef>
#include <cstdint>

#include "zax-backend.h"
#include "zax-base.h"

namespace zax {

/// Makes the Buffers of few bytes of one environment, on memory that many of them share. JavaScript
/// thread only.
class SmallBuffers : public NonCopyable {
 public:
  /// A Buffer with a copy of the bytes.
  v8::MaybeLocal<v8::Object> make(v8::Isolate* isolate, const std::uint8_t* data, std::size_t size);

 private:
  static constexpr std::size_t slabSize = 65536;  // bytes

  v8::MaybeLocal<v8::Object> makeByScript(v8::Isolate* isolate, std::size_t offset,
                                          std::size_t size);
  v8::MaybeLocal<v8::Function> script(v8::Isolate* isolate);

  v8::Global<v8::ArrayBuffer> slab_;
  std::uint8_t* slabData_ = nullptr;
  std::size_t slabUsed_ = slabSize;
  v8::Global<v8::Function> script_;
};

// The backend's functions for memory, as zax-backend.h describes them.

bool getBytes(ZaxValue* value, ZaxBytesView* view);
void copyBytes(ZaxValue* value, std::uint8_t* target, std::size_t size);
ZaxValue* makeBuffer(std::uint8_t* data, std::size_t size, void (*free)(void* data, void* hint),
                     void* hint);
ZaxValue* makeSmallBuffer(const std::uint8_t* data, std::size_t size);
ZaxValue* makeView(const ZaxMemory* memory, const std::uint8_t* data, std::size_t size,
                   ZaxElementType type);
std::uint8_t* holdMemory(ZaxMemory* memory, ZaxValue* bytes, bool* isResizable);
void copyMemory(ZaxMemory* copy, const ZaxMemory* memory);
void releaseMemory(ZaxMemory* memory);
std::uint8_t* allocateMemory(ZaxMemory* memory, std::size_t bytes);

}  // namespace zax

#endif
