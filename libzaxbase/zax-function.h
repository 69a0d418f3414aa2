#ifndef ZAX_FUNCTION_H
#define ZAX_FUNCTION_H

#include <initializer_list>
#include <string>
#include <string_view>
#include <tuple>
#include <type_traits>
#include <utility>
#include <vector>

#include "zax-bytes.h"
#include "zax-fields.h"
#include "zax-value.h"

// C++ callables as JavaScript functions. A template says what a signature's types are; counting,
// errors and the call from JavaScript are compiled once, in zax-function.cpp.

namespace zax {

/// What is known of a callable's parameters and result; constants of static lifetime.
struct Signature {
  std::string (*const* parameters)();  ///< their types in TypeScript
  int count;
  int required;  ///< how many must be given: all but the optional ones at the end
  std::string (*result)();
  bool isTask = false;  ///< whether the last parameter has the options of a task
};

/// One call on its way: where it stands tells what an error is about.
struct Invocation {
  static constexpr int working = -1;
  static constexpr int returning = -2;
  static constexpr int progress = -3;

  ZaxCall* call;
  ZaxValue* const* arguments;
  int count;
  int position = working;  ///< the argument that is being converted, or one of those above
};

/// How a function is told to JavaScript and to people; made from texts that outlive it.
struct Naming {
  std::string_view name;
  std::initializer_list<const char*> parameters;  ///< none, or all of them
  std::string_view text;                          ///< a sentence for declarations
};

/// A native function that JavaScript can call. Made when the module is, owned by its environment;
/// called on the JavaScript thread.
class Function : public ZaxFunction {
 public:
  /// Throws nothing.
  using Run = ZaxValue* (*)(const Function& function, Invocation& invocation);

  Function(const Naming& naming, const Signature& signature, Run run);
  Function(const Function&) = delete;
  Function& operator=(const Function&) = delete;

  /// What follows the name in a declaration file, as in `(values: number[]): number`; a line for
  /// each parameter, indented further than the name is, where one does not hold them all.
  std::string declaration(const std::string& indentation) const;
  const std::string& text() const { return text_; }
  const std::string& jsName() const { return name_; }

  /// For the handler of an exception: throws it, or what is no std::exception, into script and
  /// returns null. `position` is an Invocation's.
  ZaxValue* fail(int position, std::exception* thrown) const noexcept;

 protected:
  ~Function();

 private:
  static ZaxValue* enter(const ZaxFunction* self, ZaxCall* call, ZaxValue* const* arguments,
                         int count);
  /// Out of line, because the stack would have room for an exception in every call.
  __attribute__((noinline)) ZaxValue* refuseCount(const Invocation& invocation) const noexcept;
  std::string describe(int position) const;
  std::string parameterName(int index) const;
  std::string declareParameter(int index) const;

  std::string name_;
  std::vector<std::string> names_;
  std::string text_;
  const Signature& signature_;
  Run run_;
};

/// For the handler of an exception: throws it into script, with the place in JavaScript's terms
/// where it brings none. `thrown` is null for what is no std::exception; `what` is the value that
/// an error of conversion is about. (To catch by type here would take a second throw.)
void throwToScript(std::exception* thrown, const std::string& function,
                   const std::string& what) noexcept;

template <typename T>
inline constexpr bool isOptional = false;
template <typename T>
inline constexpr bool isOptional<std::optional<T>> = true;

template <typename... T>
constexpr int requiredCount() {
  constexpr bool optional[] = {isOptional<T>..., false};
  int count = sizeof...(T);
  while (count > 0 && optional[count - 1]) --count;
  return count;
}

struct NoKeeper {};

/// The conversions of a call to a callable that takes P... and returns R.
template <typename R, typename... P>
struct CallOf {
  using Arguments = std::tuple<std::decay_t<P>...>;
  using Result = std::decay_t<R>;
  using MaybeKeeper =
      std::conditional_t<(holds<std::decay_t<P>, std::string_view> || ...), Keeper, NoKeeper>;

  /// Other<R, P...>
  template <template <typename...> typename Other>
  using Rebind = Other<R, P...>;

  static std::string resultDeclaration() {
    if constexpr (std::is_void_v<R>) {
      return "void";
    } else {
      return Declared<Result>::text();
    }
  }

