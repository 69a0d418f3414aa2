// Drives the error texts with arbitrary bytes and compares them with a simple model of their rules.
// The native tests run it too, with bytes of their own.

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

const char* pointer(const Text& text) { return text ? text->c_str() : nullptr; }
Text textOf(const char* pointer) { return pointer ? Text(pointer) : std::nullopt; }

void require(bool holds, const char* what) {
  if (holds) return;
  std::fprintf(stdout, "broken rule: %s\n", what);
  std::abort();
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
    std::string piece;
    for (std::size_t length = kind % 24; length > 0 && !empty(); --length) {
      if (const char c = static_cast<char>(byte())) piece += c;
    }
    std::string text;
    for (std::size_t repeat = kind > 250 ? 900 : 1; repeat > 0; --repeat) text += piece;
    return text;
  }

 private:
  const std::uint8_t* at_;
  const std::uint8_t* end_;
};

/// What a message holds by the rules, with texts of any length.
struct Model {
  Text format;
  std::vector<std::pair<Text, Text>> args;
  std::size_t used = 0;
  bool overflow = false;

  Text store(const Text& text) {
    if (!text) return std::nullopt;
    const bool fits = used + text->size() + 1 <= 4096;
    if (fits) used += text->size() + 1;
    if (!fits) overflow = true;
    return fits ? text : std::nullopt;
  }

  void push(const Text& key, const Text& value) {
    if (args.size() == 16) {
      overflow = true;
    } else {
      args.emplace_back(store(key), std::nullopt);
      args.back().second = store(value);
    }
  }

  /// The same texts without the room that others took.
  Model packed() const {
    Model copy;
    copy.format = copy.store(format);
    for (const auto& [key, value] : args) copy.push(key, value);
    return copy;
  }

  std::string lookup(const std::string& key) const {
    for (const auto& [name, value] : args) {
      if (name == key) return value.value_or("");
    }
    return "<unknown>";
  }

  std::string substitute() const {
    const std::string text = format.value_or("");
    std::string result;
    std::size_t at = 0;
    for (;;) {
      const std::size_t percent = text.find('%', at);
      result += text.substr(at, percent - at);
      const std::size_t close = text.find(')', percent);
      if (close == std::string::npos || close == percent + 2) return result;
      if (text[percent + 1] != '(' || text[close + 1] != 's') return result;
      result += lookup(text.substr(percent + 2, close - percent - 2));
      at = close + 2;
    }
  }
};

void compare(const zax::MessageBuffer& buffer, const Model& model) {
  std::vector<std::pair<Text, Text>> args;
  for (std::size_t i = 0; i < buffer.count; ++i) {
    const auto& [key, value, type] = buffer.args[i];
    for (const char* text : {key, value}) {
      require(!text || (text >= buffer.storage && text < buffer.storage + buffer.used), "pointer");
    }
    args.emplace_back(textOf(key), textOf(value));
  }
  require(textOf(buffer.format) == model.format, "format");
  require(args == model.args, "arguments");
  require(buffer.used == model.used, "used");
  require(buffer.overflow == model.overflow, "overflow");
  require(buffer.substitute() == model.substitute(), "substitute");
}

void fuzzMessage(Input& input) {
  Model model;
  const Text former = input.text();
  zax::MessageBuffer buffer;
  char* copied = nullptr;
  buffer.copyString(copied, pointer(former));
  require(textOf(copied) == model.store(former), "copied text");
  const Text format = input.text();
  buffer.setFormat(pointer(format));
  model.format = model.store(format);
  while (!input.empty()) {
    const Text key = input.text();
    const Text value = input.text();
    model.push(key, value);
    require(buffer.push(pointer(key), pointer(value)) == model.args.size(), "returned count");
  }
  compare(buffer, model);

  zax::MessageBuffer copy(buffer);
  compare(copy, model.packed());
  copy.assign(copy);
  compare(copy, model.packed());
  copy.clear();
  compare(copy, Model());
  require(!copy.args[0].key, "cleared");
  require(std::string(copy.storage, 4096) == std::string(4096, '\0'), "zeroed");
}

void fuzzErrorCode(Input& input) {
  const Text prefix = input.text();
  const Text code = input.text();
  const zax::ErrorCode joined(pointer(prefix), pointer(code));
  const std::string whole = prefix.value_or("") + "-" + code.value_or("");
  require(joined.c_str() == whole.substr(0, 63), "joined code");
  zax::ErrorCode single(pointer(prefix));
  require(single.c_str() == prefix.value_or("").substr(0, 63), "code");
  const std::string tail = single.c_str() + std::strlen(single.c_str()) / 2;
  single.assign(single.c_str() + std::strlen(single.c_str()) / 2);
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
  static constexpr void (*targets[])(Input&) = {fuzzErrorCode, fuzzDemangle, fuzzMessage,
                                                fuzzMessage};
  Input input(data, size);
  targets[input.byte() % 4](input);
  return 0;
}
