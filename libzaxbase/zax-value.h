#ifndef ZAX_VALUE_H
#define ZAX_VALUE_H

#include <array>
#include <cstddef>
#include <cstdint>
#include <initializer_list>
#include <limits>
#include <list>
#include <optional>
#include <string>
#include <string_view>
#include <tuple>
#include <type_traits>
#include <utility>
#include <variant>

#include "zax-handle.h"

// What a C++ type is in JavaScript. Everything here runs on the JavaScript thread, in a call.

namespace zax {

/// The conversions of a type T. To give a type of your own a form in JavaScript, specialise it in
/// the namespace zax with one or both of
///
///     static T from(zax::Handle value);        // throws BadArgument for what is no T
///     static zax::Handle to(const T& value);
///
/// and `static std::string declaration()`, its type in TypeScript. The second parameter is for
/// specialisations that take many types by a condition.
template <typename T, typename = void>
struct Value;

/// Whether a type begins in one of the namespaces that have no classes of authors.
template <typename T>
constexpr bool isOfLibrary() {
  constexpr std::string_view name = __PRETTY_FUNCTION__;
  return name.find("T = std::") != name.npos || name.find("T = zax::") != name.npos;
}

/// Whether a type that has no Value of its own may be one by `module.type<T>`: a class with
/// constructors or private members. For one without, which could as well be meant for ZAX_FIELDS,
/// say it: `template <> inline constexpr bool zax::isType<Point> = true;`.
template <typename T>
inline constexpr bool isType = std::is_class_v<T> && !std::is_aggregate_v<T> && !isOfLibrary<T>();

struct NoValue {};
/// In zax-instance.h.
template <typename T>
struct InstanceValue;

template <typename T, typename>
struct Value : std::conditional_t<isType<T>, InstanceValue<T>, NoValue> {};

/// `void` where all the types exist. Of std::void_t clang 14 thinks that it is the same whatever
/// its types are, so that two specialisations by it would be one.
template <typename...>
struct ExistHelper {
  using type = void;
};
template <typename... T>
using Exist = typename ExistHelper<T...>::type;

template <typename T, typename = void>
inline constexpr bool isReadable = false;
template <typename T>
inline constexpr bool isReadable<T, std::void_t<decltype(Value<T>::from(Handle()))>> = true;

template <typename T, typename = void>
inline constexpr bool isWritable = false;
template <typename T>
inline constexpr bool isWritable<T, std::void_t<decltype(Value<T>::to(std::declval<T>()))>> = true;

/// A JavaScript value as a T. Throws BadArgument where it is none.
template <typename T>
T from(Handle value) {
  static_assert(isReadable<T>,
                "zaxbase knows no way from JavaScript to this type: specialise zax::Value<T> with "
                "`static T from(zax::Handle)`, or use ZAX_FIELDS or ZAX_ENUM");
  if constexpr (isReadable<T>) return Value<T>::from(value);
}

/// A T as a JavaScript value. Throws ConversionError where it has no form there.
template <typename T>
Handle to(T&& value) {
  using Plain = std::decay_t<T>;
  static_assert(isWritable<Plain>,
                "zaxbase knows no way from this type to JavaScript: specialise zax::Value<T> with "
                "`static zax::Handle to(const T&)`, or use ZAX_FIELDS or ZAX_ENUM");
  if constexpr (isWritable<Plain>) return Value<Plain>::to(std::forward<T>(value));
}

/// The type in TypeScript; "unknown" where a type of the author's does not say.
template <typename T, typename = void>
struct Declared {
  static std::string text() { return "unknown"; }
};
template <typename T>
struct Declared<T, std::void_t<decltype(Value<T>::declaration())>> {
  static std::string text() { return Value<T>::declaration(); }
};

template <>
struct Declared<void> {
  static std::string text() { return "void"; }
};

/// Types in TypeScript in a row.
std::string joinTypes(const char* before, std::initializer_list<std::string (*)()> types,
                      const char* between, const char* after);

/// The type of a function; a null `result` is that of none.
std::string declareFunction(std::initializer_list<std::string (*)()> parameters,
                            std::string (*result)());

/// How values of a type cross when many do: as numbers in memory that both sides see, or one by
/// one. A type with a column other than ZaxValueColumn has fromNumber and toNumber too.
template <typename T, typename = void>
inline constexpr ZaxColumn columnOf = ZaxValueColumn;
template <typename T>
inline constexpr ZaxColumn columnOf<T, std::void_t<decltype(Value<T>::column)>> = Value<T>::column;

/// What a T may come from, a bit for each ZaxKind, so that an alternative that cannot match is not
/// tried.
template <typename T, typename = void>
inline constexpr unsigned kindsOf = ~0U;
template <typename T>
inline constexpr unsigned kindsOf<T, std::void_t<decltype(Value<T>::kinds)>> = Value<T>::kinds;

template <>
struct Value<Handle> {
  static Handle from(Handle value) { return value; }
  static Handle to(Handle value) { return value; }
  static std::string declaration() { return "unknown"; }
};

// Booleans, numbers.

template <>
struct Value<bool> {
  static constexpr ZaxColumn column = ZaxBooleanColumn;
  static constexpr unsigned kinds = 1U << ZaxBoolean;
  static bool from(Handle value) { return value.boolean(); }
  static Handle to(bool value) { return Handle::boolean(value); }
  static bool fromNumber(double number) { return number != 0; }
  static double toNumber(bool value) { return value; }
  static std::string declaration() { return "boolean"; }
};

/// Throws a BadArgument, whose making need not stand in every conversion.
[[noreturn]] void refuse(Handle got, const char* expected);
[[noreturn]] void refuseInteger(Handle got, double min, double max);
[[noreturn]] void refuseInteger64(Handle got, bool isSigned);
[[noreturn]] void refuseOverflow(const std::string& number, const char* instead);

inline constexpr double maxSafeInteger = 9007199254740991.0;

template <typename T>
inline constexpr bool isCharacter = std::is_same_v<T, char> || std::is_same_v<T, wchar_t> ||
                                    std::is_same_v<T, char16_t> || std::is_same_v<T, char32_t>;
template <typename T>
inline constexpr bool isInteger =
    std::is_integral_v<T> && !std::is_same_v<T, bool> && !isCharacter<T>;

/// Integers of up to 32 bits.
template <typename T>
struct Value<T, std::enable_if_t<isInteger<T> && sizeof(T) <= 4>> {
  static constexpr ZaxColumn column = ZaxNumberColumn;
  static constexpr unsigned kinds = 1U << ZaxNumber;
  static constexpr double min = std::numeric_limits<T>::min();
  static constexpr double max = std::numeric_limits<T>::max();

