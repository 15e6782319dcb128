#include "core/Support.h"
#include "zarnik/core/Error.h"
#include "zarnik/metadata/MetadataNode.h"
#include "zarnik/metadata/MetadataNodeFactory.h"
#include "zarnik/metadata/MetadataNodeHelper.h"
#include "zarnik/metadata/VariantDataValue.h"
#include "zarnik/metadata/VariantDataValueConverter.h"
#include "zarnik/metadata/VariantDataValueFactory.h"

#include <algorithm>
#include <atomic>
#include <cmath>
#include <gmock/gmock.h>
#include <limits>
#include <random>
#include <vector>

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

size_t depthOf(std::shared_ptr<MetadataNode const> walker) {
  size_t depth = 0;
  for (; walker->childCount() > 0; ++depth)
    walker = *walker->begin();
  return depth;
}

} // namespace

// A list of pairs, searched from the front, is the reference for any mixture of changes.
TEST(MetadataNode, ChildrenBehaveLikeAListOfPairsWhateverTheChanges) {
  std::mt19937 random(20240607);
  std::vector<std::pair<std::string, Node>> expected;
  auto const parent = node("parent");
  for (int step = 0; step < 20000; ++step) {
    // Phases that mostly grow and phases that mostly shrink.
    bool const isAdding = random() % 10 < (step / 2500 % 2 == 0 ? 7u : 3u);
    auto const key = std::to_string(random() % 300);
    auto const place = std::find_if(expected.begin(), expected.end(), [&](auto const & e) { return e.first == key; });
    if (isAdding) {
      auto const child = node(key);
      parent->addChild(child);
      if (place == expected.end())
        expected.emplace_back(key, child);
      else
        place->second = child;
    } else {
      ASSERT_EQ(parent->hasChild(key), place != expected.end());
      parent->removeChild(key);
      if (place != expected.end())
        expected.erase(place);
    }
    ASSERT_EQ(parent->childCount(), expected.size());
    if (step % 100 != 0)
      continue;
    auto walker = parent->begin();
    for (auto const & [expectedKey, child] : expected) {
      ASSERT_EQ(walker.value(), child);
      ASSERT_EQ(parent->child(expectedKey), child);
      walker.next();
    }
    ASSERT_EQ(walker, parent->end());
  }
}

TEST(MetadataNode, NeverBecomesItsOwnAncestor) {
  auto const root = nodeWith({"a"});
  auto const a = root->child("a");
  auto const b = node("b");
  a->addChild(b);
  for (auto const & ancestor : {root, a, b})
    EXPECT_THAT([&] { b->addChild(ancestor); }, ThrowsMessage<Error>(HasSubstr("cannot become a child of 'b'")));
  EXPECT_EQ(b->childCount(), 0u);

  // Being the child of two nodes is no cycle; having left the tree ends the ban.
  auto const other = nodeWith({});
  other->addChild(b);
  root->addChild(other);
  EXPECT_THROW(b->addChild(other), Error);
  a->removeChild("b");
  b->addChild(a);
  EXPECT_EQ(depthOf(b), 1u);
}

TEST(MetadataNode, CopiesAreDeepAndKeepSharedNodesShared) {
  auto const root = nodeWith({"left", "right"});
  auto const shared = node("shared");
  root->child("left")->addChild(shared);
  root->child("right")->addChild(shared);
  auto const copy = root->clone();
  EXPECT_EQ(copy->child("left")->child("shared"), copy->child("right")->child("shared"));
  copy->child("left")->child("shared")->addChild(node("new"));
  EXPECT_EQ(shared->childCount(), 0u);
}

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

TEST(MetadataNodeIterator, StaysAtItsPlaceWhileChildrenChange) {
  auto const parent = nodeWith({"a", "b", "c", "d"});
  auto walker = parent->begin();
  walker.next();
  auto const held = walker.value();
  parent->removeChild("a");
  EXPECT_EQ(walker.value(), held);
  auto const replacement = node("b");
  parent->addChild(replacement);
  EXPECT_EQ(walker.value(), replacement);
  EXPECT_EQ(held->key(), "b");
  parent->removeChild("b");
  parent->removeChild("c");
  EXPECT_THAT([&] { walker.value(); }, ThrowsMessage<Error>(HasSubstr("was removed")));
  parent->addChild(node("e"));
  for (auto const * const next : {"d", "e"}) {
    EXPECT_TRUE(walker.next());
    EXPECT_EQ(walker.value()->key(), next);
  }
  EXPECT_FALSE(walker.next());
  EXPECT_FALSE(walker.next());
  EXPECT_EQ(walker, parent->end());
}

