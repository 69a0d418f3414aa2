#include <initializer_list>

#include "bridge.h"

// into.TYPE(value, before, callback): reads a value into an output that already holds `before`.
// child.TYPE(object, name, before, callback): the same for a named child of an object.
// Both call back with what the output then holds, what the framework threw and what the script did.

namespace bridge {

namespace {

template <typename T, typename Read>
void tellOutcome(const T& out, Callback& callback, const Read& read) {
  v8::Local<v8::Value> outcome[] = {Nan::Undefined(), Nan::Undefined(), Nan::Undefined()};
  Nan::TryCatch tryCatch;
  try {
    read();
  } catch (const std::exception& e) {
    if (tryCatch.HasCaught()) outcome[2] = tryCatch.Exception();
    tryCatch.Reset();
    outcome[1] = zax::ZAXError(e).errorObject();
  }
  outcome[0] = toJs(out);
  callback.call(3, outcome);
}

template <typename T>
void readInto(Any input, T out, Callback callback) {
  tellOutcome(out, callback, [&] { zax::ArgumentConverter<T>::convert(out, input.value); });
}

template <typename T, void (*get)(T&, const std::string&, v8::Local<v8::Value>&)>
void readChild(Any object, const std::string& name, T out, Callback callback) {
  tellOutcome(out, callback, [&] { get(out, name, object.value); });
}

void childValue(Any object, const std::string& name, Callback callback) {
  callback.call(zax::getChildValue(object.value, name));
}

template <typename... T>
void exportReaders(Exports readers, std::initializer_list<const char*> names) {
  const char* const* name = names.begin();
  (bind<&readInto<T>>(readers, *name++), ...);
}

template <typename... Values>
void insertAll(v8::Local<v8::Object> object, const Values&... values) {
  char key = 'a';
  (zax::insertToObject(object, std::string(1, key++), values), ...);
}

/// Sets the properties "a", "b", ... to a value of each native type, and others twice, by an index,
/// and by a name that a C string does not hold.
void insert(Any target) {
  const auto object = target.value.As<v8::Object>();
  insertAll(object, std::string("a\0b", 3), "a\0b", true, -5, 4294967295U, 9007199254740993L,
            18446744073709551615UL, 0.1, zax::StringList{"b", "a", "b"}, zax::StringList(),
            Nan::New<v8::Object>(), Nan::New<v8::Array>(2));
  auto others = object;
  for (int value : {1, 2}) zax::insertToObject(others, "twice", value);
  zax::insertToObject(others, "7", 8);
  zax::insertToObject(others, std::string("k\0\xc3\xa9", 4), false);
}

template <typename Target, typename Source, void (*fill)(v8::Local<Target>&, const Source&)>
void fillWith(Any target, const Source& source) {
  auto object = target.value.As<Target>();
  fill(object, source);
}

}  // namespace

void registerValues(Exports exports) {
  exportReaders<std::string, int, unsigned int, long, bool, boolean_t, Callback, zax::StringList,
                zax::StringSet, zax::IntVector, zax::UIntVector, zax::StringPairs, zax::StringMap,
                zax::IntStringMap>(
      group(exports, "into"), {"string", "int", "unsigned", "long", "bool", "boolean_t", "callback",
                               "list", "set", "ints", "unsigneds", "pairs", "map", "intMap"});
  const auto children = group(exports, "child");
  bind<&childValue>(children, "value");
  bind<&readChild<std::string, zax::getChildString>>(children, "string");
  bind<&readChild<int, zax::getChildInt>>(children, "int");
  bind<&readChild<unsigned int, zax::getChildInt>>(children, "unsigned");
  bind<&readChild<bool, zax::getChildBoolean>>(children, "bool");
  bind<&readChild<zax::StringMap, zax::getChildStringMap>>(children, "map");
  bind<&readChild<zax::StringList, zax::getChildStringList>>(children, "list");
  bind<&insert>(exports, "insert");
  bind<&fillWith<v8::Object, zax::StringMap, zax::mapToObject>>(exports, "fillObject");
  bind<&fillWith<v8::Array, zax::StringList, zax::stringListToArray>>(exports, "fillArray");
}

}  // namespace bridge
