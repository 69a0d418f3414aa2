#ifndef ZAX_INSTANCE_H
#define ZAX_INSTANCE_H

#include <array>
#include <cstddef>
#include <memory>
#include <string>
#include <type_traits>
#include <typeinfo>
#include <utility>
#include <vector>

#include "zax-container.h"

// Objects of C++ classes as values: what `module.type<T>` has made a JavaScript class. The loops
// and errors are compiled once, in zax-instance.cpp. JavaScript thread only.

namespace zax {

/// An object that a JavaScript object stands for.
struct Instance : ZaxInstance {
  /// `object` is of the type.
  Instance(const ZaxType* type, void* object, const void* identity,
           void (*destroy)(ZaxInstance* self))
      : ZaxInstance{object, identity, type, destroy, 0, 0, 0, 0, {}} {}

  /// One for an object that C++ shares.
  static Instance* make(std::shared_ptr<void> shared, const ZaxType* type, void* object,
                        const void* identity);

  /// A share in the object.
  const std::shared_ptr<void>& share();

  std::shared_ptr<void> owner;  ///< empty while the instance is all that has the object
};

/// An instance that cannot be used now. Codes: "EDISPOSED", and "EBUSY" while a task has it to
/// itself, or for what would dispose of it while it is used.
class UnusableInstance : public ConversionError {
 public:
  explicit UnusableInstance(const ZaxInstance& instance);
};

/// Throws UnusableInstance.
[[noreturn]] void refuseInstance(const ZaxInstance& instance);
inline void checkUsable(const ZaxInstance& instance) {
  if (instance.disposed || instance.claims > 0) refuseInstance(instance);
}

/// The object of an instance as one of `type`, which it is or extends.
inline void* objectAs(const ZaxInstance& instance, const ZaxType* type) {
  void* object = instance.object;
  for (const ZaxType* is = instance.type; is != type; is = is->base) object = is->toBase(object);
  return object;
}

inline void beginUse(ZaxInstance& instance) { ++instance.uses; }
inline void endUse(ZaxInstance& instance) {
  --instance.uses;
  if (instance.uses > 0) return;
  if (instance.claims > 0 || instance.collected || instance.type->externalBytes) {
    backend->endUse(&instance);
  }
}

/// The receiver of a method while it runs: no task has it meanwhile, and it is not disposed of.
class Use {
 public:
  explicit Use(ZaxInstance& instance) : instance_(instance) { beginUse(instance); }
  ~Use() { endUse(instance_); }
  Use(const Use&) = delete;
  Use& operator=(const Use&) = delete;

 private:
  ZaxInstance& instance_;
};

/// Collects the instances among the arguments of a call, so that they live and are not disposed of
/// until its end. Those of a task may be busy: it comes after.
class Uses {
 public:
  enum class Of { call, task };

  explicit Uses(Of of = Of::call) : of_(of), outer_(current) { current = this; }
  ~Uses() {
    close();
    for (std::size_t i = 0; i < size_; ++i) endUse(*data()[i]);
  }
  Uses(const Uses&) = delete;
  Uses& operator=(const Uses&) = delete;

  /// Checks an instance and adds it to the innermost Uses, if there is one. Throws
  /// UnusableInstance.
  static void note(ZaxInstance& instance);

  /// All have been read.
  void close() {
    if (current == this) current = outer_;
  }

  ZaxInstance* const* data() const { return more_.empty() ? few_ : more_.data(); }
  std::size_t size() const { return size_; }

 private:
  void add(ZaxInstance* instance);

  static thread_local Uses* current;

  const Of of_;
  Uses* outer_;
  std::size_t size_ = 0;
  ZaxInstance* few_[4];
  std::vector<ZaxInstance*> more_;  ///< all of them, when they are more
};

/// The object of the type that a value is an instance of. Throws BadArgument and UnusableInstance.
void* readInstance(Handle value, const std::type_info& type);
/// The same with a share in it.
std::shared_ptr<void> shareInstance(Handle value, const std::type_info& type);
/// The same to be read at once, not in a task later: no task may have it.
const void* readInstanceNow(Handle value, const std::type_info& type);

/// An object on its way to JavaScript.
struct Outgoing {
  const std::type_info& type;  ///< as which the author gives it
  void* object;                ///< as that type
  const std::type_info& wholeType;
  void* whole;  ///< the object that this one is a part of, or itself
};

/// The class of a C++ type. Throws ConversionError "EINVAL" where the module has none.
const ZaxType* typeOf(const std::type_info& type);

/// A JavaScript object for a new instance.
Handle writeNew(Instance* instance);
/// The JavaScript object for one that C++ holds too: the one that it has, or a new one.
Handle writeShared(const Outgoing& outgoing, std::shared_ptr<void> owner);
/// The JavaScript object that it has. Throws ConversionError "EINVAL" where it has none.
Handle writeKnown(const Outgoing& outgoing);
[[noreturn]] void refuseNull(const std::type_info& type);

/// A class's name in declarations.
std::string nameOfClass(const ZaxType& type);

/// The same. Throws ConversionError "EINVAL" where the module has no class for the type.
std::string declareInstance(const std::type_info& type);

template <typename T>
Outgoing outgoing(const T& object) {
  auto* address = const_cast<T*>(&object);
  if constexpr (std::is_polymorphic_v<T>) {
    return {typeid(T), address, typeid(object), dynamic_cast<void*>(address)};
  } else {
    return {typeid(T), address, typeid(T), address};
  }
}

template <typename T, typename = void>
inline constexpr bool sharesItself = false;
template <typename T>
inline constexpr bool sharesItself<T, std::void_t<decltype(std::declval<T&>().weak_from_this())>> =
    true;

/// A T, which need not be movable.
template <typename T, typename... A>
T construct(A&&... arguments) {
  if constexpr (std::is_constructible_v<T, A...>) {
    return T(std::forward<A>(arguments)...);
  } else {
    return T{std::forward<A>(arguments)...};
  }
}

/// An object and its instance in one piece of memory. Where C++ has shares in it, the last of them
/// to go destroys both.
template <typename T>
struct InstanceOf : Instance {
  template <typename... A>
  explicit InstanceOf(const ZaxType* type, A&&... arguments)
      : Instance(type, &object, &object, release),
        object(construct<T>(std::forward<A>(arguments)...)) {}

