#ifndef ZAX_CONTAINER_H
#define ZAX_CONTAINER_H

#include <cstddef>
#include <string>
#include <type_traits>
#include <utility>

#include "zax-value.h"

// Containers of the standard library, told by their members, so that their headers need not be
// included here: arrays for sequences and sets, objects and Maps for maps. The loops are compiled
// once, in zax-container.cpp; a type brings what is done with one element, or with a run of
// numbers.

namespace zax {

struct StructType;

/// What the loops need to know of a container and its elements.
struct SequenceType {
  const StructType* structType;  ///< of the elements, where they are structs made in place
  bool keepsHandles;             ///< so that they must live as long as the call

  // Reading: `container` is the one to fill.
  void (*reserve)(void* container, std::size_t count);
  void (*addValue)(void* container, Handle value);
  /// Adds numbers and counts each in `*index`.
  void (*addNumbers)(void* container, const double* numbers, std::size_t count, std::size_t* index);
  void* (*addStruct)(void* container);  ///< a new element to be filled

  // Writing: `iterator` stands before the next element.
  Handle (*nextValue)(void* iterator);
  /// Takes numbers and counts each in `*index`.
  void (*nextNumbers)(void* iterator, double* numbers, std::size_t count, std::size_t* index);
  const void* (*nextStruct)(void* iterator);
};

/// Reads an array into a container. `exactly` is the number of elements it must have, or -1.
void readSequence(Handle array, const SequenceType& type, void* container, long exactly);

/// Makes an array of `size` elements.
Handle writeSequence(const SequenceType& type, void* iterator, std::size_t size);

struct MapType {
  void (*add)(void* map, Handle key, Handle value);
  Handle (*key)(const void* iterator);
  Handle (*nextValue)(void* iterator);
  bool stringKeys;
  bool keepsHandles;  ///< so that they must live as long as the call
};

/// Reads a plain object, or a Map where the keys are no strings.
void readMap(Handle object, const MapType& type, void* map);
Handle writeMap(const MapType& type, void* iterator, std::size_t size);

/// The struct behind ZAX_FIELDS, null for other types; zax-fields.h says more.
template <typename T, typename = void>
inline constexpr const StructType* structTypeOf = nullptr;
template <typename T, typename = void>
inline constexpr bool isStruct = false;

template <typename T, typename = void>
inline constexpr bool isContainer = false;
template <typename T>
inline constexpr bool isContainer<
    T, std::void_t<typename T::value_type, typename T::const_iterator, decltype(T().size()),
                   decltype(T().begin()), decltype(std::declval<T&>().clear())>> = true;

template <typename T, typename = void>
inline constexpr bool isPath = false;
template <typename T>
inline constexpr bool isPath<T, std::void_t<decltype(T::preferred_separator)>> = true;

template <typename T, typename = void>
inline constexpr bool isMap = false;
template <typename T>
inline constexpr bool isMap<T, std::void_t<typename T::mapped_type>> = true;

template <typename T, typename = void>
inline constexpr bool isGrowing = false;  ///< at its end: vector, list, deque
template <typename T>
inline constexpr bool isGrowing<T, std::void_t<decltype(std::declval<T&>().emplace_back())>> = true;

template <typename T, typename = void>
inline constexpr bool isSorted = false;
template <typename T>
inline constexpr bool isSorted<T, std::void_t<typename T::key_compare>> = true;

template <typename T, typename = void>
inline constexpr bool canReserve = false;
template <typename T>
inline constexpr bool canReserve<T, std::void_t<decltype(std::declval<T&>().reserve(1))>> = true;

/// Refuses NaN.
void checkOrder(double key);

/// Refuses a key for which there is no place in C: NaN, which what is sorted takes for any number.
template <typename C>
void checkKey([[maybe_unused]] const typename C::key_type& key) {
  if constexpr (isSorted<C> && std::is_floating_point_v<typename C::key_type>) checkOrder(key);
}

/// The functions of a SequenceType for a container C.
template <typename C>
struct SequenceFunctions {
  using Element = typename C::value_type;
  using Iterator = typename C::const_iterator;

  static C& at(void* container) { return *static_cast<C*>(container); }
  static Iterator& iteratorAt(void* iterator) { return *static_cast<Iterator*>(iterator); }

  static void add(void* container, Element&& element) {
    if constexpr (isGrowing<C>) {
      at(container).push_back(std::move(element));
    } else {
      checkKey<C>(element);
      at(container).insert(std::move(element));
    }
  }

  static void reserve(void* container, std::size_t count) {
    if constexpr (canReserve<C>) at(container).reserve(count);
  }
  static void addValue(void* container, Handle value) { add(container, from<Element>(value)); }
  static void addNumbers(void* container, const double* numbers, std::size_t count,
                         std::size_t* index) {
    for (std::size_t i = 0; i < count; ++i, ++*index) {
      add(container, Value<Element>::fromNumber(numbers[i]));
    }
  }
  static void* addStruct(void* container) { return &at(container).emplace_back(); }

