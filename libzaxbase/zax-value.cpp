#include "zax-value.h"

#include <cerrno>
#include <cmath>

namespace zax {

thread_local Keeper* Keeper::current = nullptr;

namespace {

std::string integerText(double value) { return std::to_string(static_cast<long long>(value)); }

}  // namespace

void refuseInteger(Handle got, double min, double max) {
  throw BadArgument("integer from " + integerText(min) + " to " + integerText(max), got);
}

void refuseInteger64(Handle got, bool isSigned) {
  const std::string low = isSigned ? "-9007199254740991" : "0";
  throw BadArgument("integer from " + low + " to 9007199254740991 or a bigint of 64 bits", got);
}

void refuseOverflow(const std::string& number, const char* instead) {
  throw ConversionError(Errno(EOVERFLOW), number + " is beyond what a number holds exactly; " +
                                              instead + " gives a bigint");
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

void readTuple(Handle array, ZaxValue** elements, std::size_t count) {
  const std::string expected = "array of exactly " + std::to_string(count) + " elements";
  if (!array.isArray()) throw BadArgument(expected, array);
  const std::size_t length = array.length();
  if (length != count) {
    throw BadArgument(expected + " expected, got one of " + std::to_string(length));
  }
  if (count > 0) checked(backend->getElements(array.get(), 0, count, elements));
}

double wholeUnits(Handle got, double milliseconds, double numerator, double denominator, double min,
                  double end) {
  const double units = milliseconds * denominator / (numerator * 1000);
  const double whole = std::nearbyint(units);
  // A fraction of a millisecond is seldom exact in binary: 0.1 ms are 100 microseconds all the
  // same.
  if (!(std::abs(units - whole) <= std::abs(units) * 0x1p-50)) {
    throw BadArgument("milliseconds that are whole units of " +
                          std::to_string(static_cast<long long>(numerator)) + "/" +
                          std::to_string(static_cast<long long>(denominator)) + " seconds",
                      got);
  }
  if (!(whole >= min && whole < end)) {
    throw BadArgument("time within the range of its type", got);
  }
  return whole;
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
