#include "zax-bytes.h"

#include <cerrno>
#include <new>
#include <string>

#include "zax-base.h"

namespace zax {

namespace {

constexpr std::size_t smallSize = 1024;  // bytes that are copied sooner than handed over

/// The size of a value's bytes. Refuses what has none, or is no typed array of the type if there is
/// one.
std::size_t readSize(Handle value, ZaxElementType type = ZaxNoElement) {
  const bool isTyped = type != ZaxNoElement;
  ZaxBytesView view;
  if (!backend->getBytes(value.get(), &view) || (isTyped && view.type != type)) {
    throw BadArgument(isTyped ? nameOf(type) : "Buffer, ArrayBuffer or view of one", value);
  }
  if (view.detached) throw BadArgument("the buffer is detached");
  return view.size;
}

/// A view that was made of `size` bytes, or not.
Handle made(ZaxValue* view, std::size_t size) {
  if (!view) {
    throw ConversionError(Errno(ERANGE), concat({std::to_string(size),
                                                 " bytes are too many for a JavaScript buffer"}));
  }
  return Handle(view);
}

Handle handOver(std::uint8_t* data, std::size_t size, void (*free)(void*, void*), void* hint) {
  return made(backend->makeBuffer(data, size, free, hint), size);
}

}  // namespace

SharedMemory::SharedMemory(Handle bytes, std::size_t size) : size_(size) {
  bool isResizable;
  data_ = backend->holdMemory(&memory_, bytes.get(), &isResizable);
  if (isResizable) throw BadArgument("the buffer is resizable, its size can change meanwhile");
}

SharedMemory::SharedMemory(std::size_t bytes)
    : data_(backend->allocateMemory(&memory_, bytes)), size_(bytes) {
  if (!data_) throw std::bad_alloc();
}

SharedMemory::SharedMemory(const SharedMemory& other) : data_(other.data_), size_(other.size_) {
  if (data_) backend->copyMemory(&memory_, &other.memory_);
}

Handle SharedMemory::view(ZaxElementType type) const {
  if (!data_) return SharedMemory(std::size_t(0)).view(type);
  return made(backend->makeView(&memory_, data_, size_, type), size_);
}

Bytes Value<Bytes>::from(Handle value) { return Bytes(SharedMemory(value, readSize(value))); }

Handle Value<OwnedBytes>::to(OwnedBytes&& value) {
  const auto free = value.data_.get_deleter();
  const std::size_t size = value.size_;
  return handOver(
      value.data_.release(), size,
      [](void* data, void* hint) { reinterpret_cast<void (*)(void*)>(hint)(data); },
      reinterpret_cast<void*>(free));
}

std::vector<std::uint8_t> Value<std::vector<std::uint8_t>>::from(Handle value) {
  std::vector<std::uint8_t> bytes(readSize(value));
  backend->copyBytes(value.get(), bytes.data(), bytes.size());
  return bytes;
}

Handle Value<std::vector<std::uint8_t>>::to(const std::vector<std::uint8_t>& value) {
  if (value.size() > smallSize) return to(std::vector<std::uint8_t>(value));
  return made(backend->makeSmallBuffer(value.data(), value.size()), value.size());
}

Handle Value<std::vector<std::uint8_t>>::to(std::vector<std::uint8_t>&& value) {
  if (value.size() <= smallSize) return to(std::as_const(value));
  auto* held = new std::vector<std::uint8_t>(std::move(value));
  return handOver(
      held->data(), held->size(),
      [](void*, void* hint) { delete static_cast<std::vector<std::uint8_t>*>(hint); }, held);
}

SharedMemory readTypedArray(Handle value, ZaxElementType type) {
  return SharedMemory(value, readSize(value, type));
}

const char* nameOf(ZaxElementType type) {
  switch (type) {
    case ZaxInt8:
      return "Int8Array";
    case ZaxUint8:
      return "Uint8Array";
    case ZaxUint8Clamped:
      return "Uint8ClampedArray";
    case ZaxInt16:
      return "Int16Array";
    case ZaxUint16:
      return "Uint16Array";
    case ZaxInt32:
      return "Int32Array";
    case ZaxUint32:
      return "Uint32Array";
    case ZaxFloat32:
      return "Float32Array";
    case ZaxFloat64:
      return "Float64Array";
    case ZaxBigInt64:
      return "BigInt64Array";
    case ZaxBigUint64:
      return "BigUint64Array";
    default:
      return "ArrayBuffer";
  }
}

}  // namespace zax
