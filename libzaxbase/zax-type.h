#ifndef ZAX_TYPE_H
#define ZAX_TYPE_H

#include <initializer_list>
#include <memory>
#include <string>
#include <string_view>
#include <type_traits>
#include <typeinfo>
#include <utility>
#include <vector>

#include "zax-function.h"
#include "zax-instance.h"
#include "zax-task.h"

// C++ classes as JavaScript classes. What need not be a template is compiled once, in zax-type.cpp.

namespace zax {

/// A class in one environment, with what its declaration tells. Made when the module is, owned by
/// its environment. When the module is loaded again there, it is the same and takes no members.
class Type : public ZaxType {
 public:
  Type(std::string_view name, std::string_view text, const std::type_info& info);
  Type(const Type&) = delete;
  Type& operator=(const Type&) = delete;

  /// That of the C++ type, new or of an earlier load. Throws an Exception with code "EBADARG" where
  /// the module that is loading has made one already.
  static Type* make(std::string_view name, std::string_view text, const std::type_info& info);

  // The functions below take over their functions, with what destroys each. They throw an Exception
  // with code "EBADARG" where the name stands already, or the function does not fit.
  using Destroy = void (*)(void* function);
  void setConstructor(Function* function, Destroy destroy);
  void add(ZaxMemberKind kind, Function* function, Destroy destroy);
  /// A null `setter` is that of a property that is only read.
  void addProperty(Function* getter, Destroy destroyGetter, Function* setter,
                   Destroy destroySetter);

  /// Throws an Exception with code "EBADARG" where `base` has no class yet.
  void extend(const std::type_info& base, void* (*toBase)(void* object));

  /// The JavaScript class, once all types are there. Throws what checkTypes throws.
  Handle complete();
  /// The module does not load: another load begins anew.
  void abandon();

  const std::string& text() const { return text_; }

  /// What follows `class NAME` in a declaration file.
  std::string declaration(const std::string& indentation) const;

 private:
  struct Member {
    ZaxMemberKind kind;
    const Function* function;
    const Function* setter;
  };

  bool own(Function* function, Destroy destroy) const;
  void addMember(const Member& member);
  std::string declareMember(const Member& member, const std::string& indentation) const;

  std::string name_;
  std::string text_;
  const Function* constructor_ = nullptr;
  std::vector<Member> members_;
  bool isComplete_ = false;
};

/// Throws an Exception with code "EBADARG" where a function takes or gives an object of a class
/// that is no type of the module.
void checkTypes(const Function& function);

/// How a member of a class is called: a CallOf for what comes after the receiver.
template <typename F, typename = void>
struct MemberCall {};
template <typename R, typename C, typename... P>
struct MemberCall<R (C::*)(P...)> {
  using Call = CallOf<R, P...>;
};
template <typename R, typename C, typename... P>
struct MemberCall<R (C::*)(P...) const> : MemberCall<R (C::*)(P...)> {};
template <typename R, typename C, typename... P>
struct MemberCall<R (C::*)(P...) noexcept> : MemberCall<R (C::*)(P...)> {};
template <typename R, typename C, typename... P>
struct MemberCall<R (C::*)(P...) const noexcept> : MemberCall<R (C::*)(P...)> {};

/// A callable with the receiver before its other parameters.
template <typename R, typename... P>
struct WithoutReceiver;
template <typename R, typename Receiver, typename... P>
struct WithoutReceiver<R, Receiver, P...> {
  using Call = CallOf<R, P...>;
};
template <typename F>
struct MemberCall<F, std::enable_if_t<!std::is_member_pointer_v<F> && CallableOf<F>::known>>
    : CallableOf<F>::template Rebind<WithoutReceiver> {};

template <typename F, typename = void>
inline constexpr bool isMember = false;
template <typename F>
inline constexpr bool isMember<F, std::void_t<typename MemberCall<F>::Call>> = true;

/// A member function, or a function, with its receiver.
template <typename T, typename F>
struct Bound {
  template <typename... A>
  decltype(auto) operator()(A&&... arguments) const {
    if constexpr (std::is_member_function_pointer_v<std::decay_t<F>>) {
      return (object.*callable)(std::forward<A>(arguments)...);
    } else {
      return callable(object, std::forward<A>(arguments)...);
    }
  }

  F& callable;
  T& object;
};

template <typename T>
T& receivedObject(const Function& function, const ZaxInstance& instance) {
  return *static_cast<T*>(objectAs(instance, function.type()));
}

/// A call of a method, as FunctionOf makes it.
template <typename T, typename F>
struct MethodCall {
  using Call = typename MemberCall<F>::Call;
  static constexpr const Signature& signature = Call::signature;

