#ifndef ZAX_BYTES_H
#define ZAX_BYTES_H

#include <cstddef>
#include <cstdint>
#include <memory>
#include <type_traits>
#include <utility>
#include <vector>

#include "zax-value.h"

namespace zax {

/// Memory that JavaScript and native code share: that of an ArrayBuffer. Keeps it alive. A plain
/// value for any thread; that nobody else writes there meanwhile is up to its user.
class SharedMemory {
 public:
  SharedMemory() = default;
  SharedMemory(const SharedMemory& other);
  SharedMemory(SharedMemory&& other) noexcept { swap(other); }
  SharedMemory& operator=(SharedMemory other) noexcept {
    swap(other);
    return *this;
  }
  ~SharedMemory() {
    if (data_) backend->releaseMemory(&memory_);
  }

  /// The `size` bytes of a value of kind ZaxBytes. JavaScript thread. Throws BadArgument where
  /// script can change their number.
  SharedMemory(Handle bytes, std::size_t size);

  /// New memory, zeroed. Throws std::bad_alloc.
  explicit SharedMemory(std::size_t bytes);

  std::uint8_t* data() const { return data_; }
  std::size_t size() const { return size_; }

  /// A Buffer, or a typed array, over this memory. JavaScript thread.
  Handle view(ZaxElementType type) const;

 private:
  void swap(SharedMemory& other) noexcept {
    std::swap(memory_, other.memory_);
    std::swap(data_, other.data_);
    std::swap(size_, other.size_);
  }

  ZaxMemory memory_{};
  std::uint8_t* data_ = nullptr;  ///< null: no memory
  std::size_t size_ = 0;          ///< bytes
};

/// The bytes of a Buffer, an ArrayBuffer or a view of one, without a copy; to JavaScript a Buffer
/// over the same memory. One of a size that can change is refused: memory can go at any time.
/// Copies share the memory and keep it alive, on any thread.
class Bytes {
 public:
  Bytes() = default;
  explicit Bytes(SharedMemory memory) : memory_(std::move(memory)) {}

  /// New bytes, zeroed. Throws std::bad_alloc.
  explicit Bytes(std::size_t size) : memory_(size) {}

  std::uint8_t* data() const { return memory_.data(); }
  std::size_t size() const { return memory_.size(); }
  std::uint8_t* begin() const { return data(); }
  std::uint8_t* end() const { return data() + size(); }

 private:
  friend struct Value<Bytes>;
  SharedMemory memory_;
};

template <typename T>
inline constexpr ZaxElementType elementTypeOf = ZaxNoElement;
template <>
inline constexpr ZaxElementType elementTypeOf<std::int8_t> = ZaxInt8;
template <>
inline constexpr ZaxElementType elementTypeOf<std::uint8_t> = ZaxUint8;
template <>
inline constexpr ZaxElementType elementTypeOf<std::int16_t> = ZaxInt16;
template <>
inline constexpr ZaxElementType elementTypeOf<std::uint16_t> = ZaxUint16;
template <>
inline constexpr ZaxElementType elementTypeOf<std::int32_t> = ZaxInt32;
template <>
inline constexpr ZaxElementType elementTypeOf<std::uint32_t> = ZaxUint32;
template <>
inline constexpr ZaxElementType elementTypeOf<float> = ZaxFloat32;
template <>
inline constexpr ZaxElementType elementTypeOf<double> = ZaxFloat64;
template <>
inline constexpr ZaxElementType elementTypeOf<std::int64_t> = ZaxBigInt64;
template <>
inline constexpr ZaxElementType elementTypeOf<std::uint64_t> = ZaxBigUint64;

/// The elements of a typed array, without a copy, both ways. Copies share the memory and keep it
/// alive, on any thread. Of std::uint8_t it is a Uint8Array.
template <typename T>
class TypedArray {
  static_assert(elementTypeOf<T> != ZaxNoElement,
                "a zax::TypedArray has integers of 8 to 64 bits, float or double as its elements");

 public:
  TypedArray() = default;
  explicit TypedArray(SharedMemory memory) : memory_(std::move(memory)) {}

  /// A new array of `size` elements, zeroed. Throws std::bad_alloc.
  explicit TypedArray(std::size_t size)
      : memory_(size <= SIZE_MAX / sizeof(T) ? size * sizeof(T) : SIZE_MAX) {}

  T* data() const { return reinterpret_cast<T*>(memory_.data()); }
  std::size_t size() const { return memory_.size() / sizeof(T); }
  T* begin() const { return data(); }
  T* end() const { return data() + size(); }
  T& operator[](std::size_t index) const { return data()[index]; }

 private:
  friend struct Value<TypedArray<T>>;
  SharedMemory memory_;
};

/// Memory from elsewhere, as a result: JavaScript gets a Buffer over it, without a copy. Moved, not
/// copied.
class OwnedBytes {
 public:
  /// `free(data)` releases the memory, on any thread, when JavaScript has done with it.
  OwnedBytes(void* data, std::size_t size, void (*free)(void* data))
      : data_(static_cast<std::uint8_t*>(data), free), size_(size) {}

  std::uint8_t* data() const { return data_.get(); }
  std::size_t size() const { return size_; }

 private:
  friend struct Value<OwnedBytes>;
  std::unique_ptr<std::uint8_t, void (*)(void*)> data_;
  std::size_t size_;
};

inline constexpr unsigned bytesKinds = 1U << ZaxBytes;

template <>
struct Value<Bytes> {
  static constexpr unsigned kinds = bytesKinds;
  static Bytes from(Handle value);
  static Handle to(const Bytes& value) { return value.memory_.view(ZaxNoElement); }
  static std::string declaration() { return "Uint8Array"; }
};

template <>
struct Value<OwnedBytes> {
  static Handle to(OwnedBytes&& value);
  static std::string declaration() { return "Uint8Array"; }
};

template <>
struct Value<std::vector<std::uint8_t>> {
  static constexpr unsigned kinds = bytesKinds;
  static std::vector<std::uint8_t> from(Handle value);
  static Handle to(const std::vector<std::uint8_t>& value);
  static Handle to(std::vector<std::uint8_t>&& value);
  static std::string declaration() { return "Uint8Array"; }
};

SharedMemory readTypedArray(Handle value, ZaxElementType type);
const char* nameOf(ZaxElementType type);

template <typename T>
struct Value<TypedArray<T>> {
  static constexpr unsigned kinds = bytesKinds;
  static TypedArray<T> from(Handle value) {
    return TypedArray<T>(readTypedArray(value, elementTypeOf<T>));
  }
  static Handle to(const TypedArray<T>& value) { return value.memory_.view(elementTypeOf<T>); }
  static std::string declaration() { return nameOf(elementTypeOf<T>); }
};

}  // namespace zax

#endif
