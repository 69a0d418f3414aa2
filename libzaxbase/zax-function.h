#ifndef ZAX_FUNCTION_H
#define ZAX_FUNCTION_H

#include <initializer_list>
#include <string>
#include <string_view>
#include <type_traits>
#include <utility>
#include <vector>

#include "zax-bytes.h"
#include "zax-fields.h"
#include "zax-instance.h"
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
  bool usesInstances;   ///< whether there can be objects of classes in them
  bool isTask = false;  ///< whether the last parameter has the options of a task
};

/// One call on its way: where it stands tells what an error is about.
struct Invocation {
  static constexpr int working = -1;
  static constexpr int returning = -2;
  static constexpr int progress = -3;
  static constexpr int receiving = -4;

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
  const ZaxType* type = nullptr;                  ///< the class that it belongs to
};

/// A native function that JavaScript can call. Made when the module is, owned by its environment;
/// called on the JavaScript thread.
class Function : public ZaxFunction {
 public:
  /// Throws nothing.
  using Run = ZaxValue* (*)(const Function& function, Invocation& invocation);

  /// `invoke` is an enter<run>.
  Function(const Naming& naming, const Signature& signature, decltype(ZaxFunction::invoke) invoke);
  Function(const Function&) = delete;
  Function& operator=(const Function&) = delete;

  /// Its declaration, as in `(values: number[]): number` after `head`, which is what stands before
  /// on the line; a line for each parameter, indented further, where one does not hold them all.
  std::string declaration(const std::string& head, const std::string& indentation,
                          bool hasResult = true) const;
  const std::string& text() const { return text_; }
  const char* jsName() const { return ZaxFunction::name; }
  /// With the name of the class that it belongs to.
  const std::string& fullName() const { return name_; }
  const Signature& signature() const { return signature_; }

  /// The class that it belongs to; null without one.
  const ZaxType* type() const { return type_; }

  /// The instance that a method is called on; what is thrown from here on is said to be about it,
  /// until the invocation's position changes. Throws BadArgument where it is called on something
  /// else.
  ZaxInstance& receiver(Invocation& invocation) const {
    invocation.position = Invocation::receiving;
    ZaxInstance* instance = backend->getReceiver(invocation.call, type_);
    if (!instance) refuseReceiver();
    return *instance;
  }

  /// For the handler of an exception: throws it, or what is no std::exception, into script and
  /// returns null. `position` is an Invocation's.
  ZaxValue* fail(int position, std::exception* thrown) const noexcept;

 protected:
  /// What JavaScript calls: counts the arguments and runs.
  template <Run run>
  static ZaxValue* enter(const ZaxFunction* self, ZaxCall* call, ZaxValue* const* arguments,
                         int count) {
    const auto& function = *static_cast<const Function*>(self);
    Invocation invocation{call, arguments, count};
    const bool fits = count >= function.length && count <= function.parameters;
    return fits ? run(function, invocation) : function.refuseCount(invocation);
  }

  ~Function();

 private:
  /// Out of line, because the stack would have room for an exception in every call.
  __attribute__((noinline)) ZaxValue* refuseCount(const Invocation& invocation) const noexcept;
  [[noreturn]] void refuseReceiver() const;
  std::string describe(int position) const;
  std::string parameterName(int index) const;
  std::string declareParameter(int index) const;

  std::string name_;  ///< for people: with that of its class
  const ZaxType* type_;
  std::vector<std::string> names_;
  std::string text_;
  const Signature& signature_;
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

/// The arguments of a call, each made where it lies: to move a short text takes as long as to read
/// one.
template <typename Index, typename... T>
struct ArgumentList;
template <std::size_t I, typename T>
struct Argument {
  T value;
};
template <std::size_t... I, typename... T>
struct ArgumentList<std::index_sequence<I...>, T...> : Argument<I, T>... {};

template <std::size_t I, typename T>
T& argumentAt(Argument<I, T>& argument) {
  return argument.value;
}

/// The conversions of a call to a callable that takes P... and returns R.
template <typename R, typename... P>
struct CallOf {
  using Arguments = ArgumentList<std::index_sequence_for<P...>, Stored<P>...>;
  using Result = std::decay_t<R>;
  using MaybeKeeper =
      std::conditional_t<(holds<std::decay_t<P>, std::string_view> || ...), Keeper, NoKeeper>;

