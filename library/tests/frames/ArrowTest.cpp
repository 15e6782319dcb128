#include "zarnik/frames/Arrow.h"
#include "core/Support.h"
#include "frames/DataFrameContract.h"
#include "zarnik/frames/DataFrameViewFactory.h"

#include <algorithm>
#include <gmock/gmock.h>

namespace zarnik::test {
namespace {

using testing::HasSubstr;

/// Released when it goes, as its owner has to.
struct Stream : ArrowArrayStream {
  Stream() : ArrowArrayStream{} {}
  Stream(Stream const &) = delete;
  Stream & operator=(Stream const &) = delete;
  ~Stream() {
    if (release)
      release(this);
  }
};

std::shared_ptr<DataFrameView> sampleFrame() {
  auto frame = DataFrameViewFactory::allocate();
  frame->addRows(0, 3);
  frame->addColumn("n", DataTypeId::INT32);
  frame->addColumn("t", DataTypeId::UTF8_STRING);
  Numbers const numbers{1, -2, 3};
  Texts const texts{"", "\u00e9\u20ac", std::string(50, 'x')};
  frame->write(0, 0, 3, numbers.data());
  frame->write(1, 0, 3, texts.data());
  frame->setUnit(0, "\u00b5m");
  return frame;
}

std::vector<ExpectedColumn> const sampleColumns{{"n", "\u00b5m", Numbers{1, -2, 3}},
                                                {"t", "", Texts{"", "\u00e9\u20ac", std::string(50, 'x')}}};

/// A stream of batches that are made by hand. What they point to lives as long as the stream is used.
struct Handmade {
  struct Column {
    char const * format;
    char const * name;
    std::vector<std::vector<void const *>> buffers; // of each batch
    int64_t nullCount = 0;
    int64_t offset = 0;
    char const * metadata = nullptr;
  };
  std::vector<Column> columns;
  std::vector<int64_t> lengths;
  int64_t offset = 0;
  size_t given = 0;
  int releases = 0;

  template <typename Parent> static void forgetChildren(Parent * parent) {
    std::for_each(parent->children, parent->children + parent->n_children, [](auto * child) { delete child; });
    delete[] parent->children;
    parent->release = nullptr;
  }
  static void forget(ArrowArray * array) {
    ++static_cast<Handmade *>(array->private_data)->releases;
    forgetChildren(array);
  }

  static int describe(ArrowArrayStream * stream, ArrowSchema * schema) {
    auto const & self = *static_cast<Handmade *>(stream->private_data);
    *schema = {};
    schema->format = "+s";
    schema->n_children = static_cast<int64_t>(self.columns.size());
    schema->children = new ArrowSchema *[self.columns.size()];
    schema->release = forgetChildren<ArrowSchema>;
    std::ranges::transform(self.columns, schema->children, [](auto const & column) {
      return new ArrowSchema{column.format, column.name, column.metadata, 0, 0, nullptr, nullptr, nullptr, nullptr};
    });
    return 0;
  }

  static int next(ArrowArrayStream * stream, ArrowArray * array) {
    auto & self = *static_cast<Handmade *>(stream->private_data);
    *array = {};
    if (self.given == self.lengths.size())
      return 0;
    auto const batch = self.given++;
    array->length = self.lengths[batch];
    array->offset = self.offset;
    array->n_children = static_cast<int64_t>(self.columns.size());
    array->children = new ArrowArray *[self.columns.size()];
    array->release = forget;
    array->private_data = &self;
    std::ranges::transform(self.columns, array->children, [&](auto & column) {
      auto * const child = new ArrowArray{};
      auto & buffers = column.buffers[batch];
      child->length = array->length + self.offset;
      child->null_count = column.nullCount;
      child->offset = column.offset;
      child->n_buffers = static_cast<int64_t>(buffers.size());
      child->buffers = buffers.data();
      return child;
    });
    return 0;
  }

