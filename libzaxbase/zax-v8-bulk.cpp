#include "zax-v8-bulk.h"

#include <algorithm>
#include <cstdio>

#include "zax-v8-backend.h"
#include "zax-v8-environment.h"
#include "zax-v8-script.h"

namespace zax {

namespace {

constexpr std::size_t capacity = 8192;  // numbers, and values

/// A text as script writes it.
std::string scriptText(const char* text) {
  std::string result = "\"";
  for (; *text != '\0'; ++text) {
    const auto unit = static_cast<unsigned char>(*text);
    char escaped[8];
    std::snprintf(escaped, sizeof(escaped), "\\u%04x", unit);
    const bool plain = unit >= ' ' && *text != '"' && *text != '\\';
    result += plain ? std::string(1, *text) : escaped;
  }
  return result + "\"";
}

v8::MaybeLocal<v8::Function> compile(v8::Local<v8::Context> context, const std::string& body) {
  v8::Isolate* isolate = v8::Isolate::GetCurrent();
  const auto text = [&](const std::string& utf8) {
    return v8::String::NewFromUtf8(isolate, utf8.data(), v8::NewStringType::kNormal,
                                   static_cast<int>(utf8.size()))
        .ToLocalChecked();
  };
  v8::Local<v8::String> parameters[] = {text("array"),   text("from"),     text("to"),
                                        text("numbers"), text("capacity"), text("values")};
  // Strict: a getter must not find the shared memory in the arguments of its caller.
  v8::ScriptCompiler::Source source(text(concat({"'use strict';\n", body})));
  return v8::ScriptCompiler::CompileFunction(context, &source, 6, parameters);
}

/// Stores the elements of an array of the framework's own, which has none where script has put
/// setters on Array.prototype. (Array::Iterate is faster, but its handles end with each of its
/// steps.)
bool takeElements(v8::Local<v8::Context> context, v8::Local<v8::Array> array, ZaxValue** values,
                  std::size_t count) {
  for (std::uint32_t i = 0; i < count; ++i) {
    v8::Local<v8::Value> element;
    if (!array->Get(context, i).ToLocal(&element)) return false;
    values[i] = toSlot(element);
  }
  return true;
}

}  // namespace

ZaxBulk* BulkMemory::open(v8::Isolate* isolate) {
  if (used_ == mostBuffers) return nullptr;
  if (used_ == buffers_.size()) {
    auto buffer = std::make_unique<BulkBuffer>();
    const auto memory = v8::ArrayBuffer::New(isolate, (capacity + 1) * sizeof(double));
    buffer->numbers = static_cast<double*>(memory->GetBackingStore()->Data());
    buffer->sharedNumbers.Reset(isolate, v8::Float64Array::New(memory, 0, capacity + 1));
    buffer->valueMemory.resize(capacity);
    buffer->values = buffer->valueMemory.data();
    buffer->capacity = capacity;
    buffers_.push_back(std::move(buffer));
  }
  return buffers_[used_++].get();
}

// Conversions within each other end in the reverse order of their beginning.
void BulkMemory::close(ZaxBulk* /*bulk*/) { --used_; }

const std::vector<v8::Eternal<v8::Name>>& ShapeScripts::names(v8::Isolate* isolate) {
  for (std::size_t i = names_.size(); i < shape_->count; ++i) {
    const v8::Local<v8::Name> name =
        v8::String::NewFromUtf8(isolate, shape_->names[i], v8::NewStringType::kInternalized)
            .ToLocalChecked();
    names_.emplace_back(isolate, name);
  }
  return names_;
}

std::size_t ShapeScripts::valueColumns() const {
  if (!shape_) return 0;
  return std::count(shape_->columns, shape_->columns + shape_->count, ZaxValueColumn);
}

std::string ShapeScripts::readerBody() const {
  std::string loads;
  std::string checks;
  std::string stores;
  for (std::size_t i = 0; i < shape_->count; ++i) {
    const std::string member = concat({"m", std::to_string(i)});
    const ZaxColumn column = shape_->columns[i];
    loads += concat({"const ", member, " = row[", scriptText(shape_->names[i]), "];\n"});
    if (column == ZaxValueColumn) {
      stores += concat({"values[j++] = ", member, ";\n"});
      continue;
    }
    const bool isNumber = column == ZaxNumberColumn;
    checks += concat(
        {"if (typeof ", member, isNumber ? " !== 'number'" : " !== 'boolean'", ") break;\n"});
    stores += concat({"numbers[k++] = ", member, isNumber ? ";\n" : " ? 1 : 0;\n"});
  }
  constexpr const char* begin =
      "values = [];\nlet i = from, j = 0, k = 0;\n"
      "for (; i < to; ++i) {\n"
      "const row = array[i];\n"
      "if (typeof row !== 'object' || row === null || Array.isArray(row)) break;\n";
  return concat({begin, loads, checks, stores, "}\nnumbers[capacity] = i;\nreturn values;"});
}

std::string ShapeScripts::writerBody() const {
  std::string members;
  for (std::size_t i = 0; i < shape_->count; ++i) {
    const ZaxColumn column = shape_->columns[i];
    // A literal's own names have room in the object; the one that is special there is computed.
    const std::string name = scriptText(shape_->names[i]);
    members += concat({name == "\"__proto__\"" ? "[\"__proto__\"]" : name, ": ",
                       column == ZaxValueColumn    ? "values[j++], "
                       : column == ZaxNumberColumn ? "numbers[k++], "
                                                   : "numbers[k++] !== 0, "});
  }
  return concat(
      {"let j = 0, k = 0;\nfor (let i = from; i < to; ++i) array[i] = { ", members, "};"});
}

v8::MaybeLocal<v8::Function> ShapeScripts::script(v8::Isolate* isolate, int which) {
  if (scripts_[which].IsEmpty()) {
    std::string body;
    if (which == Reader) {
      body = shape_ ? readerBody() : readNumbersBody;
    } else {
      body = shape_ ? writerBody() : writeNumbersBody;
    }
    v8::Local<v8::Function> compiled;
    if (!compile(isolate->GetCurrentContext(), body).ToLocal(&compiled)) return {};
    scripts_[which].Reset(isolate, compiled);
  }
  return scripts_[which].Get(isolate);
}

bool ShapeScripts::read(v8::Isolate* isolate, ZaxBulk& bulk, v8::Local<v8::Value> array,
                        std::size_t from, std::size_t count, std::size_t* rows) {
  const v8::Local<v8::Context> context = isolate->GetCurrentContext();
  v8::Local<v8::Value> arguments[] = {array, v8::Number::New(isolate, static_cast<double>(from)),
                                      v8::Number::New(isolate, static_cast<double>(from + count)),
                                      static_cast<BulkBuffer&>(bulk).sharedNumbers.Get(isolate),
                                      v8::Integer::New(isolate, static_cast<int>(capacity))};
  v8::Local<v8::Function> reader;
  v8::Local<v8::Value> values;
  if (!script(isolate, Reader).ToLocal(&reader)) return false;
  if (!reader->Call(context, v8::Undefined(isolate), 5, arguments).ToLocal(&values)) return false;
  *rows = static_cast<std::size_t>(bulk.numbers[capacity]) - from;
  return !shape_ ||
         takeElements(context, values.As<v8::Array>(), bulk.values, *rows * valueColumns());
}

bool ShapeScripts::write(v8::Isolate* isolate, ZaxBulk& bulk, v8::Local<v8::Value> array,
                         std::size_t from, std::size_t count) {
  auto* elements = reinterpret_cast<v8::Local<v8::Value>*>(bulk.values);
  v8::Local<v8::Value> arguments[] = {array,
                                      v8::Number::New(isolate, static_cast<double>(from)),
                                      v8::Number::New(isolate, static_cast<double>(from + count)),
                                      static_cast<BulkBuffer&>(bulk).sharedNumbers.Get(isolate),
                                      v8::Integer::New(isolate, static_cast<int>(capacity)),
                                      v8::Array::New(isolate, elements, count * valueColumns())};
  v8::Local<v8::Function> writer;
  if (!script(isolate, Writer).ToLocal(&writer)) return false;
  return !writer->Call(isolate->GetCurrentContext(), v8::Undefined(isolate), 6, arguments)
              .IsEmpty();
}

}  // namespace zax