  static T from(Handle value) {
    double number;
    T result;
    if (backend->getNumber(value.get(), &number) && fits(number, result)) return result;
    refuseInteger(value, min, max);
  }
  static Handle to(T value) { return Handle::number(value); }
  static T fromNumber(double number) {
    T result;
    if (!fits(number, result)) refuseInteger(Handle::number(number), min, max);
    return result;
  }
  static double toNumber(T value) { return value; }
  static std::string declaration() { return "number"; }

 private:
  static bool fits(double number, T& result) {
    if (!(number >= min && number <= max)) return false;
    result = static_cast<T>(number);
    return static_cast<double>(result) == number;
  }
};

/// Integers of 64 bits: numbers as far as they are exact.
template <typename T>
struct Value<T, std::enable_if_t<isInteger<T> && sizeof(T) == 8>> {
  static constexpr ZaxColumn column = ZaxNumberColumn;
  static constexpr unsigned kinds = 1U << ZaxNumber | 1U << ZaxBigInt;

  static T from(Handle value) {
    if constexpr (std::is_signed_v<T>) {
      std::int64_t result;
      if (backend->getInt64(value.get(), &result)) return static_cast<T>(result);
    } else {
      std::uint64_t result;
      if (backend->getUint64(value.get(), &result)) return static_cast<T>(result);
    }
    refuseInteger64(value, std::is_signed_v<T>);
  }
  static Handle to(T value) { return Handle::number(toNumber(value)); }
  static T fromNumber(double number) {
    constexpr double min = std::is_signed_v<T> ? -maxSafeInteger : 0;
    if (number >= min && number <= maxSafeInteger) {
      const T result = static_cast<T>(number);
      if (static_cast<double>(result) == number) return result;
    }
    refuseInteger64(Handle::number(number), std::is_signed_v<T>);
  }
  static double toNumber(T value) {
    const auto number = static_cast<double>(value);
    if (number > maxSafeInteger || number < -maxSafeInteger) {
      refuseOverflow(std::to_string(value),
                     std::is_signed_v<T> ? "zax::BigInt64" : "zax::BigUint64");
    }
    return number;
  }
  static std::string declaration() { return "number"; }
};

template <typename T>
struct Value<T, std::enable_if_t<std::is_same_v<T, double> || std::is_same_v<T, float>>> {
  static constexpr ZaxColumn column = ZaxNumberColumn;
  static constexpr unsigned kinds = 1U << ZaxNumber;
  static T from(Handle value) {
    double number;
    if (!backend->getNumber(value.get(), &number)) refuse(value, "number");
    return static_cast<T>(number);
  }
  static Handle to(T value) { return Handle::number(static_cast<double>(value)); }
  static T fromNumber(double number) { return static_cast<T>(number); }
  static double toNumber(T value) { return static_cast<double>(value); }
  static std::string declaration() { return "number"; }
};

/// An integer that is a bigint in JavaScript.
struct BigInt64 {
  std::int64_t value = 0;
};
struct BigUint64 {
  std::uint64_t value = 0;
};

template <>
struct Value<BigInt64> {
  static constexpr unsigned kinds = 1U << ZaxBigInt;
  static BigInt64 from(Handle value);
  static Handle to(BigInt64 value) { return Handle(backend->makeBigInt64(value.value)); }
  static std::string declaration() { return "bigint"; }
};
template <>
struct Value<BigUint64> {
  static constexpr unsigned kinds = 1U << ZaxBigInt;
  static BigUint64 from(Handle value);
  static Handle to(BigUint64 value) { return Handle(backend->makeBigUint64(value.value)); }
  static std::string declaration() { return "bigint"; }
};

// Texts.

template <>
struct Value<std::string> {
  static constexpr unsigned kinds = 1U << ZaxString;
  static std::string from(Handle value) { return value.text(); }
  static Handle to(std::string_view value) { return Handle::text(value); }
  static std::string declaration() { return "string"; }
};

/// Holds the texts of a call's `std::string_view` arguments.
class Keeper {
 public:
  Keeper() : outer_(current) { current = this; }
  ~Keeper() { end(); }
  Keeper(const Keeper&) = delete;
  Keeper& operator=(const Keeper&) = delete;

