#include "zax-value.h"

#include <algorithm>
#include <cerrno>
#include <cmath>

#include "zax-base.h"

namespace zax {

thread_local Keeper* Keeper::current = nullptr;

namespace {

std::string integerText(double value) { return std::to_string(static_cast<long long>(value)); }

}  // namespace

void refuse(Handle got, const char* expected) { throw BadArgument(expected, got); }

void refuseInteger(Handle got, double min, double max) {
  throw BadArgument(concat({"integer from ", integerText(min), " to ", integerText(max)}), got);
}

void refuseInteger64(Handle got, bool isSigned) {
  const std::string_view low = isSigned ? "-9007199254740991" : "0";
  throw BadArgument(concat({"integer from ", low, " to 9007199254740991 or a bigint of 64 bits"}),
                    got);
}

void refuseOverflow(const std::string& number, const char* instead) {
  throw ConversionError(
      Errno(EOVERFLOW),
      concat({number, " is beyond what a number holds exactly; ", instead, " gives a bigint"}));
}

std::string joinTypes(const char* before, std::initializer_list<std::string (*)()> types,
                      const char* between, const char* after) {
  std::string text = before;
  bool first = true;
  for (std::string (*type)() : types) {
    if (!first) text += between;
    first = false;
    text += type();
  }
  return text += after;
}

std::string declareFunction(std::initializer_list<std::string (*)()> parameters,
                            std::string (*result)()) {
  std::string text = "((";
  int position = 0;
  for (std::string (*parameter)() : parameters) {
    if (position > 0) text += ", ";
    text += concat({"arg", std::to_string(++position), ": ", parameter()});
  }
  return concat({text, ") => ", result ? result() : "void", ")"});
}

BigInt64 Value<BigInt64>::from(Handle value) {
  BigInt64 result;
  if (value.isBigInt() && backend->getInt64(value.get(), &result.value)) return result;
  throw BadArgument("bigint from -9223372036854775808n to 9223372036854775807n", value);
}

BigUint64 Value<BigUint64>::from(Handle value) {
  BigUint64 result;
  if (value.isBigInt() && backend->getUint64(value.get(), &result.value)) return result;
  throw BadArgument("bigint from 0n to 18446744073709551615n", value);
}

std::nullptr_t Value<std::nullptr_t>::from(Handle value) {
  if (!value.isNull()) throw BadArgument("null", value);
  return nullptr;
}

std::monostate Value<std::monostate>::from(Handle value) {
  if (!value.isUndefined()) throw BadArgument("undefined", value);
  return {};
}

void refuseAll(Handle got, const std::string& declaration) { throw BadArgument(declaration, got); }

void checkLength(std::size_t length, std::size_t expected) {
  if (length == expected) return;
  throw BadArgument(concat({"array of exactly ", std::to_string(expected),
                            " elements expected, got one of ", std::to_string(length)}));
}

void readTuple(Handle array, ZaxValue** elements, std::size_t count) {
  if (!array.isArray()) throw BadArgument("array", array);
  checkLength(array.length(), count);
  if (count > 0) checked(backend->getElements(array.get(), 0, count, elements));
}

namespace {

/// How many units a millisecond has; 0 where that is no whole number.
long long unitsPerMillisecond(long long numerator, long long denominator) {
  const bool whole = denominator % 1000 == 0 && denominator / 1000 % numerator == 0;
  return whole ? denominator / 1000 / numerator : 0;
}

}  // namespace

long long wholeUnits(Handle got, double milliseconds, long long numerator, long long denominator,
                     double min, double end) {
  const double units =
      milliseconds * static_cast<double>(denominator) / (static_cast<double>(numerator) * 1000);
  const double whole = std::nearbyint(units);
  // A fraction of a millisecond is seldom exact in binary: 0.1 ms are 100 microseconds all the
  // same.
  if (!(std::abs(units - whole) <= std::abs(units) * 0x1p-50)) {
    throw BadArgument(concat({"milliseconds that are whole units of ", std::to_string(numerator),
                              "/", std::to_string(denominator), " seconds"}),
                      got);
  }
  if (!(whole >= min && whole < std::min(end, 0x1p63))) {
    throw BadArgument("time within the range of its type", got);
  }
  // In whole numbers, where it goes: nanoseconds since 1970 are more than a double holds exactly.
  const long long scale = unitsPerMillisecond(numerator, denominator);
  long long exact;
  if (scale > 0 && std::trunc(milliseconds) == milliseconds &&
      !__builtin_mul_overflow(static_cast<long long>(milliseconds), scale, &exact)) {
    return exact;
  }
  return static_cast<long long>(whole);
}

double toMilliseconds(long long count, long long numerator, long long denominator) {
  const long long scale = unitsPerMillisecond(numerator, denominator);
  if (scale > 0) {
    const long long whole = count / scale;
    return static_cast<double>(whole) +
           static_cast<double>(count % scale) / static_cast<double>(scale);
  }
  return static_cast<double>(count) * static_cast<double>(numerator) * 1000 /
         static_cast<double>(denominator);
}

double floorMilliseconds(long long count, long long numerator, long long denominator) {
  const long long scale = unitsPerMillisecond(numerator, denominator);
  if (scale == 0) return std::floor(toMilliseconds(count, numerator, denominator));
  const long long whole = count / scale - (count % scale < 0);
  return static_cast<double>(whole);
}

double readDate(Handle value) {
  double milliseconds;
  if (!backend->getDate(value.get(), &milliseconds)) throw BadArgument("Date", value);
  if (std::isnan(milliseconds)) throw BadArgument("valid Date expected, got an invalid one");
  return milliseconds;
}

void refuseResult(ConversionError& error) {
  error.inCallback();
  throw;
}

}  // namespace zax
