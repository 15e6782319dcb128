#pragma once

#include "frames/Column.h"

#include <string_view>

namespace zarnik {

/// Texts one behind the other in one block of bytes, and a position and a length a row.
///
/// A changed text is put behind the others; the bytes that nobody uses any more are dropped when they are the larger
/// part. So rows move without their texts, and changing one text costs no more than its length.
class TextColumn : public Column {
public:
  explicit TextColumn(uint64_t rowCount);

  void read(uint64_t offset, uint64_t count, void * destination) const override;
  void write(uint64_t offset, uint64_t count, void const * source) override;
  ColumnMemory memory() override;
  TextCells readText(uint64_t offset, uint64_t count) const override;
  void writeText(uint64_t offset, uint64_t count, uint64_t const * offsets, char const * bytes) override;
  void prepare(uint64_t rowCount, bool movesRows) override;
  void insert(uint64_t offset, uint64_t count) noexcept override;
  void remove(uint64_t offset, uint64_t count) noexcept override;

private:
  // Where a text stands in the bytes; all zeros for an empty one.
  struct Cell {
    uint64_t begin;
    uint64_t length;
  };

  Cell const * cells(uint64_t row) const { return reinterpret_cast<Cell const *>(cells_.at(row)); }
  std::string_view text(Cell cell) const { return {bytes_.data() + cell.begin, cell.length}; }
  void reserve(uint64_t more);
  void forget(uint64_t offset, uint64_t count) noexcept;
  void dropUnused();
  std::string gather(uint64_t offset, uint64_t count) const;

  RowBuffer cells_;
  std::string bytes_;
  uint64_t unused_ = 0;
};

} // namespace zarnik
