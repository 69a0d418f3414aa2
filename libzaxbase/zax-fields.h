#ifndef ZAX_FIELDS_H
#define ZAX_FIELDS_H

#include <cstddef>
#include <string>
#include <type_traits>
#include <utility>

#include "zax-container.h"
#include "zax-declaration.h"

// Plain structs and enums: ZAX_FIELDS and ZAX_ENUM, at the end of this file.

namespace zax {

/// One member of a struct. A pointer is null where the member's type lacks that direction, or its
/// column is another.
struct Member {
  void (*read)(void* object, Handle value);
  void (*readNumber)(void* object, double number);
  Handle (*write)(const void* object);
  double (*writeNumber)(const void* object);
  std::string (*declaration)();
};

/// A struct, for the functions below, which are compiled once.
struct StructType {
  const char* name;
  ZaxShape shape;
  const Member* members;
};

/// Ends a conversion that goes too deep, which a cyclic object would otherwise do to the process.
class DepthGuard {
 public:
  /// Throws TooDeep at a depth of 1,000 structs within each other, and where the stack ends sooner.
  DepthGuard();
  ~DepthGuard() { --depth; }
  DepthGuard(const DepthGuard&) = delete;
  DepthGuard& operator=(const DepthGuard&) = delete;

 private:
  static thread_local int depth;
};

// One struct.
void readStruct(Handle value, const StructType& type, void* object);
Handle writeStruct(const StructType& type, const void* object);

// A row of many: the struct's numbers and values lie one after another.
void readRow(const StructType& type, const double* numbers, ZaxValue* const* values, void* object);
void writeRow(const StructType& type, const void* object, double* numbers, ZaxValue** values);

std::string declareStruct(const StructType& type);

/// What ZAX_FIELDS specialises: `name`, `names`, `count` and `visit`.
template <typename T>
struct Fields {
  static constexpr bool exist = false;
};

template <typename T, auto member>
struct MemberFunctions {
  using Type = std::decay_t<decltype(std::declval<T&>().*member)>;
  static constexpr bool readable =
      isReadable<Type> && !holds<Type, std::string_view> && !holds<Type, Handle>;

  static Type& of(void* object) { return static_cast<T*>(object)->*member; }
  static const Type& of(const void* object) { return static_cast<const T*>(object)->*member; }

  static void read(void* object, Handle value) { of(object) = from<Type>(value); }
  static void readNumber(void* object, double number) {
    of(object) = Value<Type>::fromNumber(number);
  }
  static Handle write(const void* object) { return to(of(object)); }
  static double writeNumber(const void* object) { return Value<Type>::toNumber(of(object)); }

  static constexpr Member functions() {
    Member functions{nullptr, nullptr, nullptr, nullptr, Declared<Type>::text};
    constexpr bool isNumber = columnOf<Type> != ZaxValueColumn;
    if constexpr (readable) functions.read = read;
    if constexpr (readable && isNumber) functions.readNumber = readNumber;
    if constexpr (isWritable<Type>) functions.write = write;
    if constexpr (isWritable<Type> && isNumber) functions.writeNumber = writeNumber;
    return functions;
  }
};

template <typename T, auto... members>
struct StructTypeOf {
  static constexpr ZaxColumn columns[] = {columnOf<typename MemberFunctions<T, members>::Type>...};
  static constexpr Member functions[] = {MemberFunctions<T, members>::functions()...};
  static constexpr StructType type = {
      Fields<T>::name, {Fields<T>::names, columns, sizeof...(members)}, functions};
  static constexpr bool readable = (MemberFunctions<T, members>::readable && ...);
  static constexpr bool writable = (isWritable<typename MemberFunctions<T, members>::Type> && ...);
};

template <typename T>
inline constexpr const StructType* structTypeOf<T, std::enable_if_t<Fields<T>::exist>> =
    &Fields<T>::Type::type;
template <typename T>
inline constexpr bool isStruct<T, std::enable_if_t<Fields<T>::exist>> = true;

template <typename T>
struct Value<T, std::enable_if_t<Fields<T>::exist>> {
  static constexpr unsigned kinds = 1U << ZaxObject | 1U << ZaxMap | 1U << ZaxDate | 1U << ZaxBytes;

