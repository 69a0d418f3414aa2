#include "zax-v8-backend.h"

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <cstring>
#include <memory>
#include <new>
#include <vector>

#include "zax-v8-base.h"
#include "zax-v8-bytes.h"
#include "zax-v8-environment.h"

namespace zax {

namespace {

v8::Local<v8::Context> context() { return currentIsolate()->GetCurrentContext(); }

template <typename T>
ZaxValue* slotOf(v8::MaybeLocal<T> value) {
  v8::Local<T> made;
  return value.ToLocal(&made) ? toSlot(made) : nullptr;
}

template <typename T>
v8::Local<T> as(ZaxValue* value) {
  return toLocal(value).As<T>();
}

v8::Local<v8::Value>* locals(ZaxValue* const* values) {
  return const_cast<v8::Local<v8::Value>*>(reinterpret_cast<const v8::Local<v8::Value>*>(values));
}

// Scopes.

struct ScopeHolder {
  explicit ScopeHolder(v8::Isolate* isolate) : scope(isolate) {}
  v8::EscapableHandleScope scope;
};
static_assert(sizeof(ScopeHolder) <= sizeof(ZaxScope), "a scope fits into its memory");

void openScope(ZaxScope* scope) { new (scope->memory) ScopeHolder(currentIsolate()); }

ZaxValue* closeScope(ZaxScope* scope, ZaxValue* survivor) {
  auto* holder = reinterpret_cast<ScopeHolder*>(scope->memory);
  if (survivor) survivor = toSlot(holder->scope.Escape(toLocal(survivor)));
  holder->~ScopeHolder();
  return survivor;
}

// Reading.

bool isBytes(v8::Local<v8::Value> value) {
  return value->IsArrayBufferView() || value->IsArrayBuffer() || value->IsSharedArrayBuffer();
}

ZaxKind kind(ZaxValue* slot) {
  const v8::Local<v8::Value> value = toLocal(slot);
  if (value->IsUndefined()) return ZaxUndefined;
  if (value->IsNull()) return ZaxNull;
  if (value->IsString()) return ZaxString;
  if (value->IsNumber()) return ZaxNumber;
  if (value->IsBoolean()) return ZaxBoolean;
  if (value->IsBigInt()) return ZaxBigInt;
  if (value->IsSymbol()) return ZaxSymbol;
  if (value->IsArray()) return ZaxArray;
  if (value->IsFunction()) return ZaxFunctionKind;
  if (value->IsMap()) return ZaxMap;
  if (value->IsDate()) return ZaxDate;
  return isBytes(value) ? ZaxBytes : ZaxObject;
}

bool getBoolean(ZaxValue* value, bool* result) {
  const v8::Local<v8::Value> local = toLocal(value);
  *result = local->IsTrue();
  return *result || local->IsFalse();
}

bool getNumber(ZaxValue* value, double* result) {
  const v8::Local<v8::Value> local = toLocal(value);
  if (!local->IsNumber()) return false;
  *result = local.As<v8::Number>()->Value();
  return true;
}

constexpr double maxSafe = 9007199254740991.0;

bool getInt64(ZaxValue* value, std::int64_t* result) {
  double number;
  if (getNumber(value, &number)) {
    if (!(number >= -maxSafe && number <= maxSafe)) return false;
    *result = static_cast<std::int64_t>(number);
    return static_cast<double>(*result) == number;
  }
  bool lossless = false;
  if (toLocal(value)->IsBigInt()) *result = as<v8::BigInt>(value)->Int64Value(&lossless);
  return lossless;
}

bool getUint64(ZaxValue* value, std::uint64_t* result) {
  double number;
  if (getNumber(value, &number)) {
    if (!(number >= 0 && number <= maxSafe)) return false;
    *result = static_cast<std::uint64_t>(number);
    return static_cast<double>(*result) == number;
  }
  bool lossless = false;
  if (toLocal(value)->IsBigInt()) *result = as<v8::BigInt>(value)->Uint64Value(&lossless);
  return lossless;
}

bool getString(ZaxValue* value, char* target, std::size_t capacity, std::size_t* bytes) {
  const v8::Local<v8::Value> local = toLocal(value);
  if (!local->IsString()) return false;
  *bytes = readUtf8(currentIsolate(), local.As<v8::String>(), target, capacity);
  return true;
}

bool getDate(ZaxValue* value, double* milliseconds) {
  const v8::Local<v8::Value> local = toLocal(value);
  if (!local->IsDate()) return false;
  *milliseconds = local.As<v8::Date>()->ValueOf();
  return true;
}

// Making.

ZaxValue* makeUndefined() { return toSlot(v8::Undefined(currentIsolate())); }
ZaxValue* makeNull() { return toSlot(v8::Null(currentIsolate())); }
ZaxValue* makeBoolean(bool value) { return toSlot(v8::Boolean::New(currentIsolate(), value)); }
ZaxValue* makeNumber(double value) { return toSlot(v8::Number::New(currentIsolate(), value)); }
ZaxValue* makeBigInt64(std::int64_t value) {
  return toSlot(v8::BigInt::New(currentIsolate(), value));
}
ZaxValue* makeBigUint64(std::uint64_t value) {
  return toSlot(v8::BigInt::NewFromUnsigned(currentIsolate(), value));
}

ZaxValue* makeString(const char* utf8, std::size_t bytes) {
  return slotOf(newString(currentIsolate(), utf8, bytes));
}

ZaxValue* makeDate(double milliseconds) {
  return slotOf(v8::Date::New(context(), std::floor(milliseconds)));
}

ZaxValue* makeArray(ZaxValue* const* elements, std::size_t count) {
  return toSlot(v8::Array::New(currentIsolate(), locals(elements), count));
}

ZaxValue* makeObject() { return toSlot(v8::Object::New(currentIsolate())); }
ZaxValue* makeMap() { return toSlot(v8::Map::New(currentIsolate())); }

// Arrays and objects.

std::size_t getLength(ZaxValue* array) { return as<v8::Array>(array)->Length(); }

bool getElements(ZaxValue* array, std::size_t from, std::size_t count, ZaxValue** elements) {
  const ScriptGuard guard(currentIsolate());
  const v8::Local<v8::Context> here = context();
  const v8::Local<v8::Object> object = as<v8::Object>(array);
  for (std::size_t i = 0; i < count; ++i) {
    elements[i] = slotOf(object->Get(here, static_cast<std::uint32_t>(from + i)));
    if (!elements[i]) return false;
  }
  return true;
}

ZaxValue* getProperty(ZaxValue* object, const char* name, std::size_t bytes) {
  const ScriptGuard guard(currentIsolate());
  return slotOf(as<v8::Object>(object)->Get(context(), toLocal(makeString(name, bytes))));
}

bool setProperty(ZaxValue* object, ZaxValue* key, ZaxValue* value) {
  const ScriptGuard guard(currentIsolate());
  const auto defined =
      as<v8::Object>(object)->CreateDataProperty(context(), as<v8::Name>(key), toLocal(value));
  if (defined.IsJust() && !defined.FromJust()) {
    currentIsolate()->ThrowException(
        v8::Exception::TypeError(as<v8::String>(makeString("Cannot define property", 22))));
  }
  return defined.FromMaybe(false);
}

ZaxValue* getEntries(ZaxValue* value) {
  const ScriptGuard guard(currentIsolate());
  const v8::Local<v8::Context> here = context();
  const v8::Local<v8::Object> object = as<v8::Object>(value);
  v8::Local<v8::Array> names;
  if (!object
           ->GetOwnPropertyNames(
               here, static_cast<v8::PropertyFilter>(v8::ONLY_ENUMERABLE | v8::SKIP_SYMBOLS),
               v8::KeyConversionMode::kConvertToString)
           .ToLocal(&names)) {
    return nullptr;
  }
  std::vector<v8::Local<v8::Value>> entries;
  for (std::uint32_t i = 0; i < names->Length(); ++i) {
    v8::Local<v8::Value> name = names->Get(here, i).ToLocalChecked();
    v8::Local<v8::Value> member;
    if (!object->Get(here, name).ToLocal(&member)) return nullptr;
    entries.push_back(name);
    entries.push_back(member);
  }
  return toSlot(v8::Array::New(currentIsolate(), entries.data(), entries.size()));
}

ZaxValue* getMapEntries(ZaxValue* map) { return toSlot(as<v8::Map>(map)->AsArray()); }

bool setMapEntry(ZaxValue* map, ZaxValue* key, ZaxValue* value) {
  return !as<v8::Map>(map)->Set(context(), toLocal(key), toLocal(value)).IsEmpty();
}

bool getMembers(ZaxValue* value, const ZaxShape* shape, ZaxValue** values) {
  v8::Isolate* here = currentIsolate();
  const ScriptGuard guard(here);
  const v8::Local<v8::Object> object = as<v8::Object>(value);
  const auto& names = Environment::current()->scriptsOf(shape).names(here);
  for (std::size_t i = 0; i < shape->count; ++i) {
    values[i] = slotOf(object->Get(here->GetCurrentContext(), names[i].Get(here)));
    if (!values[i]) return false;
  }
  return true;
}

ZaxValue* makeStruct(const ZaxShape* shape, ZaxValue* const* values) {
  v8::Isolate* here = currentIsolate();
  const v8::Local<v8::Context> current = here->GetCurrentContext();
  const v8::Local<v8::Object> object = v8::Object::New(here);
  const auto& names = Environment::current()->scriptsOf(shape).names(here);
  for (std::size_t i = 0; i < shape->count; ++i) {
    const auto defined =
        object->CreateDataProperty(current, names[i].Get(here), toLocal(values[i]));
    if (defined.IsNothing()) return nullptr;  // The thread is being terminated.
  }
  return toSlot(object);
}

// Many at once.

ZaxBulk* openBulk() { return Environment::current()->bulk().open(currentIsolate()); }
void closeBulk(ZaxBulk* bulk) { Environment::current()->bulk().close(bulk); }

bool readRows(ZaxBulk* bulk, const ZaxShape* shape, ZaxValue* array, std::size_t from,
              std::size_t count, std::size_t* rows) {
  const ScriptGuard guard(currentIsolate());
  ShapeScripts& scripts = Environment::current()->scriptsOf(shape);
  return scripts.read(currentIsolate(), *bulk, toLocal(array), from, count, rows);
}

bool writeRows(ZaxBulk* bulk, const ZaxShape* shape, ZaxValue* array, std::size_t from,
               std::size_t count) {
  const ScriptGuard guard(currentIsolate());
  ShapeScripts& scripts = Environment::current()->scriptsOf(shape);
  return scripts.write(currentIsolate(), *bulk, toLocal(array), from, count);
}

ZaxValue* makeRows(const ZaxShape* shape, std::size_t length) {
  v8::Isolate* here = currentIsolate();
  if (!shape) return toSlot(v8::Array::New(here, static_cast<int>(length)));
  // An array of objects that has never had a hole is read faster.
  std::vector<v8::Local<v8::Value>> rows(length, v8::Undefined(here));
  return toSlot(v8::Array::New(here, rows.data(), length));
}

// Calls and functions.

ZaxValue* call(ZaxValue* function, ZaxValue* const* arguments, std::size_t count) {
  const ScriptGuard guard(currentIsolate());
  return slotOf(as<v8::Function>(function)->Call(context(), v8::Undefined(currentIsolate()),
                                                 static_cast<int>(count), locals(arguments)));
}

using Info = v8::FunctionCallbackInfo<v8::Value>;

void returnNumber(ZaxCall* call, double result) {
  auto value = reinterpret_cast<const Info*>(call)->GetReturnValue();
  // A small integer is set in place; of any other number V8 has to be asked for an object.
  constexpr double most = 1 << 30;
  const auto integer = static_cast<std::int32_t>(result > -most && result < most ? result : 0.5);
  if (integer == result && (integer != 0 || !std::signbit(result))) return value.Set(integer);
  value.Set(result);
}

void returnBoolean(ZaxCall* call, bool result) {
  reinterpret_cast<const Info*>(call)->GetReturnValue().Set(result);
}

/// Lets a function's native side run, which returns the result or null.
ZaxValue* enter(const Info& info, const ZaxFunction* function) {
  constexpr int usual = 8;
  const int count = std::min(info.Length(), function->parameters);
  ZaxValue* few[usual];
  ZaxValue** arguments = count <= usual ? few : new ZaxValue*[count];
  for (int i = 0; i < count; ++i) arguments[i] = toSlot(info[i]);
  auto* call = reinterpret_cast<ZaxCall*>(const_cast<Info*>(&info));
  ZaxValue* result = function->invoke(function, call, arguments, info.Length());
  if (arguments != few) delete[] arguments;
  return result;
}

const ZaxFunction* functionOf(const Info& info) {
  return static_cast<const ZaxFunction*>(unwrapPointer(info.Data()));
}

/// What V8 calls for every function of the plain road.
void onCall(const Info& info) { callNative(info, functionOf(info)); }

/// What V8 calls for every task: whatever fails rejects the promise.
void onTaskCall(const Info& info) {
  ZaxValue* promise = nullptr;
  const v8::Local<v8::Value> thrown =
      thrownBy(info.GetIsolate(), [&] { promise = enter(info, functionOf(info)); });
  v8::Local<v8::Promise::Resolver> resolver;
  if (promise) {
    info.GetReturnValue().Set(toLocal(promise));
  } else if (!thrown.IsEmpty() && v8::Promise::Resolver::New(context()).ToLocal(&resolver)) {
    resolver->Reject(context(), thrown).FromMaybe(false);
    info.GetReturnValue().Set(resolver->GetPromise());
  }
}

ZaxValue* makeFunctionOf(const ZaxFunction* function, v8::FunctionCallback onCalled) {
  v8::Local<v8::Function> made;
  if (!v8::Function::New(context(), onCalled, wrapPointer(currentIsolate(), function),
                         function->length, v8::ConstructorBehavior::kThrow)
           .ToLocal(&made)) {
    return nullptr;
  }
  made->SetName(as<v8::String>(makeString(function->name, std::strlen(function->name))));
  return toSlot(made);
}

ZaxValue* makeFunction(const ZaxFunction* function) { return makeFunctionOf(function, onCall); }
ZaxValue* makeTaskFunction(const ZaxFunction* function) {
  return makeFunctionOf(function, onTaskCall);
}

// Tasks.

ZaxValue* startTask(ZaxTask* task, ZaxInstance* const* instances, std::size_t count, bool exclusive,
                    ZaxValue* signal, ZaxValue* onProgress) {
  return slotOf(Environment::current()->tasks().start(task, {instances, count, exclusive},
                                                      toLocal(signal), toLocal(onProgress)));
}

void wakeTask(ZaxTask* task) {
  auto* job = static_cast<TaskJob*>(task->job);
  job->tasks().wake(*job);
}

// Types.

Instances& instances() { return Environment::current()->instances(); }

void makeType(ZaxType* type) { instances().makeClass(type); }

v8::Local<v8::FunctionTemplate> memberTemplate(const ZaxFunction* function, bool isTask,
                                               const char* prefix = "") {
  if (!function) return {};
  const std::string name = std::string(prefix) + function->name;
  const auto made = v8::FunctionTemplate::New(
      currentIsolate(), isTask ? onTaskCall : onCall, wrapPointer(currentIsolate(), function),
      v8::Local<v8::Signature>(), function->length, v8::ConstructorBehavior::kThrow);
  made->SetClassName(as<v8::String>(makeString(name.data(), name.size())));
  return made;
}

bool addMember(ZaxType* type, ZaxMemberKind kind, const ZaxFunction* function,
               const ZaxFunction* setter) {
  const v8::HandleScope scope(currentIsolate());
  const bool isTask = kind == ZaxTaskMethod;
  const auto made = memberTemplate(function, isTask, kind == ZaxAccessor ? "get " : "");
  return instances().addMember(type, function->name, made, kind,
                               memberTemplate(setter, false, "set "));
}

ZaxValue* getClass(ZaxType* type) { return slotOf(instances().getClass(type)); }
const ZaxType* findType(const void* key) { return instances().findType(key); }

ZaxInstance* getInstance(ZaxValue* value, const ZaxType* type) {
  return Instances::get(toLocal(value), type);
}

ZaxInstance* getReceiver(ZaxCall* call, const ZaxType* type) {
  const Info& info = *reinterpret_cast<const Info*>(call);
  return Instances::get(info.This(), type);
}

void attachInstance(ZaxCall* call, ZaxInstance* instance) {
  instances().attach(reinterpret_cast<const Info*>(call)->This(), instance);
}

ZaxValue* wrapInstance(ZaxInstance* instance) { return slotOf(instances().wrap(instance)); }

ZaxValue* findInstance(const void* identity, const ZaxType* type) {
  return toSlot(instances().find(identity, type));
}

void endUse(ZaxInstance* instance) { instances().endUse(instance); }

// References and errors.

ZaxReference* makeReference(ZaxValue* value) {
  return Environment::current()->references().make(currentIsolate(), toLocal(value));
}

bool canGetReference(ZaxReference* reference) {
  const Environment* here = Environment::current();
  return here && &here->references() == reference->owner.get();
}

ZaxValue* getReference(ZaxReference* reference) {
  if (!canGetReference(reference)) return nullptr;
  return toSlot(reference->value.Get(currentIsolate()));
}

void releaseReference(ZaxReference* reference) { References::release(reference); }

ZaxReference* takeThrown() { return Environment::current()->takeThrown(); }

void throwReference(ZaxReference* reference) {
  ZaxValue* value = reference ? getReference(reference) : nullptr;
  if (value) currentIsolate()->ThrowException(toLocal(value));
}

void throwError(const ZaxErrorRecord* record) {
  v8::Local<v8::Value> error;
  if (Environment::current()->makeError(*record).ToLocal(&error)) {
    currentIsolate()->ThrowException(error);
  }
}

void describeObject(v8::Local<v8::Value> value, char* text, std::size_t size) {
  if (value->IsFunction()) return (void)std::snprintf(text, size, "a function");
  if (value->IsArray()) return (void)std::snprintf(text, size, "an array");
  const v8::String::Utf8Value name(currentIsolate(), value.As<v8::Object>()->GetConstructorName());
  const bool plain = !*name || std::strcmp(*name, "Object") == 0;
  std::snprintf(text, size, plain ? "an object" : "an instance of %.60s", *name);
}

void describe(ZaxValue* slot, char* text, std::size_t size) {
  constexpr int shortText = 40;
  const v8::Local<v8::Value> value = toLocal(slot);
  if (value->IsObject()) return describeObject(value, text, size);
  if (value->IsSymbol()) return (void)std::snprintf(text, size, "a symbol");
  v8::Local<v8::String> string;
  if (!value->ToString(context()).ToLocal(&string)) string = v8::String::Empty(currentIsolate());
  const bool isShort = string->Length() <= shortText;
  char utf8[3 * shortText + 1];
  const std::size_t bytes =
      isShort ? readUtf8(currentIsolate(), string, utf8, sizeof(utf8) - 1) : 0;
  utf8[bytes] = '\0';
  if (!isShort || std::strlen(utf8) < bytes) {
    const char* type = value->IsString() ? "string" : "bigint";
    std::snprintf(text, size, "a %s of %d characters", type, string->Length());
    return;
  }
  const char* format = value->IsString() ? "\"%s\"" : value->IsBigInt() ? "%sn" : "%s";
  std::snprintf(text, size, format, utf8);
}

void own(void* object, void (*destroy)(void*)) {
  Environment::current()->loop().own(object, destroy);
}

bool hideProperty(ZaxValue* object, const char* symbol, ZaxValue* value) {
  const auto name = as<v8::String>(makeString(symbol, std::strlen(symbol)));
  return as<v8::Object>(object)
      ->DefineOwnProperty(context(), v8::Symbol::For(currentIsolate(), name), toLocal(value),
                          v8::DontEnum)
      .FromMaybe(false);
}

}  // namespace

void callNative(const Info& info, const ZaxFunction* function) {
  ZaxValue* result = enter(info, function);
  if (result) info.GetReturnValue().Set(toLocal(result));
}

const ZaxBackend backendTable = {
    ZAX_BACKEND_MAJOR,
    sizeof(ZaxBackend),
    openScope,
    closeScope,
    kind,
    getBoolean,
    getNumber,
    getInt64,
    getUint64,
    getString,
    getDate,
    getBytes,
    copyBytes,
    makeUndefined,
    makeNull,
    makeBoolean,
    makeNumber,
    makeBigInt64,
    makeBigUint64,
    makeString,
    makeDate,
    makeArray,
    makeObject,
    makeMap,
    makeBuffer,
    makeSmallBuffer,
    makeView,
    holdMemory,
    copyMemory,
    releaseMemory,
    allocateMemory,
    getLength,
    getElements,
    getProperty,
    setProperty,
    getEntries,
    getMapEntries,
    setMapEntry,
    getMembers,
    makeStruct,
    openBulk,
    closeBulk,
    readRows,
    writeRows,
    makeRows,
    call,
    returnNumber,
    returnBoolean,
    makeFunction,
    makeReference,
    getReference,
    canGetReference,
    releaseReference,
    takeThrown,
    throwReference,
    throwError,
    describe,
    own,
    hideProperty,
    makeTaskFunction,
    startTask,
    wakeTask,
    makeType,
    addMember,
    getClass,
    findType,
    getInstance,
    getReceiver,
    attachInstance,
    wrapInstance,
    findInstance,
    endUse,
};

}  // namespace zax
