#include "nan-common.h"
#include "values.h"

namespace with_nan {

namespace {

NAN_METHOD(add) {
  if (info.Length() != 2 || !info[0]->IsNumber() || !info[1]->IsNumber()) {
    return Nan::ThrowTypeError("two numbers expected");
  }
  const double a = Nan::To<double>(info[0]).FromJust();
  info.GetReturnValue().Set(a + Nan::To<double>(info[1]).FromJust());
}

NAN_METHOD(upper) {
  if (info.Length() != 1 || !info[0]->IsString()) return Nan::ThrowTypeError("string expected");
  info.GetReturnValue().Set(toV8(bench::upper(toStd(info[0]))));
}

bool fromJs(v8::Local<v8::Value> value, double& number) {
  if (!value->IsNumber()) {
    Nan::ThrowTypeError("number expected");
    return false;
  }
  number = Nan::To<double>(value).FromJust();
  return true;
}

bool fromJs(v8::Local<v8::Value> value, std::string& text) {
  if (!value->IsString()) {
    Nan::ThrowTypeError("string expected");
    return false;
  }
  text = toStd(value);
  return true;
}

template <typename T>
bool read(v8::Local<v8::Object> object, const char* key, T& member) {
  v8::Local<v8::Value> value;
  return Nan::Get(object, Nan::New(key).ToLocalChecked()).ToLocal(&value) && fromJs(value, member);
}

bool fromJs(v8::Local<v8::Value> value, bench::Point& point) {
  if (!value->IsObject()) {
    Nan::ThrowTypeError("object expected");
    return false;
  }
  const v8::Local<v8::Object> object = value.As<v8::Object>();
  return read(object, "x", point.x) && read(object, "y", point.y) &&
         read(object, "name", point.name);
}

template <typename T, double work(const std::vector<T>&)>
NAN_METHOD(read) {
  if (info.Length() != 1 || !info[0]->IsArray()) return Nan::ThrowTypeError("array expected");
  const v8::Local<v8::Array> array = info[0].As<v8::Array>();
  std::vector<T> values(array->Length());
  for (std::uint32_t i = 0; i < values.size(); ++i) {
    v8::Local<v8::Value> value;
    if (!Nan::Get(array, i).ToLocal(&value) || !fromJs(value, values[i])) return;
  }
  info.GetReturnValue().Set(work(values));
}

v8::Local<v8::Value> toJs(double number) { return Nan::New(number); }

v8::Local<v8::Value> toJs(const bench::Point& point) {
  const v8::Local<v8::Object> object = Nan::New<v8::Object>();
  set(object, "x", Nan::New(point.x));
  set(object, "y", Nan::New(point.y));
  set(object, "name", toV8(point.name));
  return object;
}

v8::Local<v8::Value> toJs(const bench::Row& row) {
  const v8::Local<v8::Object> object = Nan::New<v8::Object>();
  const auto* bytes = reinterpret_cast<const char*>(row.bytes.data());
  set(object, "id", Nan::New(static_cast<double>(row.id)));
  set(object, "value", Nan::New(row.value));
  set(object, "text", toV8(row.text));
  set(object, "nothing", Nan::Null());
  set(object, "bytes",
      Nan::CopyBuffer(bytes, static_cast<uint32_t>(row.bytes.size())).ToLocalChecked());
  return object;
}

template <typename T>
NAN_METHOD(write) {
  if (info.Length() != 1 || !info[0]->IsNumber()) return Nan::ThrowTypeError("number expected");
  const std::vector<T>& values = bench::some<T>(Nan::To<int32_t>(info[0]).FromJust());
  const v8::Local<v8::Array> array = Nan::New<v8::Array>(static_cast<int>(values.size()));
  for (std::uint32_t i = 0; i < values.size(); ++i) Nan::Set(array, i, toJs(values[i])).Check();
  info.GetReturnValue().Set(array);
}

NAN_METHOD(invert) {
  if (info.Length() != 1 || !node::Buffer::HasInstance(info[0])) {
    return Nan::ThrowTypeError("Buffer expected");
  }
  const auto* data = reinterpret_cast<const std::uint8_t*>(node::Buffer::Data(info[0]));
  bench::Bytes bytes = bench::invert(data, node::Buffer::Length(info[0]));
  const auto size = static_cast<uint32_t>(bytes.size());
  const auto chars = [](bench::Bytes& of) { return reinterpret_cast<char*>(of.data()); };
  if (size <= bench::smallBytes) {
    return info.GetReturnValue().Set(Nan::CopyBuffer(chars(bytes), size).ToLocalChecked());
  }
  auto* held = new bench::Bytes(std::move(bytes));
  const auto free = [](char*, void* released) { delete static_cast<bench::Bytes*>(released); };
  info.GetReturnValue().Set(Nan::NewBuffer(chars(*held), size, free, held).ToLocalChecked());
}

NAN_METHOD(refuse) {
  if (info.Length() != 2 || !info[0]->IsNumber() || !info[1]->IsString()) {
    return Nan::ThrowTypeError("number and string expected");
  }
  const int number = Nan::To<int32_t>(info[0]).FromJust();
  Nan::ThrowError(makeError(number, toStd(info[1]), {__FILE__, __func__, __LINE__}));
}

class Counter : public Nan::ObjectWrap {
 public:
  static v8::Local<v8::Function> makeClass() {
    v8::Local<v8::FunctionTemplate> made = Nan::New<v8::FunctionTemplate>(construct);
    made->SetClassName(Nan::New("Counter").ToLocalChecked());
    made->InstanceTemplate()->SetInternalFieldCount(1);
    Nan::SetPrototypeMethod(made, "add", add);
    Nan::SetAccessor(made->InstanceTemplate(), Nan::New("value").ToLocalChecked(), value);
    return Nan::GetFunction(made).ToLocalChecked();
  }