  static constexpr std::string (*parameters[])() = {Declared<std::decay_t<P>>::text..., nullptr};
  static constexpr Signature signature = {parameters, sizeof...(P),
                                          requiredCount<std::decay_t<P>...>(), resultDeclaration};

  template <std::size_t... I>
  static Arguments read([[maybe_unused]] Invocation& invocation, std::index_sequence<I...>) {
    static_assert(
        ((!std::is_lvalue_reference_v<P> || std::is_const_v<std::remove_reference_t<P>>)&&...),
        "a parameter must be a value or a const reference: what a function writes to a "
        "reference would not reach JavaScript; return it");
    return Arguments{readOne<std::decay_t<P>>(invocation, I)...};
  }

  template <typename T>
  static T readOne(Invocation& invocation, int position) {
    if constexpr (isOptional<T>) {
      if (position >= invocation.count) return std::nullopt;
    }
    invocation.position = position;
    return from<T>(Handle(invocation.arguments[position]));
  }

  template <typename F>
  static ZaxValue* run(F& callable, const Function& /*function*/, Invocation& invocation) {
    constexpr auto index = std::index_sequence_for<P...>();
    [[maybe_unused]] MaybeKeeper keeper;
    Arguments arguments = read(invocation, index);
    if constexpr (!std::is_same_v<MaybeKeeper, NoKeeper>) keeper.end();
    invocation.position = Invocation::working;
    if constexpr (std::is_void_v<R>) {
      call(callable, arguments, index);
      return nullptr;
    } else {
      return giveResult(call(callable, arguments, index), invocation);
    }
  }

 private:
  template <typename F, std::size_t... I>
  static R call(F& callable, [[maybe_unused]] Arguments& arguments, std::index_sequence<I...>) {
    return callable(static_cast<P&&>(std::get<I>(arguments))...);
  }

  template <typename Given>
  static ZaxValue* giveResult(Given&& result, Invocation& invocation) {
    invocation.position = Invocation::returning;
    constexpr ZaxColumn column = columnOf<Result>;
    if constexpr (column == ZaxNumberColumn) {
      backend->returnNumber(invocation.call, Value<Result>::toNumber(result));
      return nullptr;
    } else if constexpr (column == ZaxBooleanColumn) {
      backend->returnBoolean(invocation.call, result);
      return nullptr;
    } else {
      return to(std::forward<Given>(result)).get();
    }
  }
};

/// A callable's CallOf: that of a function pointer, or of a function object's only operator().
template <typename F, typename = void>
struct CallableOf {
  static constexpr bool known = false;
};
template <typename R, typename... P>
struct CallableOf<R (*)(P...)> : CallOf<R, P...> {
  static constexpr bool known = true;
};
template <typename R, typename... P>
struct CallableOf<R (*)(P...) noexcept> : CallableOf<R (*)(P...)> {};
template <typename C, typename R, typename... P>
struct CallableOf<R (C::*)(P...)> : CallableOf<R (*)(P...)> {};
template <typename C, typename R, typename... P>
struct CallableOf<R (C::*)(P...) const> : CallableOf<R (*)(P...)> {};
template <typename C, typename R, typename... P>
struct CallableOf<R (C::*)(P...) noexcept> : CallableOf<R (*)(P...)> {};
template <typename C, typename R, typename... P>
struct CallableOf<R (C::*)(P...) const noexcept> : CallableOf<R (*)(P...)> {};
template <typename F>
struct CallableOf<F, std::void_t<decltype(&F::operator())>> : CallableOf<decltype(&F::operator())> {
};

/// A Function with its callable, which Call::run calls.
template <typename F, typename Call>
class FunctionOf : public Function {
 public:
  FunctionOf(F callable, const Naming& naming)
      : Function(naming, Call::signature, run), callable_(std::move(callable)) {}

  static void destroy(void* function) {
    delete static_cast<FunctionOf*>(static_cast<Function*>(function));
  }

 private:
  static ZaxValue* run(const Function& function, Invocation& invocation) {
    const auto& self = static_cast<const FunctionOf&>(function);
    try {
      return Call::run(self.callable_, self, invocation);
    } catch (std::exception& e) {
      return self.fail(invocation.position, &e);
    } catch (...) {
      return self.fail(invocation.position, nullptr);
    }
  }

  mutable F callable_;
};

template <typename F>
using PlainFunction = FunctionOf<F, CallableOf<F>>;

}  // namespace zax

#endif