  static ZaxValue* run(F& callable, const Function& function, Invocation& invocation) {
    ZaxInstance& instance = function.receiver(invocation);
    checkUsable(instance);
    invocation.position = Invocation::working;
    const Use use(instance);
    const Bound<T, F> bound{callable, receivedObject<T>(function, instance)};
    return Call::run(bound, function, invocation);
  }
};

/// The same for what disposes of the object: again it does nothing.
template <typename T, typename F>
struct DisposerCall {
  using Call = typename MemberCall<F>::Call;
  static constexpr const Signature& signature = Call::signature;
  static_assert(Call::signature.count == 0, "a disposer has no parameters");

  static ZaxValue* run(F& callable, const Function& function, Invocation& invocation) {
    ZaxInstance& instance = function.receiver(invocation);
    if (instance.disposed) return nullptr;
    if (instance.uses > 0 || instance.claims > 0) refuseInstance(instance);
    invocation.position = Invocation::working;
    const Use use(instance);
    const Bound<T, F> bound{callable, receivedObject<T>(function, instance)};
    instance.disposed = true;  // Script that runs meanwhile uses it no more.
    try {
      return Call::run(bound, function, invocation);
    } catch (...) {
      instance.disposed = false;
      throw;
    }
  }
};

/// A call of a method as a task: after the tasks of its object that were called before, or beside
/// them.
template <typename T, typename F, bool exclusive>
struct MethodTask {
  using Callable = Bound<T, const F>;
  template <typename R, typename... P>
  using TaskWith = TaskCallOf<Callable, R, P...>;
  using Call = typename MemberCall<F>::Call::template Rebind<TaskWith>;
  static constexpr const Signature& signature = Call::signature;

  static ZaxValue* run(const F& callable, const Function& function, Invocation& invocation) {
    ZaxInstance& instance = function.receiver(invocation);
    Uses uses(Uses::Of::task);
    Uses::note(instance);
    invocation.position = Invocation::working;
    const Callable bound{callable, receivedObject<T>(function, instance)};
    return Call::run(bound, function, invocation, &uses, exclusive);
  }
};

/// A call of a constructor.
template <typename T, typename... P>
struct ConstructorCall {
  /// What FunctionOf keeps.
  struct Made {
    const ZaxType* type;
  };
  using Call = CallOf<void, P...>;
  static constexpr const Signature& signature = Call::signature;

  static ZaxValue* run(const Made& made, const Function& function, Invocation& invocation) {
    const auto attach = [&](auto&&... arguments) {
      backend->attachInstance(
          invocation.call,
          makeInstance<T>(made.type, std::forward<decltype(arguments)>(arguments)...));
    };
    return Call::run(attach, function, invocation);
  }
};

template <typename T, typename = void>
inline constexpr bool tellsExternalBytes = false;
template <typename T>
inline constexpr bool
    tellsExternalBytes<T, std::void_t<decltype(std::declval<const T&>().externalBytes())>> = true;

/// A JavaScript class in the making, from `module.type<T>`. Exists while the body of ZAX_MODULE
/// runs.
///
/// A member is called on instances only, anything else is refused by BadArgument; on one that has
/// been disposed of it throws code "EDISPOSED". A callable is a member function of T, or a function
/// whose first parameter is a `T&`. A name may stand once; every function throws an Exception with
/// code "EBADARG" where it stands already.
template <typename T>
class TypeBuilder {
  static_assert(std::is_class_v<T>, "a JavaScript class is made from a C++ class");
  using Names = std::initializer_list<const char*>;

 public:
  explicit TypeBuilder(Type& type) : type_(type) {
    if constexpr (tellsExternalBytes<T>) {
      type_.externalBytes = [](const void* object) -> std::size_t {
        try {
          return static_cast<const T*>(object)->externalBytes();
        } catch (...) {
          return 0;
        }
      };
    }
  }
  TypeBuilder(const TypeBuilder&) = delete;
  TypeBuilder& operator=(const TypeBuilder&) = delete;

  /// `new NAME(...)` makes a T from Args. Without this, instances come from native code only.
  template <typename... Args>
  TypeBuilder& constructor(Names names = {}) {
    using Construct = ConstructorCall<T, Args...>;
    auto* made = new FunctionOf<typename Construct::Made, Construct>({&type_},
                                                                     Naming{type_.name, names, {}});
    type_.setConstructor(made, made->destroy);
    return *this;
  }

