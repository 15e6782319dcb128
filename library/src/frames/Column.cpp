#include "frames/Column.h"

#include "frames/TextColumn.h"
#include "zarnik/core/Error.h"

#include <cstring>
#include <fmt/format.h>

namespace zarnik {
namespace {

class NumericColumn : public Column {
public:
  NumericColumn(DataType dataType, uint64_t rowCount) : Column(dataType), cells_(rowCount, dataType.byteCount()) {}
  NumericColumn(DataType dataType, uint64_t rowCount, std::shared_ptr<void const> cells)
      : Column(dataType), cells_(rowCount, dataType.byteCount(), std::move(cells)) {}

  void read(uint64_t offset, uint64_t count, void * destination) const override {
    std::memmove(destination, cells_.at(offset), count * dataType().byteCount());
  }

  void write(uint64_t offset, uint64_t count, void const * source) override {
    std::memmove(cells_.changeable(offset), source, count * dataType().byteCount());
  }

  ColumnMemory memory() override { return {cells_.share(), !cells_.isBorrowed()}; }
  void prepare(uint64_t rowCount, bool movesRows) override { cells_.prepare(rowCount, movesRows); }
  void insert(uint64_t offset, uint64_t count) noexcept override { cells_.insert(offset, count); }
  void remove(uint64_t offset, uint64_t count) noexcept override { cells_.remove(offset, count); }

private:
  RowBuffer cells_;
};

} // namespace

Column::~Column() = default;

std::unique_ptr<Column> Column::create(DataType dataType, uint64_t rowCount, std::shared_ptr<void const> cells) {
  if (dataType == DataTypeId::UTF8_STRING)
    return std::make_unique<TextColumn>(rowCount);
  if (!dataType.isScalar() || dataType.bitDepth() == 0 || dataType.interpretation() != DataTypeInterpretation::RAW) {
    throw InvalidArgument(
        fmt::format("columns of type {} are not supported, allowed are numbers of one component and UTF8_STRING",
                    dataType.toString()));
  }
  if (cells)
    return std::make_unique<NumericColumn>(dataType, rowCount, std::move(cells));
  return std::make_unique<NumericColumn>(dataType, rowCount);
}

TextCells Column::readText(uint64_t, uint64_t) const {
  throw InvalidArgument(fmt::format("a column of type {} holds no texts", dataType().toString()));
}

void Column::writeText(uint64_t, uint64_t, uint64_t const *, char const *) {
  throw InvalidArgument(fmt::format("a column of type {} holds no texts", dataType().toString()));
}

} // namespace zarnik