class LargeMetadata : public testing::TestWithParam<bool> {};

// Minutes if any step were quadratic, a crash if one recursed.
TEST_P(LargeMetadata, ChainOfAHundredThousandLevels) {
  constexpr size_t levels = 100000;
  bool const isTopDown = GetParam();
  auto top = node("0");
  auto bottom = top;
  for (size_t i = 1; i <= levels; ++i) {
    auto next = node(std::to_string(i));
    if (isTopDown) {
      bottom->addChild(next);
      bottom = std::move(next);
    } else {
      next->addChild(top);
      top = std::move(next);
    }
  }
  EXPECT_THROW(bottom->addChild(top), Error);
  auto const copy = top->clone();
  EXPECT_EQ(depthOf(copy), levels);
  auto const text = copy->toString();
  EXPECT_EQ(std::count(text.begin(), text.end(), '\n'), static_cast<long>(levels));
  EXPECT_LT(text.size(), levels * 64);

  std::string path;
  for (size_t i = 0; i < levels; ++i)
    path += "/x";
  auto const root = node("root");
  MetadataNodeHelper::createPath(root, path, VariantDataValueFactory::create(5));
  EXPECT_EQ(depthOf(root), levels);
  EXPECT_NE(MetadataNodeHelper::getNode(root, path)->value(), nullptr);
}
INSTANTIATE_TEST_SUITE_P(BothDirections, LargeMetadata, testing::Bool());

TEST(LargeMetadata, FiftyThousandChildren) {
  constexpr size_t count = 50000;
  auto const parent = node("parent");
  for (size_t i = 0; i < count; ++i)
    parent->addChild(node(std::to_string(i)));
  auto const copy = parent->clone();
  for (size_t i = 0; i < count; ++i)
    ASSERT_EQ(copy->child(std::to_string(i))->key(), std::to_string(i));
  // Always taking the first one must not search through those already taken.
  for (size_t i = 0; i < count; ++i) {
    auto const first = copy->begin().value()->key();
    ASSERT_EQ(first, std::to_string(i));
    copy->removeChild(first);
  }
  EXPECT_EQ(copy->childCount(), 0u);
  EXPECT_EQ(keysBelow(*parent).size(), count);
}

// Two children that are one node, on each of many levels: spelled out that would be 2^60 lines.
TEST(MetadataNode, TextOfSharedNodesIsAsLongAsTheirNumber) {
  auto inner = node("leaf");
  for (int level = 0; level < 60; ++level) {
    auto const outer = node("level " + std::to_string(level));
    for (auto const * const side : {"left", "right"}) {
      outer->addChild(node(side));
      outer->child(side)->addChild(inner);
    }
    inner = outer;
  }
  auto const text = inner->toString();
  EXPECT_LT(text.size(), 60u * 300);
  EXPECT_THAT(text, HasSubstr("level 58\n"));
  EXPECT_THAT(text, HasSubstr("level 58 (its 2 children are above)"));
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

template <typename T> class NumericVariantValue : public testing::Test {};
using Numbers = testing::Types<uint8_t, uint16_t, uint32_t, uint64_t, int8_t, int16_t, int32_t, int64_t, float, double>;
TYPED_TEST_SUITE(NumericVariantValue, Numbers);

TYPED_TEST(NumericVariantValue, OwnsAlignedCopiesOfTheElements) {
  using Limits = std::numeric_limits<TypeParam>;
  std::vector<TypeParam> const expected{Limits::lowest(), 0, 1, Limits::max()};
  auto source = expected;
  std::shared_ptr<VariantDataValue> copy;
  {
    auto const value = Factory::create(source.data(), source.size());
    source.assign(4, TypeParam{7});
    copy = value->clone();
    EXPECT_NE(copy->raw(), value->raw());
  }
  EXPECT_EQ(copy->type(), DataType(dataTypeIdOf<TypeParam>));
  EXPECT_EQ(reinterpret_cast<uintptr_t>(copy->raw()) % alignof(TypeParam), 0u);
  auto const * elements = static_cast<TypeParam const *>(copy->raw());
  EXPECT_EQ(std::vector<TypeParam>(elements, elements + copy->count()), expected);
  for (size_t i = 0; i < expected.size(); ++i)
    EXPECT_EQ(Converter::toDouble(*copy, i), static_cast<double>(expected[i]));
}

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

  char const * texts[] = {"one", "", "three"};
  auto const list = Factory::create(texts, 3)->clone();
  EXPECT_EQ(list->count(), 3u);
  EXPECT_STREQ(static_cast<char const * const *>(list->raw())[2], "three");
  EXPECT_EQ(Converter::toText(*list, 1), "");
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