  static constexpr bool readsInstances = (usesInstances<Stored<P>> || ...);
  using MaybeUses = std::conditional_t<readsInstances, Uses, NoKeeper>;

  /// Other<R, P...>
  template <template <typename...> typename Other>
  using Rebind = Other<R, P...>;

  static constexpr std::string (*parameters[])() = {Declared<std::decay_t<P>>::text..., nullptr};
  static constexpr Signature signature = {
      parameters, sizeof...(P), requiredCount<std::decay_t<P>...>(), Declared<Result>::text,
      readsInstances || usesInstances<Result>};

  template <std::size_t... I>
  static Arguments read([[maybe_unused]] Invocation& invocation, std::index_sequence<I...>) {
    checkParameters();
    return {{readOne<Stored<P>>(invocation, I)}...};
  }

  template <typename T>
  static T readOne(Invocation& invocation, int position) {
    if constexpr (isOptional<T>) {
      if (position >= invocation.count) return std::nullopt;
    }
    invocation.position = position;
    T argument = from<T>(Handle(invocation.arguments[position]));
    invocation.position = Invocation::working;
    return argument;
  }

  template <typename F>
  static ZaxValue* run(F& callable, const Function& /*function*/, Invocation& invocation) {
    checkParameters();
    constexpr bool hasKeeper = !std::is_same_v<MaybeKeeper, NoKeeper>;
    // A single argument is made where the callable wants it; of several the order would be open.
    if constexpr (sizeof...(P) == 1 && !hasKeeper && !readsInstances && !std::is_void_v<R>) {
      return giveResult(callable(readOne<std::decay_t<P>>(invocation, 0)...), invocation);
    } else {
      constexpr auto index = std::index_sequence_for<P...>();
      [[maybe_unused]] MaybeKeeper keeper;
      [[maybe_unused]] MaybeUses uses;
      Arguments arguments = read(invocation, index);
      if constexpr (hasKeeper) keeper.end();
      if constexpr (readsInstances) uses.close();
      if constexpr (std::is_void_v<R>) {
        call(callable, arguments, index);
        return nullptr;
      } else {
        return giveResult(call(callable, arguments, index), invocation);
      }
    }
  }

 private:
  static constexpr void checkParameters() {
    static_assert(((!std::is_lvalue_reference_v<P> || std::is_const_v<std::remove_reference_t<P>> ||
                    isInstanceReference<P>)&&...),
                  "a parameter must be a value or a const reference: what a function writes to a "
                  "reference would not reach JavaScript; return it");
  }

  template <typename F, std::size_t... I>
  static R call(F& callable, [[maybe_unused]] Arguments& arguments, std::index_sequence<I...>) {
    return callable(static_cast<P&&>(argumentAt<I>(arguments))...);
  }

  template <typename Given>
  static ZaxValue* giveResult(Given&& result, Invocation& invocation) {
    invocation.position = Invocation::returning;
    constexpr ZaxColumn column = columnOf<Result>;
    if constexpr (isInstanceReference<R>) {
      return to(&result).get();
    } else if constexpr (column == ZaxNumberColumn) {
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

/// Chooses a function from those of one name, by the types of its parameters.
template <typename... P>
struct Overload {
  template <typename R>
  constexpr auto operator()(R (*function)(P...)) const {
    return function;
  }
  template <typename R, typename C>
  constexpr auto operator()(R (C::*function)(P...)) const {
    return function;
  }
  template <typename R, typename C>
  constexpr auto operator()(R (C::*function)(P...) const) const {
    return function;
  }
};

/// `zax::overload<int, double>(scale)` is the `scale` that takes those two: for functions, members,
/// getters and setters. Where two differ by `const` alone it needs a cast. Any thread.
template <typename... P>
inline constexpr Overload<P...> overload{};

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
      : Function(naming, Call::signature, enter<run>), callable_(std::move(callable)) {}

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
