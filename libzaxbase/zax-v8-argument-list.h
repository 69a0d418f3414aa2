#ifndef ZAX_V8_ARGUMENT_LIST_H
#define ZAX_V8_ARGUMENT_LIST_H

#include <nan.h>

#include <cstddef>
#include <list>
#include <map>
#include <set>
#include <string>
#include <tuple>
#include <type_traits>
#include <utility>
#include <vector>

#include "zax-exception-common.h"
#include "zax-v8-async-job.h"
#include "zax-v8-error.h"
#include "zax-v8-utils.h"

// The frame of every bound JavaScript call: the arguments are counted and converted, the native
// function or the job's factory is called, and a std::exception that any of this throws becomes
// the JavaScript exception of the call. All of it runs on the JavaScript thread.

namespace zax {

/// Converts a JavaScript value to a T. To make a type of your own a parameter of bound functions,
/// specialise it with `static void convert(T& out, const v8::Local<v8::Value>& value)`, which
/// throws what is to become the error of the call.
template <typename T>
struct ArgumentConverter {
  static_assert(sizeof(T) == 0,
                "a bound function cannot take this type: specialise zax::ArgumentConverter for it");
  static void convert(T& out, const v8::Local<v8::Value>& value);
};

/// A converter that is a function.
template <typename T, void (*parse)(T&, const v8::Local<v8::Value>&)>
struct ParsedBy {
  static void convert(T& out, const v8::Local<v8::Value>& value) { parse(out, value); }
};

using StringList = std::list<std::string>;
using StringSet = std::set<std::string>;
using StringPairs = std::list<std::pair<std::string, std::string>>;
using StringMap = std::map<std::string, std::string>;
using IntStringMap = std::map<int, std::string>;
using UIntVector = std::vector<unsigned int>;
using IntVector = std::vector<int>;

// clang-format off
template <> struct ArgumentConverter<std::string> : ParsedBy<std::string, parseString> {};
template <> struct ArgumentConverter<int> : ParsedBy<int, parseInt> {};
template <> struct ArgumentConverter<unsigned int> : ParsedBy<unsigned int, parseInt> {};
template <> struct ArgumentConverter<long> : ParsedBy<long, parseInt> {};
template <> struct ArgumentConverter<bool> : ParsedBy<bool, parseBoolean> {};
template <> struct ArgumentConverter<boolean_t> : ParsedBy<boolean_t, parseBoolean> {};
template <> struct ArgumentConverter<Callback> : ParsedBy<Callback, parseCallback> {};
template <> struct ArgumentConverter<StringList> : ParsedBy<StringList, parseStringList> {};
template <> struct ArgumentConverter<StringSet> : ParsedBy<StringSet, parseStringSet> {};
template <> struct ArgumentConverter<UIntVector> : ParsedBy<UIntVector, parseIntVector> {};
template <> struct ArgumentConverter<IntVector> : ParsedBy<IntVector, parseIntVector> {};
template <> struct ArgumentConverter<StringPairs> : ParsedBy<StringPairs, parseStringPairs> {};
template <> struct ArgumentConverter<StringMap> : ParsedBy<StringMap, parseStringStringMap> {};
template <> struct ArgumentConverter<IntStringMap> : ParsedBy<IntStringMap, parseIntStringMap> {};
// clang-format on

/// Unpacks the arguments of a call.
class ArgumentList {
 public:
  /// Converts every argument in order. Throws BadArgumentNumber when their number is not exactly
  /// that of `Args`, and otherwise what the first failing converter throws.
  template <typename... Args>
  static std::tuple<Args...> unpack(const Nan::FunctionCallbackInfo<v8::Value>& info) {
    if (info.Length() != static_cast<int>(sizeof...(Args))) {
      throw BadArgumentNumber(sizeof...(Args), info.Length(), ZAX_DEBUG_INFO);
    }
    std::tuple<Args...> args;
    convert(args, info, std::index_sequence_for<Args...>());
    return args;
  }

 private:
  template <typename... Args, std::size_t... Index>
  static void convert(std::tuple<Args...>& args,
                      [[maybe_unused]] const Nan::FunctionCallbackInfo<v8::Value>& info,
                      std::index_sequence<Index...>) {
    (ArgumentConverter<Args>::convert(std::get<Index>(args), info[Index]), ...);
  }
};

/// Calls a native function with unpacked arguments, in order, and returns what it returns.
class Packed {
 public:
  /// Passes copies to parameters by value.
  template <typename R, typename... Params, typename... Args>
  static R call(R (*fn)(Params...), std::tuple<Args...>& args) {
    return std::apply(fn, args);
  }

  /// Moves the elements to parameters by value.
  template <typename R, typename... Params, typename... Args>
  static R call(R (*fn)(Params...), std::tuple<Args...>&& args) {
    return std::apply(fn, std::move(args));
  }
};

/// Calls a native function with the unpacked arguments of a JavaScript call.
template <typename R, typename... Params>
R callUnpacked(R (*fn)(Params...), const Nan::FunctionCallbackInfo<v8::Value>& info) {
  constexpr bool bindable = (std::is_convertible_v<std::decay_t<Params>, Params> && ...);
  static_assert(bindable, "a bound function takes its parameters by value or by const reference");
  if constexpr (bindable) {
    return Packed::call(fn, ArgumentList::unpack<std::decay_t<Params>...>(info));
  } else {
    return R();
  }
}

/// Runs the native side of a call and turns a std::exception that it throws into the JavaScript
/// exception of the call, in place of one that script threw on the way there (a getter, say), which
/// must not be pending while the script side makes the error. Anything else that is thrown ends the
/// process.
template <typename Body>
void guardEntry(v8::Isolate* isolate, const Body& body) {
  const v8::HandleScope scope(isolate);
  v8::TryCatch thrownByScript(isolate);
  try {
    body();
  } catch (const std::exception& e) {
    ZAXError::throwException(e);
  }
  if (thrownByScript.HasCaught()) thrownByScript.ReThrow();
}

/// Base of a job class T that JavaScript can start: `class Sum : public zax::Binding<Sum>`. T has a
/// factory `static T* create(Args...)` that returns a job made with `new`, and a beginJob. The
/// factory's parameters, by value or by const reference, are those of the JavaScript function; what
/// it throws is thrown from the call, and so is ErrnoGenericException<EFAILED> if it returns null.
template <typename T>
class Binding : public AsyncJob {
 public:
  using AsyncJob::AsyncJob;

  /// The JavaScript function: creates the job, starts it and returns `undefined`.
  static void entry(const Nan::FunctionCallbackInfo<v8::Value>& info) {
    guardEntry(info.GetIsolate(), [&] {
      AsyncJob* job = callUnpacked(&T::create, info);
      if (!job) throw ErrnoGenericException<EFAILED>(__("create made no job"), ZAX_DEBUG_INFO);
      job->start();
    });
  }
};

/// Binds a plain function: `zax::BindFunction<void(int, std::string), fn>::entry`. The JavaScript
/// function returns `undefined`; a result goes through a Callback argument.
template <typename Signature, Signature* fn>
class BindFunction;

template <typename R, typename... Args, R (*fn)(Args...)>
class BindFunction<R(Args...), fn> {
  static_assert(std::is_void_v<R>,
                "a bound function returns void: its result goes to a zax::Callback parameter");

 public:
  static void entry(const Nan::FunctionCallbackInfo<v8::Value>& info) {
    guardEntry(info.GetIsolate(), [&] { callUnpacked(fn, info); });
  }
};

}  // namespace zax

#endif
