#ifndef ZAX_V8_UTILS_H
#define ZAX_V8_UTILS_H

#include <v8.h>

#include <cstdint>
#include <list>
#include <map>
#include <set>
#include <string>
#include <utility>
#include <vector>

#include "zax-v8-callback.h"

/// A boolean of fixed width.
enum boolean_t : std::uint32_t { BOOLEAN_FALSE = 0, BOOLEAN_TRUE = 1 };

namespace zax {

// Everything here runs on the JavaScript thread, inside a handle scope that the caller has opened.

// Reading. A parse function resets its output, leaves it so for `undefined` (a value that was not
// given), and throws ErrnoGenericException<EBADARG> for any other value of the wrong type, `null`
// included. What was read before the failing element stays in the output. A JavaScript exception
// that a getter throws stays pending.

void parseString(std::string& out, const v8::Local<v8::Value>& value);

/// Any number, truncated toward zero; NaN, infinities and values beyond 64 bits as V8 converts
/// them.
void parseInt(long& out, const v8::Local<v8::Value>& value);

/// Any number, truncated toward zero, then modulo 2^32; NaN and infinities give 0.
void parseInt(int& out, const v8::Local<v8::Value>& value);

/// An integral number from 0 to 4294967295 only; minus zero and fractions are refused.
void parseInt(unsigned int& out, const v8::Local<v8::Value>& value);

/// A boolean only.
void parseBoolean(bool& out, const v8::Local<v8::Value>& value);

/// The same; on a failure the output stays as it was.
void parseBoolean(boolean_t& out, const v8::Local<v8::Value>& value);

/// A function, which `out` holds from then on. Unlike the others it throws for `undefined` too and
/// leaves `out` as it was until it succeeds.
void parseCallback(Callback& out, const v8::Local<v8::Value>& value);

/// An array of strings, in order, duplicates kept.
void parseStringList(std::list<std::string>& out, const v8::Local<v8::Value>& value);

/// An array of strings, ordered by bytes, duplicates dropped.
void parseStringSet(std::set<std::string>& out, const v8::Local<v8::Value>& value);

/// An array of numbers. Unlike parseInt(unsigned int&), the unsigned form accepts every number and
/// takes it modulo 2^32.
void parseIntVector(std::vector<unsigned int>& out, const v8::Local<v8::Value>& value);
void parseIntVector(std::vector<int>& out, const v8::Local<v8::Value>& value);

/// An object whose own enumerable properties are strings, in their order. A name that reads as an
/// array index is refused.
void parseStringPairs(std::list<std::pair<std::string, std::string>>& out,
                      const v8::Local<v8::Value>& value);
void parseStringStringMap(std::map<std::string, std::string>& out,
                          const v8::Local<v8::Value>& value);

/// An object whose property names all read as array indexes, with values that are strings.
void parseIntStringMap(std::map<int, std::string>& out, const v8::Local<v8::Value>& value);

// Reading a named child of an object. A missing child leaves the output reset. What is no object
// throws ErrnoGenericException<EBADARG>; a getter that throws, ErrnoGenericException<EFAILED>.

v8::Local<v8::Value> getChildValue(v8::Local<v8::Value>& object, const std::string& name);
void getChildString(std::string& out, const std::string& name, v8::Local<v8::Value>& object);
void getChildInt(int& out, const std::string& name, v8::Local<v8::Value>& object);
void getChildInt(unsigned int& out, const std::string& name, v8::Local<v8::Value>& object);
void getChildBoolean(bool& out, const std::string& name, v8::Local<v8::Value>& object);
void getChildStringMap(std::map<std::string, std::string>& out, const std::string& name,
                       v8::Local<v8::Value>& object);
void getChildStringList(std::list<std::string>& out, const std::string& name,
                        v8::Local<v8::Value>& object);

// Building. Texts are UTF-8; a std::string is taken with its full length, zero bytes included.
// Nothing here throws; a setter on the target that throws leaves its exception pending. Handles
// live in the caller's scope: open one around the building of a large container.

/// Sets `object[key]`. `long` and `unsigned long` become the nearest double.
void insertToObject(v8::Local<v8::Object>& object, const std::string& key,
                    const std::string& value);
void insertToObject(v8::Local<v8::Object>& object, const std::string& key, const char* value);
void insertToObject(v8::Local<v8::Object>& object, const std::string& key, bool value);
void insertToObject(v8::Local<v8::Object>& object, const std::string& key, int value);
void insertToObject(v8::Local<v8::Object>& object, const std::string& key, unsigned int value);
void insertToObject(v8::Local<v8::Object>& object, const std::string& key, long value);
void insertToObject(v8::Local<v8::Object>& object, const std::string& key, unsigned long value);
void insertToObject(v8::Local<v8::Object>& object, const std::string& key, double value);
void insertToObject(v8::Local<v8::Object>& object, const std::string& key,
                    const std::list<std::string>& value);
void insertToObject(v8::Local<v8::Object>& object, const std::string& key,
                    const v8::Local<v8::Object>& value);
void insertToObject(v8::Local<v8::Object>& object, const std::string& key,
                    const v8::Local<v8::Array>& value);

/// Sets one property for each entry, in the map's order.
void mapToObject(v8::Local<v8::Object>& object, const std::map<std::string, std::string>& map);
void mapToObject(v8::Local<v8::Object>& object, const std::map<std::string, unsigned long>& map);

/// Stores the strings at the indexes 0, 1, 2, ...; what the array holds beyond them stays.
void stringListToArray(v8::Local<v8::Array>& array, const std::list<std::string>& list);
void stringSetToArray(v8::Local<v8::Array>& array, const std::set<std::string>& set);

}  // namespace zax

#endif
