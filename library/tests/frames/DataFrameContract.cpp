#include "frames/DataFrameContract.h"

#include "core/Support.h"
#include "zarnik/views/ColumnUnitExtension.h"
#include "zarnik/views/ViewOriginExtension.h"

#include <gmock/gmock.h>

namespace zarnik::test {
namespace {

using testing::HasSubstr;
using enum DataFrameCapability;

constexpr uint64_t HUGE_COUNT = uint64_t{1} << 63;

// Lengths on both sides of what strings hold inline, and characters of one to four bytes.
std::vector<ExpectedColumn> sample() {
  return {{"area", "mm\u00b2", Numbers{1, -2, 3, 2147483647, 0}},
          {"label", "", Texts{"", "a\u00e9\u20ac\U0001f600", std::string(100, 'x'), std::string("n\0l", 3), "last"}},
          {"\u540d", "px", Numbers{9, 8, 7, 6, 5}}};
}

Numbers readNumbers(DataFrameView const & frame, size_t column, size_t offset, size_t count) {
  Numbers cells(count);
  frame.read(column, offset, count, cells.data());
  return cells;
}

Texts readTexts(DataFrameView const & frame, size_t column, size_t offset, size_t count) {
  Texts cells(count, "stale");
  frame.read(column, offset, count, cells.data());
  return cells;
}

Texts split(TextCells const & texts) {
  Texts cells;
  for (size_t i = 0; i + 1 < texts.offsets.size(); ++i)
    cells.push_back(texts.bytes.substr(texts.offsets[i], texts.offsets[i + 1] - texts.offsets[i]));
  return cells;
}

/// Looks for the text of an error that leaves the table of the sample as it was.
auto refusals(std::shared_ptr<DataFrameView> const & frame) {
  return [frame](char const * text, auto operation) {
    EXPECT_THAT(messageOf([&] { operation(*frame); }), HasSubstr(text));
    expectTable(*frame, sample(), 5);
  };
}

} // namespace

void expectTable(DataFrameView const & frame, std::vector<ExpectedColumn> const & columns, uint64_t rowCount) {
  ASSERT_EQ(frame.shape(), Vector2u64({columns.size(), rowCount}));
  auto const units = ColumnUnitExtension::cast(frame.extension(ColumnUnitExtension::EXTENSION_ID));
  for (size_t i = 0; i < columns.size(); ++i) {
    auto const & [name, unit, cells] = columns[i];
    EXPECT_EQ(frame.columnName(i), name);
    EXPECT_EQ(frame.columnIndex(name), i);
    EXPECT_EQ(frame.unit(i), unit);
    if (units) {
      EXPECT_EQ(units->unit(i), unit);
    }
    if (auto const * const numbers = std::get_if<Numbers>(&cells)) {
      EXPECT_EQ(frame.columnDataType(i), DataTypeId::INT32);
      EXPECT_EQ(readNumbers(frame, i, 0, rowCount), *numbers);
    } else {
      EXPECT_EQ(frame.columnDataType(i), DataTypeId::UTF8_STRING);
      EXPECT_EQ(readTexts(frame, i, 0, rowCount), std::get<Texts>(cells));
      EXPECT_EQ(split(frame.readText(i, 0, rowCount)), std::get<Texts>(cells));
    }
  }
}

TEST_P(DataFrameContract, TellsItsColumnsAndCells) {
  auto const frame = GetParam().make(sample());
  expectTable(*frame, sample(), 5);
  EXPECT_EQ(frame->capabilities(), GetParam().capabilities);
  EXPECT_EQ(readNumbers(*frame, 2, 1, 3), (Numbers{8, 7, 6}));
  EXPECT_EQ(readTexts(*frame, 1, 3, 2), (Texts{std::string("n\0l", 3), "last"}));
  EXPECT_EQ(split(frame->readText(1, 2, 2)), (Texts{std::string(100, 'x'), std::string("n\0l", 3)}));
  EXPECT_THAT(frame->toString(), testing::AllOf(HasSubstr("3 columns"), HasSubstr("5 rows"), HasSubstr("label")));
  ASSERT_TRUE(frame->viewOrigin());
  EXPECT_EQ(frame->viewOrigin()->uid(), frame->viewOrigin()->uid());
  // An empty part may stand at the end, and needs no memory.
  frame->read(0, 5, 0, nullptr);
}

TEST_P(DataFrameContract, RefusesWhatIsOutOfRange) {
  auto const refused = refusals(GetParam().make(sample()));
  Numbers cells(5);
  refused("column index 3 is out of range, allowed are 0 to 2", [](auto & frame) { frame.columnName(3); });
  refused("out of range", [](auto & frame) { frame.columnDataType(HUGE_COUNT); });
  refused("out of range", [](auto & frame) { frame.unit(3); });
  refused("out of range", [](auto & frame) { frame.columnMemory(3); });
  refused("out of range", [&](auto & frame) { frame.read(3, 0, 1, cells.data()); });
  refused("no column is named \"Area\"", [](auto & frame) { frame.columnIndex("Area"); });
  refused("row 3 + 3 rows exceeds the 5 rows", [&](auto & frame) { frame.read(0, 3, 3, cells.data()); });
  refused("exceeds", [&](auto & frame) { frame.read(0, 6, 0, cells.data()); });
  refused("exceeds", [&](auto & frame) { frame.read(0, 2, UINT64_MAX, cells.data()); });
  refused("exceeds", [](auto & frame) { frame.readText(1, 1, UINT64_MAX); });
  refused("no memory", [](auto & frame) { frame.read(0, 0, 1, nullptr); });
  refused("INT32 holds no texts", [](auto & frame) { frame.readText(0, 0, 1); });
}

TEST_P(DataFrameContract, WritesPartsAndNothingElse) {
  if (!offers(WRITE))
    GTEST_SKIP();
  auto columns = sample();
  auto const frame = GetParam().make(columns);
  Numbers const numbers{70, 80};
  Texts const texts{"\u00fc", std::string(40, 'y')};
  frame->write(0, 3, 2, numbers.data());
  frame->write(1, 0, 2, texts.data());
  std::vector<uint64_t> const offsets{3, 6, 6};
  frame->writeText(1, 3, 2, offsets.data(), "???abc???");
  frame->setUnit(2, "\u00b5m");
  std::get<Numbers>(columns[0].cells)[3] = 70;
  std::get<Numbers>(columns[0].cells)[4] = 80;
  columns[1].cells = Texts{texts[0], texts[1], std::string(100, 'x'), "abc", ""};
  columns[2].unit = "\u00b5m";
  expectTable(*frame, columns, 5);
}

TEST_P(DataFrameContract, KeepsAllWhenAWriteFails) {
  auto const refused = refusals(GetParam().make(sample()));
  Numbers const numbers(5);
  if (!offers(WRITE)) {
    refused("does not support", [&](auto & frame) { frame.write(0, 0, 1, numbers.data()); });
    refused("does not support", [](auto & frame) { frame.setUnit(0, "m"); });
    return;
  }
  refused("exceeds", [&](auto & frame) { frame.write(0, 4, 2, numbers.data()); });
  refused("no memory", [](auto & frame) { frame.write(0, 0, 1, nullptr); });
  refused("out of range", [](auto & frame) { frame.setUnit(3, "m"); });
  std::vector<uint64_t> const falling{0, 3, 2}, amidst{0, 1, 2};
  refused("below", [&](auto & frame) { frame.writeText(1, 0, 2, falling.data(), "abc"); });
  refused("not UTF-8", [&](auto & frame) { frame.writeText(1, 0, 2, amidst.data(), "\u00e9"); });
  // Each of them ends or begins within a character, is overlong, a surrogate or too large.
  for (std::string const bad : {"\x80", "\xc3", "\xc0\xaf", "\xe0\x80\xaf", "\xed\xa0\x80", "\xf4\x90\x80\x80",
                                "\xf8\x88\x80\x80\x80", "abcdefgh\xff", "\xe2\x82"}) {
    Texts const texts{"good", bad};
    refused("not UTF-8", [&](auto & frame) { frame.write(1, 0, 2, texts.data()); });
  }
}

TEST_P(DataFrameContract, KeepsAllWhenAReshapeFails) {
  auto const refused = refusals(GetParam().make(sample()));
  Texts const names{"a", "a"};
  std::vector<DataType> const types(2, DataTypeId::INT32);
  auto const reshapes = [&](Vector2u64 const & shape) {
    return [&, shape](auto & frame) { frame.reshape(shape, names.data(), types.data()); };
  };
  if (!offers(RESHAPE)) {
    refused("does not support", [](auto & frame) { frame.addColumn("new", DataTypeId::INT32); });
    refused("does not support", [](auto & frame) { frame.addRows(0, 1); });
    refused("does not support", [](auto & frame) { frame.removeColumn(0); });
    refused("does not support", [](auto & frame) { frame.removeRows(0, 1); });
    refused("does not support", reshapes({1, 1}));
    return;
  }
  refused("named \"area\" already", [](auto & frame) { frame.addColumn("area", DataTypeId::INT32); });
  refused("empty", [](auto & frame) { frame.addColumn("", DataTypeId::INT32); });
  refused("not UTF-8", [](auto & frame) { frame.addColumn("\xff", DataTypeId::INT32); });
  refused("VEC3_UINT8 are not supported", [](auto & frame) { frame.addColumn("new", DataTypeId::VEC3_UINT8); });
  refused("not supported", [](auto & frame) { frame.addColumn("new", DataTypeId::UTF16_STRING); });
  refused("not supported", [](auto & frame) { frame.addColumn("new", DataType()); });
  refused("allowed are 0 to 5", [](auto & frame) { frame.addRows(6, 1); });
  refused("64 bits", [](auto & frame) { frame.addRows(0, UINT64_MAX); });
  refused("64 bits", [](auto & frame) { frame.addRows(2, HUGE_COUNT); });
  refused("out of range", [](auto & frame) { frame.removeColumn(3); });
  refused("exceeds", [](auto & frame) { frame.removeRows(3, 3); });
  refused("exceeds", [](auto & frame) { frame.removeRows(1, UINT64_MAX); });
  refused("neither may be 0", reshapes({0, 1}));
  refused("neither may be 0", reshapes({1, 0}));
  refused("already", reshapes({2, 1}));
  refused("64 bits", reshapes({1, HUGE_COUNT}));
  refused("names", [&](auto & frame) { frame.reshape({1, 1}, nullptr, types.data()); });
  refused("types", [&](auto & frame) { frame.reshape({1, 1}, names.data(), nullptr); });
}

TEST_P(DataFrameContract, TakesANewShape) {
  if (!offers(RESHAPE))
    GTEST_SKIP();
  auto const frame = GetParam().make(sample());
  Texts const names{"t", "n"};
  std::vector<DataType> const types{DataTypeId::UTF8_STRING, DataTypeId::INT32};
  frame->reshape({2, 3}, names.data(), types.data());
  expectTable(*frame, {{"t", "", Texts(3)}, {"n", "", Numbers(3)}}, 3);
}

} // namespace zarnik::test
