#include <stdexcept>

#include "napi-common.h"
#include "values.h"

namespace with_napi {

namespace {

Napi::Value add(const Napi::CallbackInfo& info) {
  if (info.Length() != 2 || !info[0].IsNumber() || !info[1].IsNumber()) {
    throw Napi::TypeError::New(info.Env(), "two numbers expected");
  }
  const double a = info[0].As<Napi::Number>().DoubleValue();
  return Napi::Number::New(info.Env(), a + info[1].As<Napi::Number>().DoubleValue());
}

Napi::Value upper(const Napi::CallbackInfo& info) {
  if (info.Length() != 1 || !info[0].IsString()) {
    throw Napi::TypeError::New(info.Env(), "string expected");
  }
  return Napi::String::New(info.Env(), bench::upper(info[0].As<Napi::String>().Utf8Value()));
}

double toDouble(const Napi::Value& value) {
  if (!value.IsNumber()) throw Napi::TypeError::New(value.Env(), "number expected");
  return value.As<Napi::Number>().DoubleValue();
}

void fromJs(const Napi::Value& value, double& number) { number = toDouble(value); }

void fromJs(const Napi::Value& value, bench::Point& point) {
  if (!value.IsObject()) throw Napi::TypeError::New(value.Env(), "object expected");
  const auto object = value.As<Napi::Object>();
  point.x = toDouble(object.Get("x"));
  point.y = toDouble(object.Get("y"));
  const Napi::Value name = object.Get("name");
  if (!name.IsString()) throw Napi::TypeError::New(value.Env(), "string expected");
  point.name = name.As<Napi::String>().Utf8Value();
}

template <typename T, double work(const std::vector<T>&)>
Napi::Value read(const Napi::CallbackInfo& info) {
  if (info.Length() != 1 || !info[0].IsArray()) {
    throw Napi::TypeError::New(info.Env(), "array expected");
  }
  const auto array = info[0].As<Napi::Array>();
  std::vector<T> values(array.Length());
  for (std::uint32_t i = 0; i < values.size(); ++i) fromJs(array.Get(i), values[i]);
  return Napi::Number::New(info.Env(), work(values));
}

Napi::Value toJs(Napi::Env env, double number) { return Napi::Number::New(env, number); }

Napi::Value toJs(Napi::Env env, const bench::Point& point) {
  Napi::Object object = Napi::Object::New(env);
  object.Set("x", point.x);
  object.Set("y", point.y);
  object.Set("name", point.name);
  return object;
}

Napi::Value toJs(Napi::Env env, const bench::Row& row) {
  Napi::Object object = Napi::Object::New(env);
  object.Set("id", Napi::Number::New(env, static_cast<double>(row.id)));
  object.Set("value", row.value);
  object.Set("text", row.text);
  object.Set("nothing", env.Null());
  object.Set("bytes", Napi::Buffer<std::uint8_t>::Copy(env, row.bytes.data(), row.bytes.size()));
  return object;
}

template <typename T>
Napi::Value write(const Napi::CallbackInfo& info) {
  if (info.Length() != 1 || !info[0].IsNumber()) {
    throw Napi::TypeError::New(info.Env(), "number expected");
  }
  const std::vector<T>& values = bench::some<T>(info[0].As<Napi::Number>().Int32Value());
  Napi::Array array = Napi::Array::New(info.Env(), values.size());
  for (std::uint32_t i = 0; i < values.size(); ++i) array.Set(i, toJs(info.Env(), values[i]));
  return array;
}

Napi::Value invert(const Napi::CallbackInfo& info) {
  if (info.Length() != 1 || !info[0].IsBuffer()) {
    throw Napi::TypeError::New(info.Env(), "Buffer expected");
  }
  using Buffer = Napi::Buffer<std::uint8_t>;
  const auto buffer = info[0].As<Buffer>();
  bench::Bytes bytes = bench::invert(buffer.Data(), buffer.Length());
  if (bytes.size() <= bench::smallBytes) {
    return Buffer::Copy(info.Env(), bytes.data(), bytes.size());
  }
  auto* held = new bench::Bytes(std::move(bytes));
  return Buffer::New(
      info.Env(), held->data(), held->size(),
      [](Napi::Env, std::uint8_t*, bench::Bytes* released) { delete released; }, held);
}

void refuse(const Napi::CallbackInfo& info) {
  if (info.Length() != 2 || !info[0].IsNumber() || !info[1].IsString()) {
    throw Napi::TypeError::New(info.Env(), "number and string expected");
  }
  const int number = info[0].As<Napi::Number>().Int32Value();
  const std::string text = info[1].As<Napi::String>().Utf8Value();
  throw makeError(info.Env(), number, text, {__FILE__, __func__, __LINE__});
}

class Counter : public Napi::ObjectWrap<Counter> {
 public:
  static Napi::Function makeClass(Napi::Env env) {
    return DefineClass(
        env, "Counter",
        {InstanceMethod<&Counter::add>("add"), InstanceAccessor<&Counter::value>("value")});
  }

  explicit Counter(const Napi::CallbackInfo& info)
      : Napi::ObjectWrap<Counter>(info), counter_(toInt(info)) {}

 private:
  static int toInt(const Napi::CallbackInfo& info) {
    if (info.Length() != 1 || !info[0].IsNumber()) {
      throw Napi::TypeError::New(info.Env(), "number expected");
    }
    return info[0].As<Napi::Number>().Int32Value();
  }

  Napi::Value add(const Napi::CallbackInfo& info) {
    return Napi::Number::New(info.Env(), counter_.add(toInt(info)));
  }

  Napi::Value value(const Napi::CallbackInfo& info) {
    return Napi::Number::New(info.Env(), counter_.value());
  }

  bench::Counter counter_;
};

Napi::Value living(const Napi::CallbackInfo& info) {
  return Napi::Number::New(info.Env(), bench::Counter::living);
}

}  // namespace

void exportPlain(Napi::Env env, Napi::Object exports) {
  exports.Set("add", Napi::Function::New<add>(env));
  exports.Set("upper", Napi::Function::New<upper>(env));
  exports.Set("sumOf", Napi::Function::New<read<double, bench::sumOf>>(env));
  exports.Set("numbers", Napi::Function::New<write<double>>(env));
  exports.Set("sumOfPoints", Napi::Function::New<read<bench::Point, bench::sumOfPoints>>(env));
  exports.Set("points", Napi::Function::New<write<bench::Point>>(env));
  exports.Set("invert", Napi::Function::New<invert>(env));
  exports.Set("rows", Napi::Function::New<write<bench::Row>>(env));
  exports.Set("refuse", Napi::Function::New<refuse>(env));
  exports.Set("living", Napi::Function::New<living>(env));
  exports.Set("Counter", Counter::makeClass(env));
}

}  // namespace with_napi
