#ifndef ZAX_BACKEND_H
#define ZAX_BACKEND_H

#include <stddef.h>
#include <stdint.h>

// The one interface between the plain road and JavaScript: plain functions over opaque pointers,
// so that nothing that includes it knows V8, and a binary that reaches it through the table alone
// needs no symbol of V8. Authors use zax::Handle instead.
//
// Every function belongs to the JavaScript thread, but for those that say otherwise, and none
// throws. Where script runs on the way and throws, the function fails (with null, or false) and
// keeps what was thrown until takeThrown fetches it.
//
// Within one major version the table only grows, at its end, and nothing else here changes: so a
// binary that was made for an older version of the same major works with a newer backend.

// NOLINTBEGIN(modernize-use-using, modernize-deprecated-headers)

extern "C" {

/// A JavaScript value; lives until the innermost scope that was open when it was made ends.
typedef struct ZaxValue ZaxValue;
/// Keeps a value beyond scopes.
typedef struct ZaxReference ZaxReference;
/// One call of a JavaScript function that is native.
typedef struct ZaxCall ZaxCall;

enum { ZAX_BACKEND_MAJOR = 1 };

enum ZaxKind {
  ZaxUndefined,
  ZaxNull,
  ZaxBoolean,
  ZaxNumber,
  ZaxBigInt,
  ZaxString,
  ZaxSymbol,
  ZaxFunctionKind,
  ZaxArray,
  ZaxMap,
  ZaxDate,
  ZaxBytes,  ///< an ArrayBuffer, a SharedArrayBuffer or a view of one
  ZaxObject  ///< any other object
};

enum ZaxElementType {
  ZaxNoElement,  ///< no typed array
  ZaxInt8,
  ZaxUint8,  ///< a Buffer too
  ZaxUint8Clamped,
  ZaxInt16,
  ZaxUint16,
  ZaxInt32,
  ZaxUint32,
  ZaxFloat32,
  ZaxFloat64,
  ZaxBigInt64,
  ZaxBigUint64
};

/// How a member of a struct crosses when many structs do.
enum ZaxColumn { ZaxNumberColumn, ZaxBooleanColumn, ZaxValueColumn };

/// Memory for a scope of values; begins uninitialised.
struct ZaxScope {
  void* memory[6];
};

/// Keeps the memory of an ArrayBuffer; begins uninitialised. May be moved bytewise.
struct ZaxMemory {
  void* owner[2];
};

/// The native side of a JavaScript function; outlives its environment's script.
struct ZaxFunction {
  /// Returns the result, or null when it has set it or thrown. `count` is what the caller passed;
  /// `arguments` has the first `parameters` of them. Must not throw C++ exceptions.
  ZaxValue* (*invoke)(const struct ZaxFunction* self, ZaxCall* call, ZaxValue* const* arguments,
                      int count);
  int parameters;  ///< how many there are at the most
  int length;      ///< the JavaScript function's `length`
  const char* name;
};

/// One call of a task: its native side, which the backend drives and destroys.
struct ZaxTask {
  /// The work. On a thread of the pool, once; never where the task was cancelled before.
  void (*run)(struct ZaxTask* self);
  /// JavaScript thread, after run: the result. Null where it has thrown, and without having thrown
  /// where the task ended because it was cancelled.
  ZaxValue* (*result)(struct ZaxTask* self);
  /// JavaScript thread: the next progress values, and how many; they are fewer than `most` where
  /// there are no more, and where one has no form in JavaScript, of which it has thrown the error.
  size_t (*takeProgress)(struct ZaxTask* self, ZaxValue** values, size_t most);
  /// JavaScript thread, while run may be running: nobody waits for the result any more.
  void (*cancel)(struct ZaxTask* self);
  /// JavaScript thread: from now on progress is dropped; wakeTask is not called any more.
  void (*closeProgress)(struct ZaxTask* self);
  /// JavaScript thread, the last call.
  void (*destroy)(struct ZaxTask* self);
  void* job;  ///< the backend's side
};

/// A JavaScript class for a type of C++: its native side, which lives as long as the environment
/// has script.
struct ZaxType {
  const char* name;
  const void* key;                        ///< tells the C++ type from others
  const struct ZaxType* base;             ///< null without one
  void* (*toBase)(void* object);          ///< an object as one of the base
  const struct ZaxFunction* constructor;  ///< makes an instance; null: script cannot
  /// How many bytes an object holds outside V8's heap; null where that is not told.
  size_t (*externalBytes)(const void* object);
  void* script;  ///< the backend's side
};

enum ZaxMemberKind { ZaxMethod, ZaxTaskMethod, ZaxDisposer, ZaxAccessor, ZaxStaticFunction };

/// An object of C++ that a JavaScript object stands for. JavaScript thread only.
struct ZaxInstance {
  void* object;
  const void* identity;  ///< tells the object from others: that of the whole, not of a base
  const struct ZaxType* type;
  /// The last call, once: the JavaScript object has gone, maybe the type too, and nothing uses
  /// this.
  void (*destroy)(struct ZaxInstance* self);
  unsigned uses : 31;      ///< how many synchronous calls use it
  unsigned disposed : 1;   ///< whether it is not to be used any more
  unsigned claims : 31;    ///< how many tasks have it to themselves, or wait for that
  unsigned collected : 1;  ///< the backend's: the JavaScript object has gone
  void* memory[5];         ///< the backend's; begins uninitialised
};

/// The members of a struct: constants of static lifetime.
struct ZaxShape {
  const char* const* names;
  const enum ZaxColumn* columns;
  size_t count;
};

/// Where many numbers and values wait on their way from or to JavaScript.
struct ZaxBulk {
  double* numbers;    ///< memory that script sees too
  ZaxValue** values;  ///< native memory
  size_t capacity;    ///< of either
};

struct ZaxBytesView {
  size_t size;               ///< bytes
  enum ZaxElementType type;  ///< of a typed array
  bool detached;             ///< whether the memory has gone elsewhere
};

struct ZaxFrame {
  const char* function;
  const char* file;
  uint64_t offset;
  uint64_t address;
};

/// What an error is made from; texts are UTF-8 and end with a zero byte.
struct ZaxErrorRecord {
  const char* code;
  const char* message;
  const char* exceptionClass;
  const char* file;
  int line;  ///< 0 or below: no line
  const char* function;
  const struct ZaxFrame* callstack;
  size_t callstackSize;
  int syscode;  ///< below 0: no system error
  const char* sysdesc;
  const char* sysmsg;
};

struct ZaxBackend {
  int major;
  size_t size;  ///< of this table, bytes

  // Scopes. A value that `closeScope` is given survives into the scope around.
  void (*openScope)(struct ZaxScope* scope);
  ZaxValue* (*closeScope)(struct ZaxScope* scope, ZaxValue* survivor);

  // What a value is, and its native form; a reader returns false where the value is something else.
  enum ZaxKind (*kind)(ZaxValue* value);
  bool (*getBoolean)(ZaxValue* value, bool* result);
  bool (*getNumber)(ZaxValue* value, double* result);
  /// Takes an integral number up to 2^53 - 1, or a bigint in range.
  bool (*getInt64)(ZaxValue* value, int64_t* result);
  bool (*getUint64)(ZaxValue* value, uint64_t* result);
  /// Says how many UTF-8 bytes a string has, without a terminator, and writes them if they are no
  /// more than `capacity`; a lone surrogate as U+FFFD.
  bool (*getString)(ZaxValue* value, char* target, size_t capacity, size_t* bytes);
  /// Milliseconds since 1970; NaN for an invalid Date.
  bool (*getDate)(ZaxValue* value, double* milliseconds);
  bool (*getBytes)(ZaxValue* value, struct ZaxBytesView* view);
  /// Copies the bytes of such a value.
  void (*copyBytes)(ZaxValue* value, uint8_t* target, size_t size);

  // Making values. makeString returns null when the text is too long for V8.
  ZaxValue* (*makeUndefined)();
  ZaxValue* (*makeNull)();
  ZaxValue* (*makeBoolean)(bool value);
  ZaxValue* (*makeNumber)(double value);
  ZaxValue* (*makeBigInt64)(int64_t value);
  ZaxValue* (*makeBigUint64)(uint64_t value);
  ZaxValue* (*makeString)(const char* utf8, size_t bytes);
  ZaxValue* (*makeDate)(double milliseconds);
  ZaxValue* (*makeArray)(ZaxValue* const* elements, size_t count);
  ZaxValue* (*makeObject)();
  ZaxValue* (*makeMap)();
  // These three return null for more bytes than a view can have.
  /// A Buffer over `data`, which is released by free(data, hint) on any thread; also when it fails.
  ZaxValue* (*makeBuffer)(uint8_t* data, size_t size, void (*free)(void* data, void* hint),
                          void* hint);
  /// A Buffer with a copy of a few bytes.
  ZaxValue* (*makeSmallBuffer)(const uint8_t* data, size_t size);
  /// A Buffer, or a typed array, over `size` bytes of memory that came from JavaScript.
  ZaxValue* (*makeView)(const struct ZaxMemory* memory, const uint8_t* data, size_t size,
                        enum ZaxElementType type);

  // Memory of an ArrayBuffer, held beyond the call. Copied, released and made on any thread.
  /// Returns where it lies; null, and holds nothing, where there is none or script can change its
  /// size, and tells which.
  uint8_t* (*holdMemory)(struct ZaxMemory* memory, ZaxValue* bytes, bool* isResizable);
  void (*copyMemory)(struct ZaxMemory* copy, const struct ZaxMemory* memory);
  void (*releaseMemory)(struct ZaxMemory* memory);
  /// New memory of JavaScript's own, zeroed; null when there is none.
  uint8_t* (*allocateMemory)(struct ZaxMemory* memory, size_t bytes);

  // Arrays and objects.
  size_t (*getLength)(ZaxValue* array);
  /// Reads `count` elements from index `from` on.
  bool (*getElements)(ZaxValue* array, size_t from, size_t count, ZaxValue** elements);
  ZaxValue* (*getProperty)(ZaxValue* object, const char* name, size_t bytes);
  /// Defines an own property.
  bool (*setProperty)(ZaxValue* object, ZaxValue* key, ZaxValue* value);
  /// The own enumerable string-keyed properties as an array: key, value, key, value, ...
  ZaxValue* (*getEntries)(ZaxValue* object);
  /// The same for a Map.
  ZaxValue* (*getMapEntries)(ZaxValue* map);
  bool (*setMapEntry)(ZaxValue* map, ZaxValue* key, ZaxValue* value);

  // Structs one at a time: a property for each member.
  bool (*getMembers)(ZaxValue* object, const struct ZaxShape* shape, ZaxValue** values);
  ZaxValue* (*makeStruct)(const struct ZaxShape* shape, ZaxValue* const* values);

  // Many numbers or structs. openBulk returns null when too many are open; a shape that is null
  // means plain numbers. A row takes as many numbers and values as the shape has such columns.
  struct ZaxBulk* (*openBulk)();
  void (*closeBulk)(struct ZaxBulk* bulk);
  /// Reads up to `count` rows from the array's index `from` on; stops at the first that does not
  /// match the columns, and says in `*rows` how many it has read.
  bool (*readRows)(struct ZaxBulk* bulk, const struct ZaxShape* shape, ZaxValue* array, size_t from,
                   size_t count, size_t* rows);
  /// Writes `count` rows to the array at index `from`.
  bool (*writeRows)(struct ZaxBulk* bulk, const struct ZaxShape* shape, ZaxValue* array,
                    size_t from, size_t count);
  /// A new array of a length, for writeRows.
  ZaxValue* (*makeRows)(const struct ZaxShape* shape, size_t length);

  // Calls and functions.
  ZaxValue* (*call)(ZaxValue* function, ZaxValue* const* arguments, size_t count);
  void (*returnNumber)(ZaxCall* call, double result);
  void (*returnBoolean)(ZaxCall* call, bool result);
  ZaxValue* (*makeFunction)(const struct ZaxFunction* function);

  // References. Released on any thread, also after the end of the environment; read on the thread
  // that made them, null elsewhere and after the end.
  ZaxReference* (*makeReference)(ZaxValue* value);
  ZaxValue* (*getReference)(ZaxReference* reference);
  /// Whether getReference gives the value here and now. Any thread.
  bool (*canGetReference)(ZaxReference* reference);
  void (*releaseReference)(ZaxReference* reference);

  // Errors.
  /// What script threw, once; null when script is being terminated.
  ZaxReference* (*takeThrown)();
  void (*throwReference)(ZaxReference* reference);
  void (*throwError)(const struct ZaxErrorRecord* record);
  /// A short text that shows a value to a person, cut to `size` bytes with its terminator.
  void (*describe)(ZaxValue* value, char* text, size_t size);

  // The environment of this thread.
  /// Calls destroy(object) when the environment ends, the last first.
  void (*own)(void* object, void (*destroy)(void* object));
  /// Defines a property that does not show in an enumeration.
  bool (*hideProperty)(ZaxValue* object, const char* symbol, ZaxValue* value);

  // Tasks.
  /// A function whose `invoke` returns a promise; what it throws rejects one.
  ZaxValue* (*makeTaskFunction)(const struct ZaxFunction* function);
  /// Starts a task, which it owns from then on, and returns the promise. Until it has settled, it
  /// keeps the instances that it uses; where it is `exclusive` it claims them: it runs after those
  /// that claimed one of them before, alone. `signal` is an AbortSignal, `onProgress` takes the
  /// progress values; either may be null. Throws into script where one of them is something else.
  ZaxValue* (*startTask)(struct ZaxTask* task, struct ZaxInstance* const* instances, size_t count,
                         bool exclusive, ZaxValue* signal, ZaxValue* onProgress);
  /// Lets the JavaScript thread take progress values. Any thread.
  void (*wakeTask)(struct ZaxTask* task);

  // Types.
  /// Begins a class, for members to be added.
  void (*makeType)(struct ZaxType* type);
  /// Adds what stands on the prototype, or on the class. `setter` is an accessor's or null. False
  /// where the class has been made, or has an instance.
  bool (*addMember)(struct ZaxType* type, enum ZaxMemberKind kind,
                    const struct ZaxFunction* function, const struct ZaxFunction* setter);
  /// Makes the JavaScript class.
  ZaxValue* (*getClass)(struct ZaxType* type);
  /// The class of a C++ type in this environment; null where it has none.
  const struct ZaxType* (*findType)(const void* key);
  /// The instance of a type, or of one that extends it, that a value is; null for any other.
  struct ZaxInstance* (*getInstance)(ZaxValue* value, const struct ZaxType* type);
  /// The same for the receiver of a call.
  struct ZaxInstance* (*getReceiver)(ZaxCall* call, const struct ZaxType* type);
  /// Makes the object that a constructor is called for stand for an instance, which the backend
  /// owns from then on.
  void (*attachInstance)(ZaxCall* call, struct ZaxInstance* instance);
  /// A new JavaScript object for an instance, which the backend owns from then on.
  ZaxValue* (*wrapInstance)(struct ZaxInstance* instance);
  /// The JavaScript object that stands for the object `identity` as a type, or one that extends it;
  /// null where there is none.
  ZaxValue* (*findInstance)(const void* identity, const struct ZaxType* type);
  /// To be called when an instance's `uses` are 0 again and it is claimed, or collected, or its
  /// type tells of external bytes.
  void (*endUse)(struct ZaxInstance* instance);
};

/// What an add-on's binary needs of the table. It exports `zax_needs`, which tells it, under this
/// name and in this form in every version, and `zax_module`, which loads the add-on.
struct ZaxNeeds {
  int major;
  size_t size;  ///< of the table that it knows
};
typedef const struct ZaxNeeds* (*ZaxNeedsFunction)();
typedef bool (*ZaxModuleFunction)(const struct ZaxBackend* backend, ZaxValue* exports);

}  // extern "C"

// NOLINTEND(modernize-use-using, modernize-deprecated-headers)

namespace zax {

/// The backend in use; set before the body of the module runs.
inline const ZaxBackend* backend = nullptr;

/// Whether instances of a type, which may be null, are instances of another too.
inline bool isOrExtends(const ZaxType* type, const ZaxType* base) {
  while (type && type != base) type = type->base;
  return type;
}

}  // namespace zax

#endif