  std::shared_ptr<DataFrameView> import() {
    ArrowArrayStream stream{describe, next, [](ArrowArrayStream *) -> char const * { return "broken"; }, nullptr, this};
    return ArrowInterface::importStream(&stream);
  }
};

TEST(Arrow, TakesBackWhatItGave) {
  auto frame = sampleFrame();
  Stream stream;
  ArrowInterface::exportStream(frame, &stream);
  auto const * const cells = frame->columnMemory(0).cells.get();
  frame->removeColumn(0);
  frame.reset();
  auto const back = ArrowInterface::importStream(&stream);
  expectTable(*back, sampleColumns, 3);
  EXPECT_EQ(back->columnMemory(0).cells.get(), cells);
  // The stream is at its end.
  ArrowArray batch{};
  EXPECT_EQ(stream.get_next(&stream, &batch), 0);
  EXPECT_FALSE(batch.release);
}

TEST(Arrow, TakesBackTablesWithoutRowsOrColumns) {
  for (auto const & [rows, columns] : {std::pair{0, 2}, {0, 0}, {4, 0}}) {
    auto frame = columns ? sampleFrame() : DataFrameViewFactory::allocate();
    frame->removeRows(0, frame->shape()[1]);
    frame->addRows(0, static_cast<size_t>(rows));
    Stream stream;
    ArrowInterface::exportStream(frame, &stream);
    EXPECT_EQ(ArrowInterface::importStream(&stream)->shape(), frame->shape());
  }
}

TEST(Arrow, LetsChildrenMoveAway) {
  Stream stream;
  ArrowInterface::exportStream(sampleFrame(), &stream);
  ArrowArray batch{};
  ASSERT_EQ(stream.get_next(&stream, &batch), 0);
  auto column = *batch.children[0];
  batch.children[0]->release = nullptr;
  batch.release(&batch);
  EXPECT_FALSE(batch.release);
  auto const * const cells = static_cast<int32_t const *>(column.buffers[1]);
  EXPECT_EQ(std::vector(cells, cells + 3), (Numbers{1, -2, 3}));
  column.release(&column);
}

TEST(Arrow, ReadsBatchesOffsetsAndAllKindsOfTexts) {
  Numbers const first{0, 0, 0, 1, 2};
  Numbers const second{0, 0, 0, 3};
  std::vector<int32_t> const narrow{7, 7, 0, 2, 2};
  std::vector<int32_t> const narrowBehind{9, 9, 0, 3};
  std::string const longText = "a text of more than twelve bytes";
  struct Outside {
    char beginning[4];
    int32_t buffer;
    int32_t offset;
  };
  struct Entry {
    int32_t length;
    union {
      char inside[12];
      Outside outside;
    };
  };
  Entry entries[5]{};
  entries[2] = {3, {{'a', 'b', 'c'}}};
  entries[3].length = static_cast<int32_t>(longText.size());
  entries[3].outside = {{'a', ' ', 't', 'e'}, 1, 4};
  std::string const outside = "xxxx" + longText;
  Entry const behind[4]{{}, {}, {0, {}}, {}};
  int64_t const sizes[]{0, 0};
  // One entry of the metadata before that of the unit.
  std::string metadata;
  auto const number = [&](int32_t value) { metadata.append(reinterpret_cast<char const *>(&value), sizeof value); };
  auto const text = [&](std::string const & value) { number(static_cast<int32_t>(value.size())), metadata += value; };
  number(2), text("other"), text("x"), text("unit"), text("mm");
  uint8_t const allThere = 0xFF;

  Handmade stream;
  stream.lengths = {2, 1};
  stream.offset = 2;
  stream.columns = {
      {"i", "n", {{&allThere, first.data()}, {nullptr, second.data()}}, -1, 1, metadata.data()},
      {"u", "narrow", {{nullptr, narrow.data(), "ab"}, {nullptr, narrowBehind.data(), "xyz"}}},
      {"vu", "views", {{nullptr, entries, nullptr, outside.data(), sizes}, {nullptr, behind, sizes}}},
  };
  expectTable(*stream.import(),
              {{"n", "mm", Numbers{1, 2, 3}},
               {"narrow", "", Texts{"ab", "", "xyz"}},
               {"views", "", Texts{"abc", longText, ""}}},
              3);
  EXPECT_EQ(stream.releases, 2);
}

TEST(Arrow, KeepsASingleBatchAsLongAsItIsUsed) {
  Numbers const numbers{1, 2, 3};
  Handmade stream;
  stream.lengths = {3};
  stream.columns = {{"i", "n", {{nullptr, numbers.data()}}}};
  auto frame = stream.import();
  EXPECT_EQ(frame->columnMemory(0).cells.get(), numbers.data());
  auto memory = frame->columnMemory(0).cells;
  frame.reset();
  EXPECT_EQ(stream.releases, 0);
  memory.reset();
  EXPECT_EQ(stream.releases, 1);
}

TEST(Arrow, RefusesByNameWhatATableCannotHold) {
  Numbers const numbers{1, 2, 3};
  uint8_t const secondIsMissing = 0b101;
  auto const refusalOf = [&](char const * format, uint8_t const * validity) {
    Handmade stream;
    stream.lengths = {3};
    stream.columns = {{format, "size", {{validity, numbers.data()}}, -1}};
    auto const message = messageOf<InvalidArgument>([&] { stream.import(); });
    EXPECT_EQ(stream.releases, validity ? 1 : 0);
    return message;
  };
  EXPECT_THAT(refusalOf("i", &secondIsMissing), HasSubstr("column \"size\" has 1 null, a table holds none"));
  EXPECT_THAT(refusalOf("+l", nullptr), HasSubstr("column \"size\" of Arrow type list (\"+l\") cannot be held"));
  for (auto const & [format, name] : {std::pair("tsu:UTC", "timestamp"),
                                      {"tdD", "date"},
                                      {"tDn", "duration"},
                                      {"tiM", "interval"},
                                      {"ttm", "time "},
                                      {"b", "boolean"},
                                      {"+w:3", "fixed-size list"},
                                      {"d:19,10", "decimal"},
                                      {"nonsense", "null"}})
    EXPECT_THAT(refusalOf(format, nullptr), HasSubstr(std::string("type ") + name));

  auto frame = sampleFrame();
  Stream stream;
  frame->addColumn(std::string("a\0b", 3), DataTypeId::INT32);
  EXPECT_THAT(messageOf([&] { ArrowInterface::exportStream(frame, &stream); }), HasSubstr("zero character"));
  frame->removeColumn(2);
  frame->addColumn("odd", DataType(PrimitiveTypeId::UNSIGNED_INTEGER, 24, 1));
  EXPECT_THAT(messageOf([&] { ArrowInterface::exportStream(frame, &stream); }),
              HasSubstr("\"odd\" of type (UNSIGNED_INTEGER, 24 bits"));
  EXPECT_FALSE(stream.release);
}

TEST(Arrow, TellsWhyAStreamFailed) {
  Handmade withoutCells;
  withoutCells.lengths = {3};
  withoutCells.columns = {{"i", "n", {{nullptr, nullptr}}}};
  EXPECT_THAT(messageOf([&] { withoutCells.import(); }), HasSubstr("\"n\" of the Arrow stream has fewer"));
  ArrowArrayStream stream{[](ArrowArrayStream *, ArrowSchema *) { return 5; }, nullptr,
                          [](ArrowArrayStream *) -> char const * { return "server gone"; }, nullptr, nullptr};
  EXPECT_THAT(messageOf([&] { ArrowInterface::importStream(&stream); }), HasSubstr("server gone"));
}

} // namespace
} // namespace zarnik::test