  static void release(ZaxInstance* self) {
    auto* instance = static_cast<InstanceOf*>(self);
    if (!instance->owner) return delete instance;
    const std::shared_ptr<void> mine = std::move(instance->owner);  // The last comes here again.
  }

  T object;
};

/// A new T with its instance.
template <typename T, typename... A>
Instance* makeInstance(const ZaxType* type, A&&... arguments) {
  if constexpr (sharesItself<T>) {
    const auto made = std::shared_ptr<T>(new T(construct<T>(std::forward<A>(arguments)...)));
    return Instance::make(made, type, made.get(), made.get());
  } else {
    return new InstanceOf<T>(type, std::forward<A>(arguments)...);
  }
}

/// A T by itself: a copy or a new instance. (As `T&` it is an InstanceArgument.)
template <typename T>
struct InstanceValue {
  static constexpr bool isInstance = true;
  static constexpr unsigned kinds = 1U << ZaxObject;

  template <typename Copied = T>
  static std::enable_if_t<std::is_copy_constructible_v<Copied>, Copied> from(Handle value) {
    return *static_cast<const T*>(readInstanceNow(value, typeid(T)));
  }
  template <typename Given, typename = std::enable_if_t<std::is_constructible_v<T, Given>>>
  static Handle to(Given&& value) {
    return writeNew(makeInstance<T>(typeOf(typeid(T)), std::forward<Given>(value)));
  }
  static std::string declaration() { return declareInstance(typeid(T)); }
};

/// A parameter `T&` or `const T&`.
template <typename T>
struct InstanceArgument {
  operator T&() const { return *object; }  // NOLINT(google-explicit-constructor)

  T* object;
};

template <typename T>
struct Value<InstanceArgument<T>> : InstanceValue<std::remove_const_t<T>> {
  static InstanceArgument<T> from(Handle value) {
    return {static_cast<T*>(readInstance(value, typeid(T)))};
  }
};

template <typename T>
struct Value<T*, std::enable_if_t<isType<std::remove_const_t<T>>>> {
  static constexpr bool isInstance = true;
  static constexpr unsigned kinds = 1U << ZaxObject | 1U << ZaxNull;

  static T* from(Handle value) {
    return value.isNull() ? nullptr : static_cast<T*>(readInstance(value, typeid(T)));
  }
  static Handle to(T* object) { return object ? writeKnown(outgoing(*object)) : Handle::null(); }
  static std::string declaration() { return declareInstance(typeid(T)) + " | null"; }
};

template <typename T>
struct Value<std::shared_ptr<T>, std::enable_if_t<isType<std::remove_const_t<T>>>>
    : InstanceValue<std::remove_const_t<T>> {
  static std::shared_ptr<T> from(Handle value) {
    return std::static_pointer_cast<T>(shareInstance(value, typeid(T)));
  }
  static Handle to(std::shared_ptr<T> object) {
    if (!object) refuseNull(typeid(T));
    const Outgoing out = outgoing(*object);
    return writeShared(out, std::const_pointer_cast<std::remove_const_t<T>>(std::move(object)));
  }
};

template <typename T, typename Deleter>
struct Value<std::unique_ptr<T, Deleter>, std::enable_if_t<isType<std::remove_const_t<T>>>> {
  static constexpr bool isInstance = true;

  static Handle to(std::unique_ptr<T, Deleter> object) {
    return Value<std::shared_ptr<T>>::to(std::shared_ptr<T>(std::move(object)));
  }
  static std::string declaration() { return declareInstance(typeid(T)); }
};

template <typename T, typename = void>
inline constexpr bool isInstance = false;
template <typename T>
inline constexpr bool isInstance<T, std::enable_if_t<Value<T>::isInstance>> = true;

/// Whether a parameter is a reference to an object of a type.
template <typename P>
inline constexpr bool isInstanceReference =
    std::is_lvalue_reference_v<P>&& std::is_class_v<std::decay_t<P>>&&
        std::is_base_of_v<InstanceValue<std::decay_t<P>>, Value<std::decay_t<P>>>;

/// What an argument is kept as for a parameter P.
template <typename P>
using Stored = std::conditional_t<isInstanceReference<P>,
                                  InstanceArgument<std::remove_reference_t<P>>, std::decay_t<P>>;

/// Whether instances can be in a value.
template <typename T>
inline constexpr bool usesInstances = isInstance<T> || isStruct<T>;
template <template <typename...> class Outer, typename... Inner>
inline constexpr bool usesInstances<Outer<Inner...>> = isInstance<Outer<Inner...>> ||
                                                       isStruct<Outer<Inner...>> ||
                                                       (usesInstances<Inner> || ...);
template <typename T, std::size_t N>
inline constexpr bool usesInstances<std::array<T, N>> = usesInstances<T>;

}  // namespace zax

#endif
