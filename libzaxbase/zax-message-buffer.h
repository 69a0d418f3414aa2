#ifndef ZAX_MESSAGE_BUFFER_H
#define ZAX_MESSAGE_BUFFER_H

#include <cstdint>
#include <string>

namespace zax {

/// An error message: a format text with named placeholders, `%(key)s`, and up to sixteen named
/// values already rendered as text. All texts live in one inline arena, so building a message
/// allocates nothing. Nothing here throws: a text that does not fit is reported on standard error,
/// left out, and flagged in `overflow`.
///
/// A plain value without locks: each thread builds and reads its own.
class MessageBuffer {
 public:
  static constexpr unsigned long maxArguments = 16;
  static constexpr unsigned long storageSize = 4096;  ///< bytes

  /// How a value was given; the value itself is always kept as text.
  enum ValueType : std::uint32_t {
    ValueNone = 0,
    ValueString = 1,
    ValueInt = 2,
    ValueUInt = 3,
    ValueLong = 4,
    ValueULong = 5,
    ValueFloat = 6,
    ValueBool = 7
  };

  /// One named value. A text that was null or did not fit is null here.
  struct Argument {
    const char* key;
    const char* value;
    ValueType type;
  };

  /// An empty message. The arena stays uninitialised: nobody reads it beyond `used`.
  MessageBuffer() noexcept {}

  /// A message with its format and its values: key1, value1, key2, value2, ...
  template <typename... Pairs>
  explicit MessageBuffer(const char* format, const Pairs&... pairs) noexcept {
    clear();
    setFormat(format);
    pushPairs(pairs...);
  }

  MessageBuffer(const MessageBuffer& other) noexcept { assign(other); }
  MessageBuffer& operator=(const MessageBuffer& other) noexcept;

  /// Empties the message and zeroes the arena.
  void clear() noexcept;

  /// Copies the texts of `other` into this arena, packed anew. `overflow` is not taken over.
  /// Assigning a message to itself changes nothing.
  void assign(const MessageBuffer& other) noexcept { *this = other; }

  /// Sets the format without clearing anything first. A null format stays null.
  void setFormat(const char* format) noexcept;

  /// Copies `src` into the arena and points `dst` at the copy, which lives as long as this object
  /// is not cleared or assigned to. A null or over-long `src` gives a null `dst`.
  void copyString(char*& dst, const char* src) noexcept;

  /// Appends one named value and returns the new count. The seventeenth is reported on standard
  /// error, flagged in `overflow` and dropped; the count then stays 16.
  unsigned long push(const char* key, const char* value, ValueType type) noexcept;
  unsigned long push(const char* key, const char* value) noexcept;
  unsigned long push(const char* key, const std::string& value) noexcept;
  unsigned long push(const char* key, char value) noexcept;
  unsigned long push(const char* key, int value) noexcept;
  unsigned long push(const char* key, unsigned int value) noexcept;
  unsigned long push(const char* key, long value) noexcept;
  unsigned long push(const char* key, unsigned long value) noexcept;
  unsigned long push(const char* key, float value) noexcept;
  unsigned long push(const char* key, double value) noexcept;
  unsigned long push(const char* key, bool value) noexcept;

  /// The value of the first entry whose key equals `key`; "<unknown>" when there is none. Null
  /// when that value was null or did not fit. Valid until this object changes.
  const char* lookup(const char* key) const noexcept;

  /// The format with every `%(key)s` replaced by its value. A "%" that does not begin a complete
  /// placeholder ends the result there: there is no escape for a percent sign.
  /// Throws std::bad_alloc only.
  std::string substitute() const;

  // Every non-null pointer below points into this object's own `storage`, which is why a message
  // is never copied bytewise.
  const char* format = nullptr;
  Argument args[maxArguments] = {};
  unsigned long count = 0;    ///< entries of `args` in use
  char storage[storageSize];  ///< format, keys and values, each NUL-terminated
  unsigned long used = 0;     ///< bytes of `storage` in use
  bool overflow = false;      ///< a text or an argument was left out; sticky until clear()

 private:
  void pushPairs() noexcept {}

  template <typename Value, typename... Rest>
  void pushPairs(const char* key, const Value& value, const Rest&... rest) noexcept {
    push(key, value);
    pushPairs(rest...);
  }

  const char* store(const char* text) noexcept;

  template <typename Integer>
  unsigned long pushInteger(const char* key, Integer value, ValueType type) noexcept;
};

}  // namespace zax

/// Builds a message in one expression: `__("cannot open %(path)s", "path", path)`. The message is
/// constructed in the caller's place, so its `overflow` flag survives. Leaves `errno` untouched.
template <typename... Pairs>
zax::MessageBuffer __(const char* format, const Pairs&... pairs) noexcept {
  return zax::MessageBuffer(format, pairs...);
}

#endif
