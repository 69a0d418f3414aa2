#include "zax-message-buffer.h"

#include <cerrno>
#include <charconv>
#include <cstdio>
#include <cstring>

namespace zax {

namespace {

/// Writes a report to standard error and leaves `errno` as it was: a message is often built on the
/// way to an exception that names the current `errno`.
void report(const char* what, const char* text, const char* separator, const char* rest) {
  const int savedErrno = errno;
  std::fprintf(stderr, "%s%s%s%s\n", what, text ? text : "", separator, rest ? rest : "");
  std::fflush(stderr);
  errno = savedErrno;
}

}  // namespace

void MessageBuffer::clear() noexcept {
  format = nullptr;
  std::memset(args, 0, sizeof(args));
  count = 0;
  std::memset(storage, 0, sizeof(storage));
  used = 0;
  overflow = false;
}

MessageBuffer& MessageBuffer::operator=(const MessageBuffer& other) noexcept {
  if (this == &other) return *this;
  clear();
  setFormat(other.format);
  count = other.count;
  for (unsigned long i = 0; i < count; ++i) {
    args[i].key = store(other.args[i].key);
    args[i].value = store(other.args[i].value);
    args[i].type = other.args[i].type;
  }
  return *this;
}

void MessageBuffer::setFormat(const char* text) noexcept { format = store(text); }

void MessageBuffer::copyString(char*& dst, const char* src) noexcept {
  dst = const_cast<char*>(store(src));
}

const char* MessageBuffer::store(const char* text) noexcept {
  if (!text) return nullptr;
  const unsigned long size = std::strlen(text) + 1;
  if (size > storageSize - used) {
    report("Error message exceeds buffer size: ", text, "", "");
    overflow = true;
    return nullptr;
  }
  char* copy = storage + used;
  std::memcpy(copy, text, size);
  used += size;
  return copy;
}

unsigned long MessageBuffer::push(const char* key, const char* value, ValueType type) noexcept {
  if (count == maxArguments) {
    report("Too many error message arguments (16 max): ", key, "=", value);
    overflow = true;
    return count;
  }
  args[count].key = store(key);
  args[count].value = store(value);
  args[count].type = type;
  return ++count;
}

template <typename Integer>
unsigned long MessageBuffer::pushInteger(const char* key, Integer value, ValueType type) noexcept {
  char text[32];
  *std::to_chars(text, text + sizeof(text) - 1, value).ptr = '\0';
  return push(key, text, type);
}

unsigned long MessageBuffer::push(const char* key, const char* value) noexcept {
  return push(key, value, ValueString);
}

unsigned long MessageBuffer::push(const char* key, const std::string& value) noexcept {
  return push(key, value.c_str(), ValueString);
}

unsigned long MessageBuffer::push(const char* key, char value) noexcept {
  const char text[] = {value, '\0'};
  return push(key, text, ValueString);
}

unsigned long MessageBuffer::push(const char* key, int value) noexcept {
  return pushInteger(key, value, ValueInt);
}

unsigned long MessageBuffer::push(const char* key, unsigned int value) noexcept {
  return pushInteger(key, value, ValueUInt);
}

unsigned long MessageBuffer::push(const char* key, long value) noexcept {
  return pushInteger(key, value, ValueLong);
}

unsigned long MessageBuffer::push(const char* key, unsigned long value) noexcept {
  return pushInteger(key, value, ValueULong);
}

unsigned long MessageBuffer::push(const char* key, float value) noexcept {
  return push(key, static_cast<double>(value));
}

unsigned long MessageBuffer::push(const char* key, double value) noexcept {
  char text[64];
  std::snprintf(text, sizeof(text), "%g", value);
  return push(key, text, ValueFloat);
}

unsigned long MessageBuffer::push(const char* key, bool value) noexcept {
  return push(key, value ? "true" : "false", ValueBool);
}

const char* MessageBuffer::lookup(const char* key) const noexcept {
  for (unsigned long i = 0; key && i < count; ++i) {
    if (args[i].key && std::strcmp(args[i].key, key) == 0) return args[i].value;
  }
  return "<unknown>";
}

std::string MessageBuffer::substitute() const {
  std::string result;
  const char* at = format ? format : "";
  for (;;) {
    const char* percent = std::strchr(at, '%');
    if (!percent) return result.append(at);
    result.append(at, percent);
    if (percent[1] != '(') return result;
    const char* keyBegin = percent + 2;
    const char* keyEnd = std::strchr(keyBegin, ')');
    if (!keyEnd || keyEnd == keyBegin || keyEnd[1] != 's') return result;
    const char* value = lookup(std::string(keyBegin, keyEnd).c_str());
    if (value) result.append(value);
    at = keyEnd + 2;
  }
}

}  // namespace zax
