#include "bridge.h"

// parse.TYPE(value, callback): a bound function with an argument of the type.
// into.TYPE(value, before, callback): what happens to an output that already holds `before`.
// child.TYPE(object, name, before, callback): the same for a named child of an object.

namespace bridge {

namespace {

template <typename T>
void parse(const T& value, Callback callback) {
  callback.call(toJs(value));
}

void insert(const v8::Local<v8::Object>& object, const char* key, v8::Local<v8::Value> value) {
  Nan::Set(object, Nan::New(key).ToLocalChecked(), value);
}

/// Reads and tells what `out` then holds, what the framework threw and what the script threw.
template <typename T, typename Read>
v8::Local<v8::Value> outcome(const T& out, const Read& read) {
  const v8::Local<v8::Object> result = Nan::New<v8::Object>();
  Nan::TryCatch tryCatch;
  try {
    read();
  } catch (const std::exception& e) {
    const v8::Local<v8::Value> thrown = tryCatch.Exception();
    tryCatch.Reset();
    if (!thrown.IsEmpty()) insert(result, "thrown", thrown);
    insert(result, "error", zax::ZAXError(e).errorObject());
  }
  insert(result, "value", toJs(out));
  return result;
}

template <typename T>
void parseInto(Any input, T out, Callback callback) {
  callback.call(outcome(out, [&] { zax::ArgumentConverter<T>::convert(out, input.value); }));
}

template <typename T, void (*get)(T&, const std::string&, v8::Local<v8::Value>&)>
void readChild(Any object, const std::string& name, T out, Callback callback) {
  callback.call(outcome(out, [&] { get(out, name, object.value); }));
}

void childValue(Any object, const std::string& name, Callback callback) {
  callback.call(zax::getChildValue(object.value, name));
}

template <typename T>
void exportType(Exports parsers, Exports readers, const char* name) {
  bind<&parse<T>>(parsers, name);
  bind<&parseInto<T>>(readers, name);
}

}  // namespace

void registerParsing(Exports exports) {
  const auto parsers = group(exports, "parse");
  const auto readers = group(exports, "into");
  exportType<std::string>(parsers, readers, "string");
  exportType<int>(parsers, readers, "int");
  exportType<unsigned int>(parsers, readers, "unsigned");
  exportType<long>(parsers, readers, "long");
  exportType<bool>(parsers, readers, "bool");
  exportType<boolean_t>(parsers, readers, "boolean_t");
  exportType<Callback>(parsers, readers, "callback");
  exportType<std::list<std::string>>(parsers, readers, "list");
  exportType<std::set<std::string>>(parsers, readers, "set");
  exportType<std::vector<int>>(parsers, readers, "ints");
  exportType<std::vector<unsigned int>>(parsers, readers, "unsigneds");
  exportType<zax::StringPairs>(parsers, readers, "pairs");
  exportType<zax::StringMap>(parsers, readers, "map");
  exportType<zax::IntStringMap>(parsers, readers, "intMap");

  const auto children = group(exports, "child");
  bind<&childValue>(children, "value");
  bind<&readChild<std::string, zax::getChildString>>(children, "string");
  bind<&readChild<int, zax::getChildInt>>(children, "int");
  bind<&readChild<unsigned int, zax::getChildInt>>(children, "unsigned");
  bind<&readChild<bool, zax::getChildBoolean>>(children, "bool");
  bind<&readChild<zax::StringMap, zax::getChildStringMap>>(children, "map");
  bind<&readChild<std::list<std::string>, zax::getChildStringList>>(children, "list");
}

}  // namespace bridge
