#include "frames/DataFrameContract.h"
#include "zarnik/core/Error.h"
#include "zarnik/frames/Arrow.h"
#include "zarnik/frames/DataFrameViewFactory.h"
#include "zarnik/views/ColumnUnitExtension.h"
#include "zarnik/views/ViewOriginExtension.h"

#include <gmock/gmock.h>

namespace zarnik::test {
namespace {

using enum DataFrameCapability;

uint64_t rowCountOf(std::vector<ExpectedColumn> const & columns) {
  return std::visit([](auto const & cells) { return cells.size(); }, columns.front().cells);
}

DataType typeOf(ExpectedColumn const & column) {
  return std::holds_alternative<Texts>(column.cells) ? DataTypeId::UTF8_STRING : DataTypeId::INT32;
}

void const * cellsOf(ExpectedColumn const & column) {
  return std::visit([](auto const & cells) -> void const * { return cells.data(); }, column.cells);
}

std::shared_ptr<DataFrameView> inMemory(std::vector<ExpectedColumn> const & columns) {
  Texts names;
  std::vector<DataType> types;
  for (auto const & column : columns) {
    names.push_back(column.name);
    types.push_back(typeOf(column));
  }
  auto const rows = rowCountOf(columns);
  auto frame = DataFrameViewFactory::allocate({columns.size(), rows}, names.data(), types.data());
  for (size_t i = 0; i < columns.size(); ++i) {
    frame->write(i, 0, rows, cellsOf(columns[i]));
    frame->setUnit(i, columns[i].unit);
  }
  return frame;
}

// Numbers stay where they are until they change.
std::shared_ptr<DataFrameView> overMemoryOfOthers(std::vector<ExpectedColumn> const & columns) {
  auto const kept = std::make_shared<std::vector<ExpectedColumn>>(columns);
  std::vector<ColumnSource> sources;
  for (auto const & column : *kept) {
    std::shared_ptr<void const> cells;
    if (std::holds_alternative<Numbers>(column.cells))
      cells = {kept, cellsOf(column)};
    sources.push_back({column.name, typeOf(column), column.unit, cells});
  }
  auto frame = DataFrameViewFactory::create(rowCountOf(columns), sources);
  for (size_t i = 0; i < columns.size(); ++i)
    if (std::holds_alternative<Texts>(columns[i].cells))
      frame->write(i, 0, rowCountOf(columns), cellsOf(columns[i]));
  return frame;
}

/// A table of another maker, that has only what it must have.
class ForeignFrame : public DataFrameView {
public:
  explicit ForeignFrame(std::shared_ptr<DataFrameView> source)
      : source_(std::move(source)), origin_(ViewOriginExtension::derive("foreign", {source_})) {}
  std::shared_ptr<Extension> extension(size_t id) const override {
    return id == ViewOriginExtension::EXTENSION_ID ? origin_ : nullptr;
  }
  DataFrameCapabilitySet capabilities() const override { return READ; }
  Vector2u64 shape() const override { return source_->shape(); }
  std::string columnName(size_t index) const override { return source_->columnName(index); }
  size_t columnIndex(std::string const & name) const override { return source_->columnIndex(name); }
  DataType columnDataType(size_t index) const override { return source_->columnDataType(index); }
  void read(size_t column, size_t offset, size_t count, void * destination) const override {
    source_->read(column, offset, count, destination);
  }
  std::string unit(size_t index) const override { return source_->unit(index); }

private:
  std::shared_ptr<DataFrameView> source_;
  std::shared_ptr<Extension> origin_;
};

INSTANTIATE_TEST_SUITE_P(
    All, DataFrameContract,
    testing::Values(DataFrameImplementation{"Memory", READ | WRITE | RESHAPE, inMemory},
                    DataFrameImplementation{"MemoryOfOthers", READ | WRITE | RESHAPE, overMemoryOfOthers},
                    DataFrameImplementation{
                        "Foreign", READ,
                        [](auto const & columns) { return std::make_shared<ForeignFrame>(inMemory(columns)); }}),
    nameOf);

TEST(DataFrameMemory, IsTheColumnsAndOutlivesChangesAndTheTable) {
  auto frame = inMemory({{"n", "", Numbers{1, 2, 3}}, {"t", "", Texts(3)}});
  auto const memory = frame->columnMemory(0);
  ASSERT_TRUE(memory.writable);
  auto * const cells = static_cast<int32_t *>(memory.cells.get());
  cells[1] = 20;
  expectTable(*frame, {{"n", "", Numbers{1, 20, 3}}, {"t", "", Texts(3)}}, 3);
  EXPECT_FALSE(frame->columnMemory(1).cells);

  // Whatever becomes of the column, its holders see the rows that there were.
  frame->removeRows(2, 1);
  frame->addRows(0, 2);
  frame->addRows(4, 1000);
  EXPECT_THAT(std::vector(cells, cells + 3), testing::ElementsAre(1, 20, 3));
  frame->removeColumn(0);
  frame.reset();
  EXPECT_THAT(std::vector(cells, cells + 3), testing::ElementsAre(1, 20, 3));
}

TEST(DataFrameMemory, OfOthersIsNeitherCopiedNorChanged) {
  auto const numbers = std::make_shared<Numbers>(Numbers{1, 2, 3});
  auto const frame = DataFrameViewFactory::create(3, {{"n", DataTypeId::INT32, "mm", {numbers, numbers->data()}}});
  EXPECT_EQ(frame->columnMemory(0).cells.get(), numbers->data());
  EXPECT_FALSE(frame->columnMemory(0).writable);
  EXPECT_EQ(numbers.use_count(), 2);
  int32_t const value = 9;
  frame->write(0, 1, 1, &value);
  expectTable(*frame, {{"n", "mm", Numbers{1, 9, 3}}}, 3);
  EXPECT_EQ(*numbers, (Numbers{1, 2, 3}));
  EXPECT_EQ(numbers.use_count(), 1);
  EXPECT_TRUE(frame->columnMemory(0).writable);
}

TEST(DataFrame, GrowsFromNothing) {
  auto const frame = DataFrameViewFactory::allocate();
  expectTable(*frame, {}, 0);
  frame->addColumn("n", DataTypeId::INT32);
  frame->addRows(0, 1);
  frame->addColumn("t", DataTypeId::UTF8_STRING);
  expectTable(*frame, {{"n", "", Numbers(1)}, {"t", "", Texts(1)}}, 1);
  frame->removeColumn(1);
  frame->removeColumn(0);
  expectTable(*frame, {}, 1);
}

// A table that nobody filled costs no memory, whatever its size.
TEST(DataFrame, HasRowsForTheAsking) {
  auto const frame = DataFrameViewFactory::allocate();
  frame->addColumn("n", DataTypeId::UINT8);
  frame->addColumn("t", DataTypeId::UTF8_STRING);
  uint64_t const rows = 100'000'000;
  frame->addRows(0, rows);
  std::string text = "x";
  frame->read(1, rows - 1, 1, &text);
  EXPECT_EQ(text, "");
}

TEST(Arrow, LetsChildrenMoveAway) {
  ArrowArrayStream stream{};
  ArrowInterface::exportStream(inMemory({{"n", "", Numbers{1, -2, 3}}}), &stream);
  ArrowArray batch{};
  ASSERT_EQ(stream.get_next(&stream, &batch), 0);
  auto column = *batch.children[0];
  batch.children[0]->release = nullptr;
  batch.release(&batch);
  EXPECT_FALSE(batch.release);
  auto const * const cells = static_cast<int32_t const *>(column.buffers[1]);
  EXPECT_EQ(std::vector(cells, cells + 3), (Numbers{1, -2, 3}));
  column.release(&column);
  // The stream is at its end.
  EXPECT_EQ(stream.get_next(&stream, &batch), 0);
  EXPECT_FALSE(batch.release);
  stream.release(&stream);
}

TEST(DataFrameUnits, LiveOnAsAnExtension) {
  auto frame = inMemory({{"a", "mm", Numbers{1}}, {"b", "s", Numbers{2}}});
  auto const units = ColumnUnitExtension::cast(frame->extension(ColumnUnitExtension::EXTENSION_ID));
  units->setUnit(0, "km");
  EXPECT_EQ(frame->unit(0), "km");
  EXPECT_THROW(units->setUnit(2, "m"), InvalidArgument);
  EXPECT_THROW(units->setUnit(0, "\xff"), InvalidArgument);
  frame->removeColumn(0);
  EXPECT_EQ(units->unit(0), "s");
  frame.reset();
  EXPECT_EQ(units->unit(0), "s");
}

} // namespace
} // namespace zarnik::test