  /// No further texts go to this one; those that it has live as long as it does.
  void end() {
    if (current == this) current = outer_;
  }

  static std::string_view keep(std::string text) {
    return current->texts_.emplace_back(std::move(text));
  }

 private:
  static thread_local Keeper* current;

  Keeper* outer_;
  std::list<std::string> texts_;
};

/// Whether a type is, or has among its template arguments, one that lives no longer than the call:
/// a `std::string_view`, which needs a Keeper, or a Handle.
template <typename T, typename Held>
inline constexpr bool holds = std::is_same_v<T, Held>;
template <template <typename...> class Outer, typename... Inner, typename Held>
inline constexpr bool holds<Outer<Inner...>, Held> = (holds<Inner, Held> || ...);
template <typename T, std::size_t N, typename Held>
inline constexpr bool holds<std::array<T, N>, Held> = holds<T, Held>;
template <>
inline constexpr bool holds<std::string_view, std::string_view> = true;

/// What a std::function holds.
struct ScriptFunction;
template <typename R, typename... Args>
inline constexpr bool holds<R(Args...), ScriptFunction> = true;

template <>
struct Value<std::string_view> {
  static constexpr unsigned kinds = 1U << ZaxString;
  static std::string_view from(Handle value) { return Keeper::keep(value.text()); }
  static Handle to(std::string_view value) { return Handle::text(value); }
  static std::string declaration() { return "string"; }
};

template <>
struct Value<const char*> {
  static Handle to(const char* value) { return value ? Handle::text(value) : Handle::null(); }
  static std::string declaration() { return "string | null"; }
};

/// std::filesystem::path, whose header is not everybody's.
template <typename T>
struct Value<T, Exist<decltype(T::preferred_separator), typename T::string_type>> {
  static constexpr unsigned kinds = 1U << ZaxString;
  static T from(Handle value) { return T(value.text()); }
  static Handle to(const T& value) { return Handle::text(value.string()); }
  static std::string declaration() { return "string"; }
};

// Nothing, something, one of several.

template <>
struct Value<std::nullptr_t> {
  static constexpr unsigned kinds = 1U << ZaxNull;
  static std::nullptr_t from(Handle value);
  static Handle to(std::nullptr_t) { return Handle::null(); }
  static std::string declaration() { return "null"; }
};

template <>
struct Value<std::monostate> {
  static constexpr unsigned kinds = 1U << ZaxUndefined;
  static std::monostate from(Handle value);
  static Handle to(std::monostate) { return Handle::undefined(); }
  static std::string declaration() { return "undefined"; }
};

template <typename T>
struct Value<std::optional<T>> {
  static constexpr unsigned kinds = kindsOf<T> | 1U << ZaxUndefined | 1U << ZaxNull;
  static std::optional<T> from(Handle value) {
    if (value.kind() <= ZaxNull) return std::nullopt;
    return zax::from<T>(value);
  }
  static Handle to(const std::optional<T>& value) {
    return value ? zax::to(*value) : Handle::undefined();
  }
  static Handle to(std::optional<T>&& value) {
    return value ? zax::to(std::move(*value)) : Handle::undefined();
  }
  static std::string declaration() {
    return joinTypes("", {Declared<T>::text}, "", " | undefined");
  }
};

[[noreturn]] void refuseAll(Handle got, const std::string& declaration);

template <typename... T>
struct Value<std::variant<T...>> {
  using Variant = std::variant<T...>;
  static constexpr unsigned kinds = (kindsOf<T> | ...);

