#include "zax-fields.h"

#include <pthread.h>

#include <cerrno>

#include "zax-base.h"

namespace zax {

namespace {

constexpr int deepest = 1000;
constexpr std::size_t usualMembers = 16;

/// Room for one value of each member, on the stack where they are few.
class MemberValues {
 public:
  explicit MemberValues(std::size_t count)
      : values_(count <= usualMembers ? few_ : new ZaxValue*[count]) {}
  ~MemberValues() {
    if (values_ != few_) delete[] values_;
  }
  MemberValues(const MemberValues&) = delete;
  MemberValues& operator=(const MemberValues&) = delete;

  ZaxValue** get() { return values_; }

 private:
  ZaxValue* few_[usualMembers];
  ZaxValue** values_;
};

/// Runs body(i) for each member; what it throws says in which one it was.
template <typename Body>
void forEachMember(const StructType& type, const Body& body) {
  std::size_t i = 0;
  try {
    for (; i < type.shape.count; ++i) body(i);
  } catch (ConversionError& error) {
    error.inMember(type.shape.names[i]);
    throw;
  }
}

constexpr std::size_t stackReserve = 65536;  // bytes: for what one conversion and an error need

/// The lowest address to which conversions may use this thread's stack; null where it is unknown.
const char* stackLimit() {
  void* lowest = nullptr;
#ifdef __linux__
  std::size_t size;
  pthread_attr_t attributes;
  if (pthread_getattr_np(pthread_self(), &attributes) != 0) return nullptr;
  pthread_attr_getstack(&attributes, &lowest, &size);
  pthread_attr_destroy(&attributes);
#endif
  return lowest ? static_cast<const char*>(lowest) + stackReserve : nullptr;
}

}  // namespace

thread_local int DepthGuard::depth = 0;

DepthGuard::DepthGuard() {
  static thread_local const char* const limit = stackLimit();
  if (static_cast<const char*>(__builtin_frame_address(0)) < limit) {
    throw TooDeep("objects within each other deeper than the stack allows");
  }
  if (depth == deepest) {
    throw TooDeep("objects within each other to a depth of 1000 at the most");
  }
  ++depth;
}

void readStruct(Handle value, const StructType& type, void* object) {
  const ZaxKind kind = value.kind();
  if (kind <= ZaxArray) throw BadArgument("object", value);
  const DepthGuard guard;
  const Scope scope;
  MemberValues values(type.shape.count);
  checked(backend->getMembers(value.get(), &type.shape, values.get()));
  forEachMember(type,
                [&](std::size_t i) { type.members[i].read(object, Handle(values.get()[i])); });
}

Handle writeStruct(const StructType& type, const void* object) {
  const DepthGuard guard;
  Scope scope;
  MemberValues values(type.shape.count);
  forEachMember(type,
                [&](std::size_t i) { values.get()[i] = type.members[i].write(object).get(); });
  return scope.close(checked(backend->makeStruct(&type.shape, values.get())));
}

void readRow(const StructType& type, const double* numbers, ZaxValue* const* values, void* object) {
  forEachMember(type, [&](std::size_t i) {
    if (type.shape.columns[i] == ZaxValueColumn) {
      type.members[i].read(object, Handle(*values++));
    } else {
      type.members[i].readNumber(object, *numbers++);
    }
  });
}

void writeRow(const StructType& type, const void* object, double* numbers, ZaxValue** values) {
  forEachMember(type, [&](std::size_t i) {
    if (type.shape.columns[i] == ZaxValueColumn) {
      *values++ = type.members[i].write(object).get();
    } else {
      *numbers++ = type.members[i].writeNumber(object);
    }
  });
}

std::string declareStruct(const StructType& type) {
  return Declarations::refer(type.name, &type, [](const void* which) {
    const StructType& declared = *static_cast<const StructType*>(which);
    std::string text;
    for (std::size_t i = 0; i < declared.shape.count; ++i) {
      const std::string member = declared.members[i].declaration();
      const bool optional = acceptsUndefined(member);
      text += concat({"  ", declared.shape.names[i], optional ? "?: " : ": ", member, ";\n"});
    }
    return concat({"interface % {\n", text, "}"});
  });
}

long long readEnum(Handle value, const EnumType& type) {
  if (value.isString()) {
    const std::string text = value.text();
    for (std::size_t i = 0; i < type.count; ++i) {
      if (text == type.names[i]) return type.values[i];
    }
  }
  std::string expected;
  for (std::size_t i = 0; i < type.count; ++i) {
    expected += concat({i ? " | \"" : "\"", type.names[i], "\""});
  }
  throw BadArgument(expected, value);
}

Handle writeEnum(const EnumType& type, long long value) {
  for (std::size_t i = 0; i < type.count; ++i) {
    if (value == type.values[i]) return Handle::text(type.names[i]);
  }
  throw ConversionError(Errno(EINVAL),
                        concat({std::to_string(value), " is none of the values of ", type.name}));
}

std::string declareEnum(const EnumType& type) {
  return Declarations::refer(type.name, &type, [](const void* which) {
    const EnumType& declared = *static_cast<const EnumType*>(which);
    std::string text;
    for (std::size_t i = 0; i < declared.count; ++i) {
      text += concat({i ? " | '" : "'", declared.names[i], "'"});
    }
    return concat({"type % = ", text, ";"});
  });
}

}  // namespace zax
