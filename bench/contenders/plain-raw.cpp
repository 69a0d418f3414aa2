#include <node_buffer.h>

#include "raw-common.h"
#include "values.h"

namespace raw {

namespace {

void add(const Info& info) {
  if (info.Length() != 2 || !info[0]->IsNumber() || !info[1]->IsNumber()) {
    return throwTypeError(info.GetIsolate(), "two numbers expected");
  }
  const double a = info[0].As<v8::Number>()->Value();
  info.GetReturnValue().Set(a + info[1].As<v8::Number>()->Value());
}

void upper(const Info& info) {
  v8::Isolate* isolate = info.GetIsolate();
  if (info.Length() != 1 || !info[0]->IsString()) {
    return throwTypeError(isolate, "string expected");
  }
  const std::string text = toStd(isolate, info[0].As<v8::String>());
  info.GetReturnValue().Set(toV8(isolate, bench::upper(text)));
}

/// The names of properties, made once.
enum Key { X, Y, Name, Id, Number, Text, Nothing, Content, KeyCount };
v8::Eternal<v8::Name> keys[KeyCount];

bool fromJs(v8::Isolate* isolate, v8::Local<v8::Value> value, double& number) {
  if (!value->IsNumber()) {
    throwTypeError(isolate, "number expected");
    return false;
  }
  number = value.As<v8::Number>()->Value();
  return true;
}

bool fromJs(v8::Isolate* isolate, v8::Local<v8::Value> value, std::string& text) {
  if (!value->IsString()) {
    throwTypeError(isolate, "string expected");
    return false;
  }
  text = toStd(isolate, value.As<v8::String>());
  return true;
}

template <typename T>
bool read(v8::Isolate* isolate, v8::Local<v8::Object> object, Key key, T& member) {
  v8::Local<v8::Value> value;
  return object->Get(isolate->GetCurrentContext(), keys[key].Get(isolate)).ToLocal(&value) &&
         fromJs(isolate, value, member);
}

bool fromJs(v8::Isolate* isolate, v8::Local<v8::Value> value, bench::Point& point) {
  if (!value->IsObject()) {
    throwTypeError(isolate, "object expected");
    return false;
  }
  const auto object = value.As<v8::Object>();
  return read(isolate, object, X, point.x) && read(isolate, object, Y, point.y) &&
         read(isolate, object, Name, point.name);
}

template <typename T, double work(const std::vector<T>&)>
void read(const Info& info) {
  v8::Isolate* isolate = info.GetIsolate();
  if (info.Length() != 1 || !info[0]->IsArray()) return throwTypeError(isolate, "array expected");
  const v8::Local<v8::Context> context = isolate->GetCurrentContext();
  const auto array = info[0].As<v8::Array>();
  std::vector<T> values(array->Length());
  for (std::uint32_t i = 0; i < values.size(); ++i) {
    const v8::HandleScope scope(isolate);
    v8::Local<v8::Value> value;
    if (!array->Get(context, i).ToLocal(&value) || !fromJs(isolate, value, values[i])) return;
  }
  info.GetReturnValue().Set(work(values));
}

v8::Local<v8::Value> toJs(v8::Isolate* isolate, double number) {
  return v8::Number::New(isolate, number);
}

void set(v8::Isolate* isolate, v8::Local<v8::Object> object, Key key, v8::Local<v8::Value> value) {
  object->CreateDataProperty(isolate->GetCurrentContext(), keys[key].Get(isolate), value).Check();
}

v8::Local<v8::Value> toJs(v8::Isolate* isolate, const bench::Point& point) {
  const v8::Local<v8::Object> object = v8::Object::New(isolate);
  set(isolate, object, X, v8::Number::New(isolate, point.x));
  set(isolate, object, Y, v8::Number::New(isolate, point.y));
  set(isolate, object, Name, toV8(isolate, point.name));
  return object;
}

v8::Local<v8::Value> toJs(v8::Isolate* isolate, const bench::Row& row) {
  const v8::Local<v8::Object> object = v8::Object::New(isolate);
  const auto* bytes = reinterpret_cast<const char*>(row.bytes.data());
  set(isolate, object, Id, v8::Number::New(isolate, static_cast<double>(row.id)));
  set(isolate, object, Number, v8::Number::New(isolate, row.value));
  set(isolate, object, Text, toV8(isolate, row.text));
  set(isolate, object, Nothing, v8::Null(isolate));
  set(isolate, object, Content,
      node::Buffer::Copy(isolate, bytes, row.bytes.size()).ToLocalChecked());
  return object;
}

template <typename T>
void write(const Info& info) {
  v8::Isolate* isolate = info.GetIsolate();
  if (info.Length() != 1 || !info[0]->IsNumber()) return throwTypeError(isolate, "number expected");
  const std::vector<T>& values = bench::some<T>(toInt(info, 0));
  std::vector<v8::Local<v8::Value>> elements;
  elements.reserve(values.size());
  for (const T& value : values) elements.push_back(toJs(isolate, value));
  info.GetReturnValue().Set(v8::Array::New(isolate, elements.data(), elements.size()));
}

void invert(const Info& info) {
  v8::Isolate* isolate = info.GetIsolate();
  if (info.Length() != 1 || !node::Buffer::HasInstance(info[0])) {
    return throwTypeError(isolate, "Buffer expected");
  }
  const auto* data = reinterpret_cast<const std::uint8_t*>(node::Buffer::Data(info[0]));
  bench::Bytes bytes = bench::invert(data, node::Buffer::Length(info[0]));
  const auto chars = [](bench::Bytes& of) { return reinterpret_cast<char*>(of.data()); };
  if (bytes.size() <= bench::smallBytes) {
    auto buffer = node::Buffer::Copy(isolate, chars(bytes), bytes.size());
    return info.GetReturnValue().Set(buffer.ToLocalChecked());
  }
  auto* held = new bench::Bytes(std::move(bytes));
  const auto free = [](char*, void* released) { delete static_cast<bench::Bytes*>(released); };
  auto buffer = node::Buffer::New(isolate, chars(*held), held->size(), free, held);
  info.GetReturnValue().Set(buffer.ToLocalChecked());
}

void refuse(const Info& info) {
  v8::Isolate* isolate = info.GetIsolate();
  if (info.Length() != 2 || !info[0]->IsNumber() || !info[1]->IsString()) {
    return throwTypeError(isolate, "number and string expected");
  }
  const std::string text = toStd(isolate, info[1].As<v8::String>());
  isolate->ThrowException(makeError(isolate, toInt(info, 0), text, {__FILE__, __func__, __LINE__}));
}

/// A counter and the object that stands for it.
struct CounterObject {
  bench::Counter counter;
  v8::Global<v8::Object> object;
};

#if V8_MAJOR_VERSION >= 14
#define TAG , v8::kEmbedderDataTypeTagDefault
#else
#define TAG
#endif

void construct(const Info& info) {
  v8::Isolate* isolate = info.GetIsolate();
  if (!info.IsConstructCall() || info.Length() != 1 || !info[0]->IsInt32()) {
    return throwTypeError(isolate, "new with an integer expected");
  }
  auto* made = new CounterObject{bench::Counter(info[0].As<v8::Int32>()->Value()), {}};
  info.This()->SetAlignedPointerInInternalField(0, made TAG);
  made->object.Reset(isolate, info.This());
  made->object.SetWeak(
      made, [](const v8::WeakCallbackInfo<CounterObject>& of) { delete of.GetParameter(); },
      v8::WeakCallbackType::kParameter);
}

bench::Counter& counterOf(const Info& info) {
  void* field = info.This()->GetAlignedPointerFromInternalField(0 TAG);
  return static_cast<CounterObject*>(field)->counter;
}

void addToCounter(const Info& info) {
  if (info.Length() != 1 || !info[0]->IsInt32()) {
    return throwTypeError(info.GetIsolate(), "integer expected");
  }
  info.GetReturnValue().Set(counterOf(info).add(info[0].As<v8::Int32>()->Value()));
}

void counterValue(const Info& info) { info.GetReturnValue().Set(counterOf(info).value()); }

void living(const Info& info) { info.GetReturnValue().Set(bench::Counter::living); }

v8::Local<v8::Function> makeCounterClass(v8::Isolate* isolate) {
  const auto made = v8::FunctionTemplate::New(isolate, construct);
  const auto signature = v8::Signature::New(isolate, made);
  made->SetClassName(toV8(isolate, "Counter"));
  made->InstanceTemplate()->SetInternalFieldCount(1);
  made->PrototypeTemplate()->Set(toV8(isolate, "add"),
                                 v8::FunctionTemplate::New(isolate, addToCounter, {}, signature));
  made->PrototypeTemplate()->SetAccessorProperty(
      toV8(isolate, "value"), v8::FunctionTemplate::New(isolate, counterValue, {}, signature));
  return made->GetFunction(isolate->GetCurrentContext()).ToLocalChecked();
}

}  // namespace

void exportPlain(v8::Local<v8::Object> exports) {
  v8::Isolate* isolate = v8::Isolate::GetCurrent();
  const char* const names[] = {"x", "y", "name", "id", "value", "text", "nothing", "bytes"};
  for (int i = 0; i < KeyCount; ++i) {
    auto name = v8::String::NewFromUtf8(isolate, names[i], v8::NewStringType::kInternalized);
    keys[i].Set(isolate, name.ToLocalChecked());
  }
  NODE_SET_METHOD(exports, "add", add);
  NODE_SET_METHOD(exports, "upper", upper);
  NODE_SET_METHOD(exports, "sumOf", read<double, bench::sumOf>);
  NODE_SET_METHOD(exports, "numbers", write<double>);
  NODE_SET_METHOD(exports, "sumOfPoints", read<bench::Point, bench::sumOfPoints>);
  NODE_SET_METHOD(exports, "points", write<bench::Point>);
  NODE_SET_METHOD(exports, "invert", invert);
  NODE_SET_METHOD(exports, "rows", write<bench::Row>);
  NODE_SET_METHOD(exports, "refuse", refuse);
  NODE_SET_METHOD(exports, "living", living);
  set(isolate, exports, "Counter", makeCounterClass(isolate));
}

}  // namespace raw
