#ifndef ZAX_TABLE_H
#define ZAX_TABLE_H

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "zax-value.h"

namespace zax {

/// Rows whose columns are known only when the program runs, such as what a query finds: in
/// JavaScript an array of plain objects, which are made as fast as those of a struct. It is filled
/// cell by cell, row after row, on any thread, one at a time; texts and bytes are copied.
class Table {
 public:
  /// The columns' names. Of several with the same name the objects have the last.
  explicit Table(std::vector<std::string> columns);

  // The next cell.
  void addNull() { add(Null, 0); }
  void addBoolean(bool value) { add(Boolean, 0).integer = value; }
  void addNumber(double value) { add(Number, 0).number = value; }
  /// A number. The conversion throws ConversionError "EOVERFLOW" for one beyond ±(2^53 - 1).
  void addInteger(std::int64_t value) { add(Integer, 0).integer = value; }
  void addBigInt(std::int64_t value) { add(BigInt, 0).integer = value; }
  /// A string from UTF-8.
  void addText(std::string_view utf8) { addContents(Text, utf8.data(), utf8.size()); }
  /// A Buffer.
  void addBytes(const void* data, std::size_t size);

  const std::vector<std::string>& columns() const { return columns_; }

  /// How many rows there are; one that lacks cells is none yet, and stays out of JavaScript.
  std::size_t rows() const { return columns_.empty() ? 0 : cells_.size() / columns_.size(); }

 private:
  friend struct Value<Table>;
  friend class TableWriter;

  enum Kind : std::uint64_t { Null, Boolean, Number, Integer, BigInt, Text, FewBytes, ManyBytes };

  struct Cell {
    Kind kind : 3;
    std::uint64_t size : 61;  ///< of a text and of bytes
    union {
      double number;
      std::int64_t integer;
      std::size_t index;  ///< in `contents_`, or among the `blobs_`
    };
  };

  Cell& add(Kind kind, std::size_t size) {
    if (kind != Number && kind != Integer) isMixed_[column_] = true;
    if (++column_ >= columns_.size()) column_ = 0;
    Cell& cell = cells_.emplace_back();
    cell.kind = kind;
    cell.size = size;
    return cell;
  }

  void addContents(Kind kind, const void* data, std::size_t size) {
    add(kind, size).index = contents_.size();
    contents_.append(static_cast<const char*>(data), size);
  }

  std::vector<std::string> columns_;
  std::vector<char> isMixed_;  ///< of a column: whether there is anything but numbers in it
  std::size_t column_ = 0;     ///< of the next cell
  std::vector<Cell> cells_;
  std::string contents_;  ///< texts and few bytes, one after another
  std::vector<std::vector<std::uint8_t>> blobs_;
};

template <>
struct Value<Table> {
  static constexpr unsigned kinds = 1U << ZaxArray;
  static Handle to(const Table& table);
  static Handle to(Table&& table);
  static std::string declaration();
};

}  // namespace zax

#endif