  static Handle nextValue(void* iterator) {
    const Element& element = *iteratorAt(iterator);
    ++iteratorAt(iterator);
    return to(element);
  }
  static void nextNumbers(void* iterator, double* numbers, std::size_t count, std::size_t* index) {
    Iterator& it = iteratorAt(iterator);
    for (std::size_t i = 0; i < count; ++i, ++it, ++*index) {
      numbers[i] = Value<Element>::toNumber(*it);
    }
  }
  static const void* nextStruct(void* iterator) { return &*iteratorAt(iterator)++; }
};

template <typename C>
constexpr SequenceType sequenceTypeOf() {
  using Functions = SequenceFunctions<C>;
  using Element = typename C::value_type;
  SequenceType type{};
  type.keepsHandles = holds<Element, Handle>;
  type.reserve = Functions::reserve;
  if constexpr (isStruct<Element>) type.structType = structTypeOf<Element>;
  if constexpr (isReadable<Element>) {
    type.addValue = Functions::addValue;
    if constexpr (columnOf<Element> == ZaxNumberColumn) type.addNumbers = Functions::addNumbers;
    if constexpr (isStruct<Element> && isGrowing<C>) {
      type.addStruct = Functions::addStruct;
    }
  }
  if constexpr (isWritable<Element>) {
    type.nextValue = Functions::nextValue;
    if constexpr (columnOf<Element> == ZaxNumberColumn) type.nextNumbers = Functions::nextNumbers;
    if constexpr (isStruct<Element>) type.nextStruct = Functions::nextStruct;
  }
  return type;
}

template <typename C>
inline constexpr SequenceType sequenceType = sequenceTypeOf<C>();

/// The type in TypeScript of an array of elements of a type.
std::string arrayDeclaration(const std::string& element);

/// Sequences and sets: an array.
template <typename C>
struct Value<C, std::enable_if_t<isContainer<C> && !isMap<C> && !isPath<C>>> {
  using Element = typename C::value_type;
  static constexpr unsigned kinds = 1U << ZaxArray;

  static C from(Handle value) {
    static_assert(isReadable<Element>,
                  "zaxbase knows no way from JavaScript to the elements of "
                  "this container: specialise zax::Value for their type");
    C result;
    if constexpr (isReadable<Element>) readSequence(value, sequenceType<C>, &result, -1);
    return result;
  }
  static Handle to(const C& value) {
    static_assert(isWritable<Element>,
                  "zaxbase knows no way to JavaScript from the elements of "
                  "this container: specialise zax::Value for their type");
    auto iterator = value.begin();
    if constexpr (!isWritable<Element>) return {};
    return writeSequence(sequenceType<C>, &iterator, value.size());
  }
  static std::string declaration() { return arrayDeclaration(Declared<Element>::text()); }
};

/// An array of exactly N elements.
template <typename T, std::size_t N>
struct Value<std::array<T, N>> {
  static constexpr unsigned kinds = 1U << ZaxArray;

  /// Fills an array as if it grew.
  struct Filler {
    using value_type = T;
    using const_iterator = const T*;
    T& emplace_back() { return array[size_++]; }
    void push_back(T&& element) { emplace_back() = std::move(element); }
    std::array<T, N> array;
    std::size_t size_ = 0;
  };

  static std::array<T, N> from(Handle value) {
    Filler filler{};
    readSequence(value, sequenceType<Filler>, &filler, N);
    return std::move(filler.array);
  }
  static Handle to(const std::array<T, N>& value) {
    const T* iterator = value.data();
    return writeSequence(sequenceType<Filler>, &iterator, N);
  }
  static std::string declaration() { return declare(std::make_index_sequence<N>()); }

 private:
  template <std::size_t... I>
  static std::string declare(std::index_sequence<I...>) {
    return joinTypes("[", {(void(I), Declared<T>::text)...}, ", ", "]");
  }
};

/// Maps: an object where the keys are strings, otherwise a Map.
template <typename M>
struct Value<M, std::enable_if_t<isContainer<M> && isMap<M>>> {
  using Key = typename M::key_type;
  using Mapped = typename M::mapped_type;
  static constexpr bool stringKeys = std::is_same_v<Key, std::string>;
  static constexpr unsigned kinds = 1U << (stringKeys ? ZaxObject : ZaxMap);

  static M from(Handle value) {
    M result;
    readMap(value, type, &result);
    return result;
  }
  static Handle to(const M& value) {
    auto iterator = value.begin();
    return writeMap(type, &iterator, value.size());
  }
  static std::string declaration() {
    constexpr const char* before = stringKeys ? "Record<" : "Map<";
    return joinTypes(before, {Declared<Key>::text, Declared<Mapped>::text}, ", ", ">");
  }

 private:
  static void add(void* map, Handle keyValue, Handle value) {
    auto key = zax::from<Key>(keyValue);
    checkKey<M>(key);
    static_cast<M*>(map)->insert_or_assign(std::move(key), zax::from<Mapped>(value));
  }
  static Handle key(const void* iterator) {
    return zax::to((*static_cast<const typename M::const_iterator*>(iterator))->first);
  }
  static Handle nextValue(void* iterator) {
    return zax::to((*static_cast<typename M::const_iterator*>(iterator))++->second);
  }

  static constexpr MapType type{add, key, nextValue, stringKeys,
                                holds<Key, Handle> || holds<Mapped, Handle>};
};

}  // namespace zax

#endif
