#include "zax-table.h"

#include <algorithm>
#include <cerrno>
#include <map>
#include <memory>
#include <mutex>
#include <utility>

#include "zax-base.h"
#include "zax-bytes.h"
#include "zax-container.h"
#include "zax-fields.h"

namespace zax {

namespace {

constexpr std::size_t fewBytes = 1024;     // that are copied sooner than handed over
constexpr std::size_t fewRows = 16;        // that are made one by one
constexpr std::size_t mostColumns = 1000;  // for which there is a shape
constexpr std::size_t mostShapes = 1000;   // in a process

/// The columns of tables as those of a struct, whose members are cells.
class TableShape {
 public:
  TableShape(const std::vector<std::string>& names, std::vector<ZaxColumn> columns,
             const Member& cell)
      : names_(names), columns_(std::move(columns)), members_(names.size(), cell) {
    for (const std::string& name : names_) texts_.push_back(name.c_str());
    type_ = {"Row", {texts_.data(), columns_.data(), names_.size()}, members_.data()};
  }
  TableShape(const TableShape&) = delete;
  TableShape& operator=(const TableShape&) = delete;

  const StructType& type() const { return type_; }

 private:
  std::vector<std::string> names_;
  std::vector<const char*> texts_;
  std::vector<ZaxColumn> columns_;
  std::vector<Member> members_;
  StructType type_;
};

/// The shape of tables with these columns; null where there is none. Script is compiled for each
/// shape, in each environment, and lasts, so there is an end to their number.
const StructType* shapeOf(const std::vector<std::string>& names, std::vector<ZaxColumn> columns,
                          const Member& cell) {
  if (names.size() > mostColumns) return nullptr;
  std::string key;
  for (std::size_t i = 0; i < names.size(); ++i) {
    if (names[i].find('\0') != std::string::npos) return nullptr;
    key += concat({columns[i] == ZaxNumberColumn ? "n" : "v", names[i]});
    key += '\0';
  }
  static std::mutex mutex;
  static auto& shapes = *new std::map<std::string, std::unique_ptr<TableShape>>();
  const std::lock_guard<std::mutex> lock(mutex);
  const auto known = shapes.find(key);
  if (known != shapes.end()) return &known->second->type();
  if (shapes.size() == mostShapes) return nullptr;
  auto shape = std::make_unique<TableShape>(names, std::move(columns), cell);
  return &shapes.emplace(std::move(key), std::move(shape)).first->second->type();
}

Handle smallBuffer(std::string_view bytes) {
  const auto* data = reinterpret_cast<const std::uint8_t*>(bytes.data());
  return checked(backend->makeSmallBuffer(data, bytes.size()));
}

}  // namespace

/// Goes through a table cell by cell, as the rows' writers ask for one after another.
class TableWriter {
 public:
  explicit TableWriter(Table& table) : table_(table), cell_(table.cells_.data()) {}

  Handle write() {
    SequenceType rows{};
    rows.nextValue = nextRow;
    if (table_.rows() >= fewRows) rows.structType = shape();
    if (rows.structType) {
      rows.nextStruct = [](void* writer) -> const void* { return writer; };
    }
    return writeSequence(rows, this, table_.rows());
  }

 private:
  static TableWriter& from(const void* writer) {
    return *static_cast<TableWriter*>(const_cast<void*>(writer));
  }

  const StructType* shape() const {
    std::vector<ZaxColumn> columns;
    for (const char mixed : table_.isMixed_) {
      columns.push_back(mixed ? ZaxValueColumn : ZaxNumberColumn);
    }
    const Member cell = {nullptr, nullptr, [](const void* writer) { return from(writer).value(); },
                         [](const void* writer) { return from(writer).number(); }, nullptr};
    return shapeOf(table_.columns_, std::move(columns), cell);
  }

  double number() {
    const Table::Cell& cell = *cell_++;
    return cell.kind == Table::Number ? cell.number : Value<std::int64_t>::toNumber(cell.integer);
  }

  std::string_view contents(const Table::Cell& cell) const {
    return {table_.contents_.data() + cell.index, cell.size};
  }

  Handle value() {
    const Table::Cell& cell = *cell_++;
    switch (cell.kind) {
      case Table::Boolean:
        return Handle::boolean(cell.integer != 0);
      case Table::Number:
        return Handle::number(cell.number);
      case Table::Integer:
        return Handle::number(Value<std::int64_t>::toNumber(cell.integer));
      case Table::BigInt:
        return to(BigInt64{cell.integer});
      case Table::Text:
        return Handle::text(contents(cell));
      case Table::FewBytes:
        return smallBuffer(contents(cell));
      case Table::ManyBytes:
        return to(std::move(table_.blobs_[cell.index]));
      default:
        return Handle::null();
    }
  }

  /// A row by itself.
  static Handle nextRow(void* writer) {
    TableWriter& self = from(writer);
    if (self.keys_.empty()) {
      for (const std::string& name : self.table_.columns_) self.keys_.push_back(to(name));
    }
    Scope scope;
    const Handle row = Handle::object();
    for (std::size_t i = 0; i < self.keys_.size(); ++i) {
      try {
        row.set(self.keys_[i], self.value());
      } catch (ConversionError& error) {
        error.inMember(self.table_.columns_[i]);
        throw;
      }
    }
    return scope.close(row);
  }

  Table& table_;
  const Table::Cell* cell_;  ///< the next one
  std::vector<Handle> keys_;
};

Table::Table(std::vector<std::string> columns)
    : columns_(std::move(columns)), isMixed_(std::max<std::size_t>(1, columns_.size())) {}

void Table::addBytes(const void* data, std::size_t size) {
  if (size <= fewBytes) return addContents(FewBytes, data, size);
  add(ManyBytes, size).index = blobs_.size();
  const auto* bytes = static_cast<const std::uint8_t*>(data);
  blobs_.emplace_back(bytes, bytes + size);
}

Handle Value<Table>::to(const Table& table) { return to(Table(table)); }

Handle Value<Table>::to(Table&& table) { return TableWriter(table).write(); }

std::string Value<Table>::declaration() {
  return "Record<string, null | boolean | number | bigint | string | Uint8Array>[]";
}

}  // namespace zax
