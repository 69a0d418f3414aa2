#include "zax-v8-bytes.h"

#include <node_buffer.h>
#include <v8.h>

#include <cstdlib>
#include <cstring>
#include <memory>
#include <new>
#include <utility>

#include "zax-v8-backend.h"
#include "zax-v8-base.h"
#include "zax-v8-environment.h"
#include "zax-v8-script.h"

namespace zax {

namespace {

using Store = std::shared_ptr<v8::BackingStore>;
static_assert(sizeof(Store) <= sizeof(ZaxMemory), "what keeps the memory fits into its place");

Store& storeIn(ZaxMemory* memory) { return *reinterpret_cast<Store*>(memory->owner); }
const Store& storeIn(const ZaxMemory* memory) {
  return *reinterpret_cast<const Store*>(memory->owner);
}

ZaxElementType elementTypeOfView(v8::Local<v8::Value> view) {
  if (view->IsUint8Array()) return ZaxUint8;
  if (view->IsInt8Array()) return ZaxInt8;
  if (view->IsUint8ClampedArray()) return ZaxUint8Clamped;
  if (view->IsInt16Array()) return ZaxInt16;
  if (view->IsUint16Array()) return ZaxUint16;
  if (view->IsInt32Array()) return ZaxInt32;
  if (view->IsUint32Array()) return ZaxUint32;
  if (view->IsFloat32Array()) return ZaxFloat32;
  if (view->IsFloat64Array()) return ZaxFloat64;
  if (view->IsBigInt64Array()) return ZaxBigInt64;
  if (view->IsBigUint64Array()) return ZaxBigUint64;
  return ZaxNoElement;
}

/// Where a value's bytes lie; for a view this gives its array a buffer, if it had none.
Store storeOf(v8::Local<v8::Value> value, std::size_t* offset) {
  *offset = 0;
  if (value->IsArrayBufferView()) {
    const auto view = value.As<v8::ArrayBufferView>();
    *offset = view->ByteOffset();
    return view->Buffer()->GetBackingStore();
  }
  if (value->IsArrayBuffer()) return value.As<v8::ArrayBuffer>()->GetBackingStore();
  return value.As<v8::SharedArrayBuffer>()->GetBackingStore();
}

template <typename Buffer>
v8::Local<v8::Value> newView(v8::Local<Buffer> buffer, std::size_t offset, std::size_t size,
                             ZaxElementType type) {
  switch (type) {
    case ZaxInt8:
      return v8::Int8Array::New(buffer, offset, size);
    case ZaxUint8Clamped:
      return v8::Uint8ClampedArray::New(buffer, offset, size);
    case ZaxInt16:
      return v8::Int16Array::New(buffer, offset, size / 2);
    case ZaxUint16:
      return v8::Uint16Array::New(buffer, offset, size / 2);
    case ZaxInt32:
      return v8::Int32Array::New(buffer, offset, size / 4);
    case ZaxUint32:
      return v8::Uint32Array::New(buffer, offset, size / 4);
    case ZaxFloat32:
      return v8::Float32Array::New(buffer, offset, size / 4);
    case ZaxFloat64:
      return v8::Float64Array::New(buffer, offset, size / 8);
    case ZaxBigInt64:
      return v8::BigInt64Array::New(buffer, offset, size / 8);
    case ZaxBigUint64:
      return v8::BigUint64Array::New(buffer, offset, size / 8);
    default:
      return v8::Uint8Array::New(buffer, offset, size);
  }
}

/// Whether memory is so large that it matters how often: V8 counts it for each ArrayBuffer that has
/// it, and collects garbage the sooner. So what comes back gets the ArrayBuffer that it came from.
bool isLarge(const Store& store) { return !store->IsShared() && store->ByteLength() >= 65536; }

/// Whether V8 has a view of that many bytes; it would end the process otherwise.
bool fits(std::size_t size) { return size <= node::Buffer::kMaxLength; }

ZaxValue* newBuffer(v8::Local<v8::ArrayBuffer> memory, std::size_t offset, std::size_t size) {
  if (!fits(size)) return nullptr;
  v8::Local<v8::Uint8Array> buffer;
  if (!node::Buffer::New(currentIsolate(), memory, offset, size).ToLocal(&buffer)) return nullptr;
  return toSlot(buffer);
}

}  // namespace

v8::MaybeLocal<v8::Object> SmallBuffers::make(v8::Isolate* isolate, const std::uint8_t* data,
                                              std::size_t size) {
  if (size > slabSize - slabUsed_ || slab_.IsEmpty()) {
    const auto slab = v8::ArrayBuffer::New(isolate, slabSize);
    slabData_ = static_cast<std::uint8_t*>(slab->GetBackingStore()->Data());
    slabUsed_ = 0;
    slab_.Reset(isolate, slab);
  }
  const std::size_t offset = slabUsed_;
  if (size > 0) std::memcpy(slabData_ + offset, data, size);
  slabUsed_ += (size + 7) & ~std::size_t{7};
  v8::Local<v8::Object> made;
  if (makeByScript(isolate, offset, size).ToLocal(&made)) return made;
  v8::Local<v8::Uint8Array> buffer;
  if (!node::Buffer::New(isolate, slab_.Get(isolate), offset, size).ToLocal(&buffer)) return {};
  return buffer;
}

/// Empty where script fails: it has no stack left, or is being terminated.
v8::MaybeLocal<v8::Object> SmallBuffers::makeByScript(v8::Isolate* isolate, std::size_t offset,
                                                      std::size_t size) {
  v8::TryCatch tryCatch(isolate);
  v8::Local<v8::Function> function;
  v8::Local<v8::Value> made;
  v8::Local<v8::Value> arguments[] = {slab_.Get(isolate),
                                      v8::Integer::New(isolate, static_cast<int>(offset)),
                                      v8::Integer::New(isolate, static_cast<int>(size))};
  if (script(isolate).ToLocal(&function) &&
      function->Call(isolate->GetCurrentContext(), v8::Undefined(isolate), 3, arguments)
          .ToLocal(&made)) {
    return made.As<v8::Object>();
  }
  if (tryCatch.HasTerminated()) tryCatch.ReThrow();
  return {};
}

v8::MaybeLocal<v8::Function> SmallBuffers::script(v8::Isolate* isolate) {
  if (script_.IsEmpty()) {
    const v8::Local<v8::Context> context = isolate->GetCurrentContext();
    v8::Local<v8::Object> buffer;
    v8::Local<v8::Value> maker;
    v8::Local<v8::Value> made;
    if (!node::Buffer::New(isolate, 0).ToLocal(&buffer) ||
        !runScript(context, makeBufferScript).ToLocal(&maker)) {
      return {};
    }
    v8::Local<v8::Value> prototype = prototypeOf(buffer);
    if (!maker.As<v8::Function>()
             ->Call(context, v8::Undefined(isolate), 1, &prototype)
             .ToLocal(&made)) {
      return {};
    }
    script_.Reset(isolate, made.As<v8::Function>());
  }
  return script_.Get(isolate);
}

bool getBytes(ZaxValue* slot, ZaxBytesView* view) {
  const v8::Local<v8::Value> value = toLocal(slot);
  *view = {};
  if (value->IsArrayBufferView()) {
    const auto array = value.As<v8::ArrayBufferView>();
    view->size = array->ByteLength();
    view->type = elementTypeOfView(value);
    // A small array without a buffer of its own cannot be detached.
    view->detached = array->HasBuffer() && array->Buffer()->WasDetached();
    return true;
  }
  if (value->IsArrayBuffer()) {
    const auto buffer = value.As<v8::ArrayBuffer>();
    view->size = buffer->ByteLength();
    view->detached = buffer->WasDetached();
    return true;
  }
  if (!value->IsSharedArrayBuffer()) return false;
  view->size = value.As<v8::SharedArrayBuffer>()->ByteLength();
  return true;
}

void copyBytes(ZaxValue* slot, std::uint8_t* target, std::size_t size) {
  const v8::Local<v8::Value> value = toLocal(slot);
  if (size == 0) return;
  if (value->IsArrayBufferView()) {
    value.As<v8::ArrayBufferView>()->CopyContents(target, size);
    return;
  }
  std::size_t offset;
  std::memcpy(target, storeOf(value, &offset)->Data(), size);
}

std::uint8_t* holdMemory(ZaxMemory* memory, ZaxValue* bytes, bool* isResizable) {
  std::size_t offset;
  const v8::Local<v8::Value> value = toLocal(bytes);
  Store store = storeOf(value, &offset);
  *isResizable = store->IsResizableByUserJavaScript();
  auto* data = static_cast<std::uint8_t*>(store->Data());
  if (*isResizable || !data) return nullptr;
  if (isLarge(store)) {
    const bool isView = value->IsArrayBufferView();
    Environment::current()->remember(isView ? value.As<v8::ArrayBufferView>()->Buffer()
                                            : value.As<v8::ArrayBuffer>());
  }
  new (memory->owner) Store(std::move(store));
  return data + offset;
}

void copyMemory(ZaxMemory* copy, const ZaxMemory* memory) {
  new (copy->owner) Store(storeIn(memory));
}

void releaseMemory(ZaxMemory* memory) {
  if (!EventLoop::isMainOver()) storeIn(memory).~Store();
}

// Any thread, so not by V8's allocator, which belongs to an isolate.
std::uint8_t* allocateMemory(ZaxMemory* memory, std::size_t bytes) {
  void* data = std::calloc(bytes ? bytes : 1, 1);
  if (!data) return nullptr;
  new (memory->owner) Store(v8::ArrayBuffer::NewBackingStore(
      data, bytes, [](void* released, std::size_t, void*) { std::free(released); }, nullptr));
  return static_cast<std::uint8_t*>(data);
}

ZaxValue* makeView(const ZaxMemory* memory, const std::uint8_t* data, std::size_t size,
                   ZaxElementType type) {
  if (!fits(size)) return nullptr;
  const Store& store = storeIn(memory);
  const std::size_t offset = data - static_cast<const std::uint8_t*>(store->Data());
  if (store->IsShared()) {
    return toSlot(newView(v8::SharedArrayBuffer::New(currentIsolate(), store), offset, size, type));
  }
  v8::Local<v8::ArrayBuffer> buffer;
  if (isLarge(store)) buffer = Environment::current()->recall(store);
  if (buffer.IsEmpty()) buffer = v8::ArrayBuffer::New(currentIsolate(), store);
  if (type == ZaxNoElement) return newBuffer(buffer, offset, size);
  return toSlot(newView(buffer, offset, size, type));
}

ZaxValue* makeBuffer(std::uint8_t* data, std::size_t size, void (*free)(void* data, void* hint),
                     void* hint) {
  struct Owner {
    void (*free)(void*, void*);
    void* hint;
  };
  auto store = v8::ArrayBuffer::NewBackingStore(
      data, size,
      [](void* memory, std::size_t, void* owner) {
        const std::unique_ptr<Owner> released(static_cast<Owner*>(owner));
        released->free(memory, released->hint);
      },
      new Owner{free, hint});
  return newBuffer(v8::ArrayBuffer::New(currentIsolate(), std::move(store)), 0, size);
}

ZaxValue* makeSmallBuffer(const std::uint8_t* data, std::size_t size) {
  v8::Local<v8::Object> buffer;
  SmallBuffers& buffers = Environment::current()->smallBuffers();
  return buffers.make(currentIsolate(), data, size).ToLocal(&buffer) ? toSlot(buffer) : nullptr;
}

}  // namespace zax
