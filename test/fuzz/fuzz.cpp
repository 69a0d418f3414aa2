// Drives the error texts with arbitrary bytes and compares them with a simple model of their rules.

#include <cxxabi.h>

#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "zax-debug.h"
#include "zax-error-code.h"
#include "zax-message-buffer.h"

namespace {

using Text = std::optional<std::string>;

void require(bool holds, const char* what) {
  if (holds) return;
  std::fprintf(stdout, "broken rule: %s\n", what);
  std::abort();
}

bool same(const char* text, const Text& expected) {
  return text ? expected && *expected == text : !expected;
}

/// The bytes of one run, handed out piece by piece.
class Input {
 public:
  Input(const std::uint8_t* data, std::size_t size) : at_(data), end_(data + size) {}

  bool empty() const { return at_ == end_; }
  std::uint8_t byte() { return empty() ? 0 : *at_++; }

  /// A text without zero bytes, now and then a long one or none at all.
  Text text() {
    const std::uint8_t kind = byte();
    if (kind == 255) return std::nullopt;
    const std::size_t repeat = kind > 250 ? 900 : 1;
    std::string piece;
    for (std::size_t length = kind % 24; length > 0 && !empty(); --length) {
      const char c = static_cast<char>(byte());
      if (c) piece += c;
    }
    std::string text;
    for (std::size_t i = 0; i < repeat; ++i) text += piece;
    return text;
  }

 private:
  const std::uint8_t* at_;
  const std::uint8_t* end_;
};

const char* pointer(const Text& text) { return text ? text->c_str() : nullptr; }

/// What a message holds by the rules, with texts of any length.
struct Model {
  Text format;
  std::vector<std::pair<Text, Text>> args;
  std::size_t used = 0;
  bool overflow = false;

  Text store(const Text& text) {
    if (!text) return std::nullopt;
    if (used + text->size() + 1 > 4096) {
      overflow = true;
      return std::nullopt;
    }
    used += text->size() + 1;
    return text;
  }

  void push(const Text& key, const Text& value) {
    if (args.size() == 16) {
      overflow = true;
      return;
    }
    Text storedKey = store(key);
    args.emplace_back(std::move(storedKey), store(value));
  }

  /// The entry named `key`; nothing when there is none.
  std::optional<Text> lookup(const std::string& key) const {
    for (const auto& [name, value] : args) {
      if (name && *name == key) return value;
    }
    return std::nullopt;
  }

  std::string substitute() const {
    const std::string text = format.value_or("");
    std::string result;
    for (std::size_t i = 0; i < text.size(); ++i) {
      if (text[i] != '%') {
        result += text[i];
        continue;
      }
      const std::size_t close = text.find(')', i);
      if (text.compare(i, 2, "%(") != 0 || close == std::string::npos || close == i + 2) break;
      if (text.compare(close + 1, 1, "s") != 0) break;
      const auto found = lookup(text.substr(i + 2, close - i - 2));
      result += found ? found->value_or("") : "<unknown>";
      i = close + 1;
    }
    return result;
  }
};

void compare(const zax::MessageBuffer& buffer, const Model& model) {
  require(same(buffer.format, model.format), "format");
  require(buffer.count == model.args.size(), "count");
  require(buffer.used == model.used, "used");
  require(buffer.overflow == model.overflow, "overflow");
  for (std::size_t i = 0; i < model.args.size(); ++i) {
    require(same(buffer.args[i].key, model.args[i].first), "key");
    require(same(buffer.args[i].value, model.args[i].second), "value");
    for (const char* text : {buffer.args[i].key, buffer.args[i].value}) {
      require(!text || (text >= buffer.storage && text < buffer.storage + buffer.used), "pointer");
    }
  }
  require(buffer.substitute() == model.substitute(), "substitute");
}

void fuzzMessage(Input& input) {
  Model model;
  const Text format = input.text();
  zax::MessageBuffer buffer = __(pointer(format));
  model.format = model.store(format);
  while (!input.empty()) {
    const Text key = input.text();
    const Text value = input.text();
    model.push(key, value);
    require(buffer.push(pointer(key), pointer(value)) == model.args.size(), "returned count");
  }
  compare(buffer, model);

  zax::MessageBuffer copy(buffer);
  model.overflow = false;
  compare(copy, model);
  copy.assign(copy);
  compare(copy, model);
  copy.clear();
  compare(copy, Model());
}

void fuzzErrorCode(Input& input) {
  const Text prefix = input.text();
  const Text code = input.text();
  const zax::ErrorCode joined(pointer(prefix), pointer(code));
  const std::string whole = prefix.value_or("") + "-" + code.value_or("");
  require(joined.c_str() == whole.substr(0, 63), "joined code");
  zax::ErrorCode single(pointer(prefix));
  require(single.c_str() == prefix.value_or("").substr(0, 63), "code");
  const std::size_t skip = std::strlen(single.c_str()) / 2;
  const std::string tail = single.c_str() + skip;
  single.assign(single.c_str() + skip);
  require(single.c_str() == tail, "a code from its own text");
}

void fuzzDemangle(Input& input) {
  const std::string mangled = (input.byte() % 2 ? "_Z" : "") + input.text().value_or("");
  int status = 0;
  char* name = abi::__cxa_demangle(mangled.c_str(), nullptr, nullptr, &status);
  const std::string expected = status == 0 && name ? name : mangled;
  std::free(name);
  char text[48];
  const std::size_t size = input.byte() % sizeof(text);
  std::memset(text, '#', sizeof(text));
  zax::cxxDemangle(text, size, mangled.c_str());
  if (size > 0) require(text == expected.substr(0, size - 1), "demangled");
  for (std::size_t i = size; i < sizeof(text); ++i) require(text[i] == '#', "beyond the size");
  std::string inPlace = mangled;
  zax::cxxDemangle(inPlace, inPlace);
  require(inPlace == expected.substr(0, 1023), "demangled in place");
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  Input input(data, size);
  switch (input.byte() % 4) {
    case 0:
      fuzzErrorCode(input);
      break;
    case 1:
      fuzzDemangle(input);
      break;
    default:
      fuzzMessage(input);
  }
  return 0;
}
