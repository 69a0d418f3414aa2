#include "zax-container.h"

#include <algorithm>
#include <cerrno>
#include <cmath>
#include <memory>
#include <vector>

#include "zax-base.h"
#include "zax-fields.h"

namespace zax {

namespace {

constexpr std::size_t chunkSize = 64;              // elements that are read one by one
constexpr std::size_t bulkThreshold = 16;          // from so many elements on, script does the work
constexpr std::size_t mostElements = 134'217'000;  // V8 ends the process for more
constexpr std::size_t mostReserved = 65536;        // an array may claim a length without elements

/// A scope, unless what is made in it must live on.
class ScopeUnless {
 public:
  explicit ScopeUnless(bool keeps) {
    if (!keeps) scope_.emplace();
  }

 private:
  std::optional<Scope> scope_;
};

struct CloseBulk {
  void operator()(ZaxBulk* bulk) const { backend->closeBulk(bulk); }
};
using Bulk = std::unique_ptr<ZaxBulk, CloseBulk>;

/// Memory for rows, or null: for few elements, for those that do not go that way, and where
/// conversions within each other use all there is.
Bulk openBulkFor(bool possible, std::size_t length) {
  return Bulk(possible && length >= bulkThreshold ? backend->openBulk() : nullptr);
}

const ZaxShape* shapeOf(const SequenceType& type) {
  return type.structType ? &type.structType->shape : nullptr;
}

/// How many rows fit at once.
std::size_t rowsIn(const ZaxBulk& bulk, const ZaxShape* shape) {
  return std::max<std::size_t>(
      1, bulk.capacity / (shape ? std::max<std::size_t>(1, shape->count) : 1));
}

std::size_t numbersIn(const StructType& type) {
  const ZaxColumn* columns = type.shape.columns;
  return std::count_if(columns, columns + type.shape.count,
                       [](ZaxColumn column) { return column != ZaxValueColumn; });
}

/// Reads elements one by one; `*index` is the first to read and counts along.
void readEach(Handle array, const SequenceType& type, void* container, std::size_t* index,
              std::size_t end) {
  while (*index < end) {
    const ScopeUnless scope(type.keepsHandles);
    ZaxValue* elements[chunkSize];
    const std::size_t count = std::min(chunkSize, end - *index);
    checked(backend->getElements(array.get(), *index, count, elements));
    for (std::size_t i = 0; i < count; ++i, ++*index) {
      type.addValue(container, Handle(elements[i]));
    }
  }
}

/// Adds the rows that script has read.
void addRows(const ZaxBulk& bulk, const SequenceType& type, void* container, std::size_t rows,
             std::size_t* index) {
  if (!type.structType) return type.addNumbers(container, bulk.numbers, rows, index);
  const DepthGuard guard;
  const std::size_t width = numbersIn(*type.structType);
  const double* numbers = bulk.numbers;
  ZaxValue* const* values = bulk.values;
  for (std::size_t i = 0; i < rows; ++i, ++*index) {
    readRow(*type.structType, numbers, values, type.addStruct(container));
    numbers += width;
    values += type.structType->shape.count - width;
  }
}

/// Reads rows as long as they match the columns, and single elements where they do not.
void readRows(ZaxBulk& bulk, Handle array, const SequenceType& type, void* container,
              std::size_t* index, std::size_t length) {
  const ZaxShape* shape = shapeOf(type);
  while (*index < length) {
    const Scope scope;
    const std::size_t wanted = std::min(rowsIn(bulk, shape), length - *index);
    std::size_t rows;
    checked(backend->readRows(&bulk, shape, array.get(), *index, wanted, &rows));
    addRows(bulk, type, container, rows, index);
    if (rows < wanted) {
      readEach(array, type, container, index, std::min(*index + chunkSize, length));
    }
  }
}

}  // namespace

void readSequence(Handle array, const SequenceType& type, void* container, long exactly) {
  if (!array.isArray()) throw BadArgument("array", array);
  const std::size_t length = array.length();
  if (exactly >= 0) checkLength(length, static_cast<std::size_t>(exactly));
  type.reserve(container, std::min(length, mostReserved));
  std::size_t index = 0;
  try {
    const Bulk bulk = openBulkFor(type.addStruct || type.addNumbers, length);
    if (bulk) {
      readRows(*bulk, array, type, container, &index, length);
    } else {
      readEach(array, type, container, &index, length);
    }
  } catch (ConversionError& error) {
    error.inElement(index);
    throw;
  }
}

namespace {

Handle writeEach(const SequenceType& type, void* iterator, std::size_t* index, std::size_t size) {
  Scope scope;
  const std::unique_ptr<ZaxValue*[]> elements(new ZaxValue*[size]);
  for (; *index < size; ++*index) elements[*index] = type.nextValue(iterator).get();
  return scope.close(Handle(backend->makeArray(elements.get(), size)));
}

/// Takes the next rows out of the container.
void takeRows(const ZaxBulk& bulk, const SequenceType& type, void* iterator, std::size_t rows,
              std::size_t* index) {
  if (!type.structType) return type.nextNumbers(iterator, bulk.numbers, rows, index);
  const DepthGuard guard;
  const std::size_t width = numbersIn(*type.structType);
  double* numbers = bulk.numbers;
  ZaxValue** values = bulk.values;
  for (std::size_t i = 0; i < rows; ++i, ++*index) {
    writeRow(*type.structType, type.nextStruct(iterator), numbers, values);
    numbers += width;
    values += type.structType->shape.count - width;
  }
}

Handle writeRows(ZaxBulk& bulk, const SequenceType& type, void* iterator, std::size_t* index,
                 std::size_t size) {
  const ZaxShape* shape = shapeOf(type);
  const Handle array = checked(backend->makeRows(shape, size));
  while (*index < size) {
    const Scope scope;
    const std::size_t first = *index;
    const std::size_t rows = std::min(rowsIn(bulk, shape), size - first);
    takeRows(bulk, type, iterator, rows, index);
    checked(backend->writeRows(&bulk, shape, array.get(), first, rows));
  }
  return array;
}

}  // namespace

Handle writeSequence(const SequenceType& type, void* iterator, std::size_t size) {
  if (size > mostElements) {
    throw ConversionError(Errno(ERANGE), concat({std::to_string(size),
                                                 " elements are too many for a JavaScript array"}));
  }
  std::size_t index = 0;
  try {
    const Bulk bulk = openBulkFor(type.nextStruct || type.nextNumbers, size);
    return bulk ? writeRows(*bulk, type, iterator, &index, size)
                : writeEach(type, iterator, &index, size);
  } catch (ConversionError& error) {
    error.inElement(index);
    throw;
  }
}

namespace {

/// Runs the conversion of a map's value; what it throws says in which entry it was.
template <typename Convert>
auto atEntry(const MapType& type, std::size_t index, Handle key, const Convert& convert) {
  try {
    return convert();
  } catch (ConversionError& error) {
    if (type.stringKeys) {
      error.inMember(key.text());
    } else {
      error.inElement(index);
    }
    throw;
  }
}

}  // namespace

void checkOrder(double key) {
  if (std::isnan(key)) throw BadArgument("NaN has no place in what is sorted");
}

void readMap(Handle object, const MapType& type, void* map) {
  if (object.kind() != (type.stringKeys ? ZaxObject : ZaxMap)) {
    throw BadArgument(type.stringKeys ? "object" : "Map", object);
  }
  const Handle entries = checked(type.stringKeys ? backend->getEntries(object.get())
                                                 : backend->getMapEntries(object.get()));
  const std::size_t length = entries.length();
  for (std::size_t i = 0; i < length; i += 2) {
    const ScopeUnless scope(type.keepsHandles);
    ZaxValue* entry[2];
    checked(backend->getElements(entries.get(), i, 2, entry));
    atEntry(type, i / 2, Handle(entry[0]),
            [&] { type.add(map, Handle(entry[0]), Handle(entry[1])); });
  }
}

Handle writeMap(const MapType& type, void* iterator, std::size_t size) {
  const Handle object(type.stringKeys ? backend->makeObject() : backend->makeMap());
  const auto set = type.stringKeys ? backend->setProperty : backend->setMapEntry;
  for (std::size_t i = 0; i < size; ++i) {
    const Scope scope;
    const Handle key = atElement(i, [&] { return type.key(iterator); });
    const Handle value = atEntry(type, i, key, [&] { return type.nextValue(iterator); });
    checked(set(object.get(), key.get(), value.get()));
  }
  return object;
}

std::string arrayDeclaration(const std::string& element) {
  const bool simple = element.find(" | ") == std::string::npos;
  return simple ? concat({element, "[]"}) : concat({"(", element, ")[]"});
}

}  // namespace zax