  /// A method that returns the result of `callable`. While a task of the object is on its way it
  /// throws code "EBUSY", as properties and fields do.
  template <typename F>
  TypeBuilder& method(std::string_view name, F&& callable, Names names = {},
                      std::string_view text = {}) {
    return add<MethodCall>(ZaxMethod, std::forward<F>(callable), naming(name, names, text));
  }

  /// A method that runs `callable` on the thread pool and returns a promise, as `module.task` does.
  /// Tasks of one object run one at a time, in the order of the calls, and keep it alive.
  template <typename F>
  TypeBuilder& task(std::string_view name, F&& callable, Names names = {},
                    std::string_view text = {}) {
    return add<ExclusiveTask>(ZaxTaskMethod, std::forward<F>(callable), naming(name, names, text));
  }

  /// The same beside all else that uses the object: what both touch, T guards with locks.
  template <typename F>
  TypeBuilder& concurrentTask(std::string_view name, F&& callable, Names names = {},
                              std::string_view text = {}) {
    return add<ConcurrentTask>(ZaxTaskMethod, std::forward<F>(callable), naming(name, names, text));
  }

  /// A property that is read by `getter`.
  template <typename G>
  TypeBuilder& property(std::string_view name, G&& getter, std::string_view text = {}) {
    auto* get = make<MethodCall>(std::forward<G>(getter), naming(name, {}, text));
    type_.addProperty(get, get->destroy, nullptr, nullptr);
    return *this;
  }

  /// A property that is written by `setter` too.
  template <typename G, typename S,
            typename = std::enable_if_t<!std::is_convertible_v<S, std::string_view>>>
  TypeBuilder& property(std::string_view name, G&& getter, S&& setter, std::string_view text = {}) {
    auto* get = make<MethodCall>(std::forward<G>(getter), naming(name, {}, text));
    auto* set = make<MethodCall>(std::forward<S>(setter), naming(name, {"value"}, text));
    type_.addProperty(get, get->destroy, set, set->destroy);
    return *this;
  }

  /// A property that is a data member; only read where that is const.
  template <typename M, typename C>
  TypeBuilder& field(std::string_view name, M C::*member, std::string_view text = {}) {
    using Given = std::conditional_t<isInstance<M>, M, const M&>;
    const auto get = [member](const T& object) -> Given { return object.*member; };
    if constexpr (std::is_const_v<M>) {
      return property(name, get, text);
    } else {
      return property(
          name, get, [member](T& object, M value) { object.*member = std::move(value); }, text);
    }
  }

  /// A function on the class itself.
  template <typename F>
  TypeBuilder& staticFunction(std::string_view name, F&& callable, Names names = {},
                              std::string_view text = {}) {
    auto* made =
        new PlainFunction<std::decay_t<F>>(std::forward<F>(callable), naming(name, names, text));
    type_.add(ZaxStaticFunction, made, made->destroy);
    return *this;
  }

  /// A method, `[Symbol.dispose]` too, after which the object is not used any more; a second call
  /// does nothing. Where `callable` throws, it has not been disposed of.
  template <typename F>
  TypeBuilder& disposer(std::string_view name, F&& callable, std::string_view text = {}) {
    return add<DisposerCall>(ZaxDisposer, std::forward<F>(callable), naming(name, {}, text));
  }

  /// The class extends that of Base, which is a type of the module already. An instance passes as a
  /// Base.
  template <typename Base>
  TypeBuilder& extends() {
    static_assert(std::is_base_of_v<Base, T> && !std::is_same_v<Base, T>,
                  "a class extends the class of one of its C++ bases");
    type_.extend(typeid(Base),
                 [](void* object) -> void* { return static_cast<Base*>(static_cast<T*>(object)); });
    return *this;
  }

 private:
  template <typename Of, typename F>
  using ExclusiveTask = MethodTask<Of, F, true>;
  template <typename Of, typename F>
  using ConcurrentTask = MethodTask<Of, F, false>;

  Naming naming(std::string_view name, Names names, std::string_view text) const {
    return {name, names, text, &type_};
  }

  template <template <typename, typename> typename Call, typename F>
  static auto* make(F&& callable, const Naming& naming) {
    using Callable = std::decay_t<F>;
    static_assert(isMember<Callable>,
                  "a member of a type is a member function of its class, or a function with one "
                  "signature whose first parameter is a reference to the object");
    return new FunctionOf<Callable, Call<T, Callable>>(std::forward<F>(callable), naming);
  }

  template <template <typename, typename> typename Call, typename F>
  TypeBuilder& add(ZaxMemberKind kind, F&& callable, const Naming& naming) {
    auto* made = make<Call>(std::forward<F>(callable), naming);
    type_.add(kind, made, made->destroy);
    return *this;
  }

  Type& type_;
};

}  // namespace zax

#endif
