#include "core/Support.h"
#include "zarnik/metadata/MetadataNodeFactory.h"
#include "zarnik/metadata/MetadataNodeHelper.h"
#include "zarnik/metadata/VariantDataValueConverter.h"
#include "zarnik/metadata/VariantDataValueFactory.h"

#include <atomic>
#include <cmath>
#include <gmock/gmock.h>
#include <limits>

using namespace zarnik;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::ThrowsMessage;

using Node = std::shared_ptr<MetadataNode>;

namespace {

Node node(std::string const & key, std::shared_ptr<VariantDataValue> value = nullptr) {
  return MetadataNodeFactory::create(key, std::move(value));
}

Node nodeWith(std::initializer_list<char const *> children) {
  auto result = node("root");
  for (auto const * key : children)
    result->addChild(node(key));
  return result;
}

std::vector<std::string> keysBelow(MetadataNode const & parent) {
  std::vector<std::string> keys;
  for (auto const & child : parent)
    keys.push_back(child->key());
  return keys;
}

} // namespace

TEST(MetadataNode, MovingLeavesAnEmptyNodeInPlace) {
  auto const root = nodeWith({"a"});
  auto const a = root->child("a");
  a->addChild(node("b"));
  MetadataNode moved(std::move(*a));
  EXPECT_EQ(moved.key(), "a");
  EXPECT_EQ(root->child("a"), a);
  a->addChild(node("c"));
  EXPECT_THAT(keysBelow(*a), ElementsAre("c"));
  EXPECT_THAT(keysBelow(moved), ElementsAre("b"));
}

TEST(MetadataNode, DeferredChildrenAreMadeOnceForAllCopies) {
  std::atomic<int> calls{0};
  auto const deferred = MetadataNode::deferred("root", [&]() -> Node {
    if (calls++ == 0)
      throw InvalidArgument("not now");
    return nodeWith({"a", "b"});
  });
  auto const copy = deferred->clone();
  EXPECT_EQ(copy->key(), "root");
  auto const parent = node("parent");
  parent->addChild(copy);
  EXPECT_EQ(calls, 0);
  EXPECT_THAT([&] { static_cast<void>(deferred->childCount()); }, ThrowsMessage<Error>(HasSubstr("not now")));
  std::atomic<int> found{0};
  test::onThreads(4, [&](size_t) { found += deferred->hasChild("b") && copy->clone()->childCount() == 2 ? 1 : 0; });
  EXPECT_EQ(found, 4);
  EXPECT_EQ(calls, 2);
  deferred->addChild(node("c"));
  EXPECT_THAT(keysBelow(*deferred), ElementsAre("a", "b", "c"));
  EXPECT_THAT(keysBelow(*copy), ElementsAre("a", "b"));
  MetadataNode const taken(std::move(*MetadataNode::deferred("root", [] { return nodeWith({"d"}); })));
  EXPECT_THAT(keysBelow(taken), ElementsAre("d"));
}

using Factory = VariantDataValueFactory;
using Converter = VariantDataValueConverter;

TEST(VariantDataValue, StringsOfAllWidthsAreCopiedAndReadAsUtf8) {
  char const * const expected = "a\xC3\xA9\xE2\x82\xAC\xF0\x9F\x98\x80";
  auto const narrow = Factory::create(expected);
  auto const wide = Factory::create(u"a\u00E9\u20AC\U0001F600");
  auto const full = Factory::create(U"a\u00E9\u20AC\U0001F600");
  EXPECT_EQ(narrow->type(), DataType(DataTypeId::UTF8_STRING));
  EXPECT_EQ(wide->type(), DataType(DataTypeId::UTF16_STRING));
  EXPECT_EQ(full->type(), DataType(DataTypeId::UTF32_STRING));
  for (auto const & value : {narrow, wide, full, wide->clone()})
    EXPECT_EQ(Converter::toText(*value), expected);

  char16_t const unpaired[] = {0xDC00, u'x', 0xD83D, 0};
  EXPECT_EQ(Converter::toText(*Factory::create(unpaired)), "\xEF\xBF\xBDx\xEF\xBF\xBD");
}

TEST(VariantDataValue, IntegersAreReadWholeOrRefused) {
  uint64_t const big = std::numeric_limits<uint64_t>::max();
  auto const value = Factory::create(&big, 1);
  EXPECT_EQ(Converter::toUInt64(*value), big);
  EXPECT_EQ(Converter::toText(*value), "18446744073709551615");
  EXPECT_THAT([&] { Converter::toInt64(*value); }, ThrowsMessage<InvalidArgument>(HasSubstr("18446744073709551615")));
  EXPECT_THROW(Converter::toUInt64(*Factory::create(-1)), InvalidArgument);
  EXPECT_EQ(Converter::toInt64(*Factory::create(-0x1p63)), std::numeric_limits<int64_t>::min());
  for (double number : {0x1p63, 0.5, std::nan(""), -HUGE_VAL})
    EXPECT_THROW(Converter::toInt64(*Factory::create(number)), InvalidArgument) << number;
  EXPECT_THROW(Converter::toDouble(*Factory::create("1")), InvalidArgument);
  EXPECT_THROW(Converter::toInt64(*value, 1), InvalidArgument);
}
