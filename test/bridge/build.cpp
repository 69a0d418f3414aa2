#include "bridge.h"

namespace bridge {

namespace {

/// Sets a property of every native type, named after it.
void insertAll(Any target) {
  auto object = target.value.As<v8::Object>();
  const auto insert = [&](const char* key, const auto& value) {
    zax::insertToObject(object, key, value);
  };
  insert("string", std::string("a\0b", 3));
  zax::insertToObject(object, "cString", "a\0b");
  insert("bool", true);
  insert("int", -5);
  insert("unsigned", 4294967295U);
  insert("long", 9007199254740993L);
  insert("unsignedLong", 18446744073709551615UL);
  insert("double", 0.1);
  insert("list", std::list<std::string>{"b", "a", "b"});
  insert("emptyList", std::list<std::string>());
  insert("object", Nan::New<v8::Object>());
  insert("array", Nan::New<v8::Array>(2));
  insert("twice", 1);
  insert("twice", 2);
  insert("7", 8);
  zax::insertToObject(object, std::string("k\0\xc3\xa9", 4), false);
}

template <typename Target, typename Source, void (*fill)(v8::Local<Target>&, const Source&)>
void fillWith(Any target, const Source& source) {
  auto object = target.value.As<Target>();
  fill(object, source);
}

}  // namespace

void registerBuilding(Exports exports) {
  bind<&insertAll>(exports, "insertAll");
  const auto fill = group(exports, "fill");
  bind<&fillWith<v8::Object, zax::StringMap, zax::mapToObject>>(fill, "map");
  bind<&fillWith<v8::Object, Counts, zax::mapToObject>>(fill, "counts");
  bind<&fillWith<v8::Array, std::list<std::string>, zax::stringListToArray>>(fill, "list");
  bind<&fillWith<v8::Array, std::set<std::string>, zax::stringSetToArray>>(fill, "set");
}

}  // namespace bridge