  static Variant from(Handle value) {
    const unsigned kind = 1U << value.kind();
    std::optional<Variant> result;
    const bool matched = (tryOne<T>(value, kind, result) || ...);
    if (!matched) refuseAll(value, declaration());
    return std::move(*result);
  }
  template <typename V>
  static Handle to(V&& value) {
    return std::visit([](auto&& held) { return zax::to(std::forward<decltype(held)>(held)); },
                      std::forward<V>(value));
  }
  static std::string declaration() { return joinTypes("", {Declared<T>::text...}, " | ", ""); }

 private:
  template <typename Alternative>
  static bool tryOne(Handle value, unsigned kind, std::optional<Variant>& result) {
    if (!(kindsOf<Alternative> & kind)) return false;
    try {
      result.emplace(std::in_place_type<Alternative>, zax::from<Alternative>(value));
      return true;
    } catch (const TooDeep&) {
      throw;
    } catch (const ConversionError&) {
      return false;
    }
  }
};

// Fixed numbers of values.

/// Throws BadArgument for an array of another length.
void checkLength(std::size_t length, std::size_t expected);

/// The elements of an array that must have exactly `count`.
void readTuple(Handle array, ZaxValue** elements, std::size_t count);

/// Runs a conversion; what it throws says that the value was element `index`.
template <typename Convert>
auto atElement(std::size_t index, const Convert& convert) {
  try {
    return convert();
  } catch (ConversionError& error) {
    error.inElement(index);
    throw;
  }
}

template <typename Tuple, typename... T>
struct TupleValue {
  static constexpr unsigned kinds = 1U << ZaxArray;

  static Tuple from(Handle value) {
    ZaxValue* elements[sizeof...(T) + 1];
    readTuple(value, elements, sizeof...(T));
    return read(elements, std::index_sequence_for<T...>());
  }
  template <typename V>
  static Handle to(V&& value) {
    return write(std::forward<V>(value), std::index_sequence_for<T...>());
  }
  static std::string declaration() { return joinTypes("[", {Declared<T>::text...}, ", ", "]"); }

 private:
  template <std::size_t... I>
  static Tuple read([[maybe_unused]] ZaxValue** elements, std::index_sequence<I...>) {
    return Tuple{atElement(I, [&] { return zax::from<T>(Handle(elements[I])); })...};
  }
  template <typename V, std::size_t... I>
  static Handle write([[maybe_unused]] V&& value, std::index_sequence<I...>) {
    ZaxValue* const elements[] = {
        atElement(I, [&] { return zax::to(std::get<I>(std::forward<V>(value))); }).get()...,
        nullptr};
    return Handle(backend->makeArray(elements, sizeof...(I)));
  }
};

template <typename... T>
struct Value<std::tuple<T...>> : TupleValue<std::tuple<T...>, T...> {};
template <typename A, typename B>
struct Value<std::pair<A, B>> : TupleValue<std::pair<A, B>, A, B> {};

// Times. The types of <chrono> are told by their members: its header is not everybody's.

/// Milliseconds in units of `numerator / denominator` seconds. Throws BadArgument where that is no
/// whole number from `min` to below `end`.
long long wholeUnits(Handle got, double milliseconds, long long numerator, long long denominator,
                     double min, double end);

/// The other way around; exact as far as the fraction fits, or without the fraction.
double toMilliseconds(long long count, long long numerator, long long denominator);
double floorMilliseconds(long long count, long long numerator, long long denominator);

/// A valid Date, in milliseconds.
double readDate(Handle value);

template <typename T>
struct Value<T, Exist<typename T::rep, typename T::period, decltype(T::zero().count())>> {
  static constexpr unsigned kinds = 1U << ZaxNumber;
  static T from(Handle value) { return fromMilliseconds(value, value.number()); }
  static Handle to(const T& value) { return Handle::number(milliseconds(value)); }
  static std::string declaration() { return "number"; }

