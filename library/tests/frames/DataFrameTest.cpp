#include "core/Support.h"
#include "zarnik/frames/Arrow.h"
#include "zarnik/frames/DataFrameView.h"
#include "zarnik/frames/DataFrameViewFactory.h"
#include "zarnik/views/ColumnUnitExtension.h"

#include <gmock/gmock.h>

namespace zarnik::test {
namespace {

using testing::HasSubstr;
using Numbers = std::vector<int32_t>;
using Texts = std::vector<std::string>;

/// A column n of numbers, and a column t of texts that are all empty.
std::shared_ptr<DataFrameView> inMemory(Numbers const & numbers, std::string const & unit = "") {
  std::string const names[] = {"n", "t"};
  DataType const types[] = {DataTypeId::INT32, DataTypeId::UTF8_STRING};
  auto frame = DataFrameViewFactory::allocate({2, numbers.size()}, names, types);
  frame->write(0, 0, numbers.size(), numbers.data());
  frame->setUnit(0, unit);
  return frame;
}

TEST(DataFrame, HoldsNothingButUtf8AndKeepsAllWhenAWriteFails) {
  auto const frame = inMemory({1, 2});
  Texts const before{"good", "\u00e9"};
  frame->write(1, 0, 2, before.data());
  auto const refused = [&](char const * text, auto operation) {
    EXPECT_THAT(messageOf(operation), HasSubstr(text));
    Texts after(2);
    frame->read(1, 0, 2, after.data());
    EXPECT_EQ(after, before);
    EXPECT_EQ(frame->shape(), (Vector2u64{2, 2}));
  };
  // Each of them ends or begins within a character, is overlong, a surrogate or too large.
  for (std::string const bad : {"\x80", "\xc3", "\xc0\xaf", "\xe0\x80\xaf", "\xed\xa0\x80", "\xf4\x90\x80\x80",
                                "\xf8\x88\x80\x80\x80", "abcdefgh\xff", "\xe2\x82"}) {
    Texts const texts{"new", bad};
    refused("not UTF-8", [&] { frame->write(1, 0, 2, texts.data()); });
    refused("not UTF-8", [&] { frame->addColumn(bad, DataTypeId::INT32); });
  }
  std::vector<uint64_t> const falling{0, 3, 2}, amidst{0, 1, 2}, rising{3, 6, 6};
  refused("below", [&] { frame->writeText(1, 0, 2, falling.data(), "abc"); });
  refused("not UTF-8", [&] { frame->writeText(1, 0, 2, amidst.data(), "\u00e9"); });
  refused("no memory", [&] { frame->write(0, 0, 1, nullptr); });
  refused("no memory", [&] { frame->read(0, 0, 1, nullptr); });
  refused("INT32 holds no texts", [&] { frame->readText(0, 0, 1); });
  refused("exceeds", [&] { frame->readText(1, 1, UINT64_MAX); });
  refused("out of range", [&] { frame->columnMemory(3); });
  refused("names", [&] { frame->reshape({1, 1}, nullptr, nullptr); });
  frame->read(0, 2, 0, nullptr); // an empty part may stand at the end, and needs no memory
  frame->writeText(1, 0, 2, rising.data(), "???abc???");
  EXPECT_EQ(frame->readText(1, 0, 2).bytes, "abc");
}

TEST(Arrow, LetsChildrenMoveAway) {
  ArrowArrayStream stream{};
  ArrowInterface::exportStream(inMemory({1, -2, 3}), &stream);
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
  auto frame = inMemory({1}, "mm");
  frame->setUnit(1, "s");
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