  static T from(Handle value) {
    static_assert(
        Fields<T>::Type::readable,
        "a member of this struct has a type that cannot come from JavaScript: specialise "
        "zax::Value for it (a std::string_view and a zax::Handle end too soon to be one)");
    T result{};
    readStruct(value, Fields<T>::Type::type, &result);
    return result;
  }
  static Handle to(const T& value) {
    static_assert(Fields<T>::Type::writable,
                  "a member of this struct has a type that cannot become a JavaScript value: "
                  "specialise zax::Value for it");
    return writeStruct(Fields<T>::Type::type, &value);
  }
  static std::string declaration() { return declareStruct(Fields<T>::Type::type); }
};

/// An enum's names; `values` holds their numbers.
struct EnumType {
  const char* name;
  const char* const* names;
  const long long* values;
  std::size_t count;
};

long long readEnum(Handle value, const EnumType& type);
Handle writeEnum(const EnumType& type, long long value);
std::string declareEnum(const EnumType& type);

/// What ZAX_ENUM specialises.
template <typename T>
struct Enumerators {
  static constexpr bool exist = false;
};

template <typename T>
struct Value<T, std::enable_if_t<Enumerators<T>::exist>> {
  static constexpr unsigned kinds = 1U << ZaxString;
  static T from(Handle value) { return static_cast<T>(readEnum(value, Enumerators<T>::type)); }
  static Handle to(T value) {
    return writeEnum(Enumerators<T>::type, static_cast<long long>(value));
  }
  static std::string declaration() { return declareEnum(Enumerators<T>::type); }
};

}  // namespace zax

// ZAX_EACH(macro, T, a, b, c) is macro(T, a), macro(T, b), macro(T, c), for up to 256 names.
#define ZAX_PARENTHESES ()
#define ZAX_EXPAND(...) ZAX_EXPAND3(ZAX_EXPAND3(ZAX_EXPAND3(ZAX_EXPAND3(__VA_ARGS__))))
#define ZAX_EXPAND3(...) ZAX_EXPAND2(ZAX_EXPAND2(ZAX_EXPAND2(ZAX_EXPAND2(__VA_ARGS__))))
#define ZAX_EXPAND2(...) ZAX_EXPAND1(ZAX_EXPAND1(ZAX_EXPAND1(ZAX_EXPAND1(__VA_ARGS__))))
#define ZAX_EXPAND1(...) ZAX_EXPAND0(ZAX_EXPAND0(ZAX_EXPAND0(ZAX_EXPAND0(__VA_ARGS__))))
#define ZAX_EXPAND0(...) __VA_ARGS__
#define ZAX_EACH(macro, T, ...) ZAX_EXPAND(ZAX_EACH_NEXT(macro, T, __VA_ARGS__))
#define ZAX_EACH_NEXT(macro, T, name, ...) \
  macro(T, name) __VA_OPT__(, ZAX_EACH_AGAIN ZAX_PARENTHESES(macro, T, __VA_ARGS__))
#define ZAX_EACH_AGAIN() ZAX_EACH_NEXT

#define ZAX_NAME_OF(T, name) #name
#define ZAX_MEMBER_OF(T, name) &T::name
#define ZAX_VALUE_OF(T, name) static_cast<long long>(T::name)

/// Makes a struct a plain object in JavaScript, with the members that are named:
/// `ZAX_FIELDS(Point, x, y)`, in the global namespace. The struct is default-constructible.
#define ZAX_FIELDS(T, ...)                                                          \
  template <>                                                                       \
  struct zax::Fields<T> {                                                           \
    static constexpr bool exist = true;                                             \
    static constexpr const char* name = #T;                                         \
    static constexpr const char* names[] = {ZAX_EACH(ZAX_NAME_OF, T, __VA_ARGS__)}; \
    using Type = zax::StructTypeOf<T, ZAX_EACH(ZAX_MEMBER_OF, T, __VA_ARGS__)>;     \
  }

/// Makes an enum one of the named texts in JavaScript: `ZAX_ENUM(Color, red, green)`, in the global
/// namespace.
#define ZAX_ENUM(T, ...)                                                                           \
  template <>                                                                                      \
  struct zax::Enumerators<T> {                                                                     \
    static constexpr bool exist = true;                                                            \
    static constexpr const char* names[] = {ZAX_EACH(ZAX_NAME_OF, T, __VA_ARGS__)};                \
    static constexpr long long values[] = {ZAX_EACH(ZAX_VALUE_OF, T, __VA_ARGS__)};                \
    static constexpr zax::EnumType type = {#T, names, values, sizeof(values) / sizeof(values[0])}; \
  }

#endif