 private:
  explicit Counter(int value) : counter_(value) {}

  static NAN_METHOD(construct) {
    if (!info.IsConstructCall() || info.Length() != 1 || !info[0]->IsInt32()) {
      return Nan::ThrowTypeError("new with an integer expected");
    }
    auto* made = new Counter(Nan::To<int32_t>(info[0]).FromJust());
    made->Wrap(info.This());
    info.GetReturnValue().Set(info.This());
  }

  static NAN_METHOD(add) {
    if (info.Length() != 1 || !info[0]->IsInt32()) return Nan::ThrowTypeError("integer expected");
    auto* self = Nan::ObjectWrap::Unwrap<Counter>(info.This());
    info.GetReturnValue().Set(self->counter_.add(Nan::To<int32_t>(info[0]).FromJust()));
  }

  static NAN_GETTER(value) {
    auto* self = Nan::ObjectWrap::Unwrap<Counter>(info.This());
    info.GetReturnValue().Set(self->counter_.value());
  }

  bench::Counter counter_;
};

NAN_METHOD(living) { info.GetReturnValue().Set(bench::Counter::living); }

}  // namespace

NAN_MODULE_INIT(exportPlain) {
  Nan::Export(target, "add", add);
  Nan::Export(target, "upper", upper);
  Nan::Export(target, "sumOf", read<double, bench::sumOf>);
  Nan::Export(target, "numbers", write<double>);
  Nan::Export(target, "sumOfPoints", read<bench::Point, bench::sumOfPoints>);
  Nan::Export(target, "points", write<bench::Point>);
  Nan::Export(target, "invert", invert);
  Nan::Export(target, "rows", write<bench::Row>);
  Nan::Export(target, "refuse", refuse);
  Nan::Export(target, "living", living);
  Nan::Set(target, Nan::New("Counter").ToLocalChecked(), Counter::makeClass()).Check();
}

}  // namespace with_nan