  static T fromMilliseconds(Handle got, double number) {
    if constexpr (isWhole) {
      constexpr auto min = static_cast<double>(std::numeric_limits<Rep>::min());
      constexpr double end = static_cast<double>(std::numeric_limits<Rep>::max()) + 1;
      return T(static_cast<Rep>(wholeUnits(got, number, T::period::num, T::period::den, min, end)));
    } else {
      return T(static_cast<Rep>(number * T::period::den / (1000.0 * T::period::num)));
    }
  }
  static double milliseconds(const T& value) {
    if constexpr (isWhole) return toMilliseconds(value.count(), T::period::num, T::period::den);
    return static_cast<double>(value.count()) * T::period::num * 1000 / T::period::den;
  }
  static double floorMilliseconds(const T& value) {
    if constexpr (!isWhole) return milliseconds(value);
    return zax::floorMilliseconds(value.count(), T::period::num, T::period::den);
  }

 private:
  using Rep = typename T::rep;
  static constexpr bool isWhole = std::is_integral_v<Rep>;
};

/// The points of std::chrono::system_clock.
template <typename T>
struct Value<T, Exist<typename T::clock, typename T::duration,
                      decltype(T::clock::to_time_t(typename T::clock::time_point()))>> {
  static constexpr unsigned kinds = 1U << ZaxDate;
  using Duration = Value<typename T::duration>;
  static T from(Handle value) { return T(Duration::fromMilliseconds(value, readDate(value))); }
  static Handle to(const T& value) {
    return Handle(backend->makeDate(Duration::floorMilliseconds(value.time_since_epoch())));
  }
  static std::string declaration() { return "Date"; }
};

// JavaScript functions.

/// For the handler of a conversion that failed: says that the value is what a function returned.
[[noreturn]] void refuseResult(ConversionError& error);

/// std::function, whose header is not everybody's. Called on the JavaScript thread that it comes
/// from; what the function throws is thrown as a ScriptException.
template <template <typename> class F, typename R, typename... Args>
struct Value<F<R(Args...)>> {
  static constexpr unsigned kinds = 1U << ZaxFunctionKind;

  static F<R(Args...)> from(Handle value) {
    static_assert(!holds<std::decay_t<R>, std::string_view>,
                  "what a JavaScript function returns ends with the call: instead of a "
                  "std::string_view use a std::string");
    if (!value.isFunction()) refuse(value, "function");
    return [function = Reference(value)](Args... args) -> R {
      function.check();
      Scope scope;
      ZaxValue* const arguments[] = {zax::to(std::forward<Args>(args)).get()..., nullptr};
      ZaxValue* const result = backend->call(function.value().get(), arguments, sizeof...(Args));
      return readResult(scope, checked(result));
    };
  }
  static std::string declaration() {
    if constexpr (std::is_void_v<R>) {
      return declareFunction({Declared<std::decay_t<Args>>::text...}, nullptr);
    } else {
      return declareFunction({Declared<std::decay_t<Args>>::text...}, Declared<R>::text);
    }
  }

 private:
  static R readResult([[maybe_unused]] Scope& scope, [[maybe_unused]] Handle result) {
    static_assert(
        std::is_same_v<R, Handle> || !holds<std::decay_t<R>, Handle>,
        "of what a JavaScript function returns only a plain zax::Handle outlives the call");
    if constexpr (std::is_same_v<R, Handle>) {
      return scope.close(result);
    } else if constexpr (!std::is_void_v<R>) {
      try {
        return zax::from<R>(result);
      } catch (ConversionError& error) {
        refuseResult(error);
      }
    }
  }
};

}  // namespace zax

#endif
