#include "serialization/MetadataCodec.h"

#include "zarnik/metadata/VariantDataValueFactory.h"
#include "zarnik/values/DataType.h"
#include "zarnik/values/ElementTypes.h"

#include <algorithm>
#include <unordered_map>
#include <unordered_set>
#include <vector>

namespace zarnik::format {
namespace {

// A node without a value has the data type 0 and nothing else.
constexpr uint64_t NO_VALUE = 0;

template <typename Char> void putTexts(ContentBuilder & content, VariantDataValue const & value) {
  auto const * const texts = static_cast<Char const * const *>(value.raw());
  for (size_t i = 0; i != value.count(); ++i) {
    std::basic_string_view<Char> const text(texts[i]);
    content.put(uint64_t{text.size()});
    content.putBytes(text.data(), text.size() * sizeof(Char));
  }
}

void putValue(ContentBuilder & content, std::string const & key, VariantDataValue const * value) {
  if (!value) {
    content.put(NO_VALUE);
    return;
  }
  auto const type = value->type();
  content.put(uint64_t{type.id()});
  content.put(uint64_t{value->count()});
  switch (static_cast<DataTypeId>(type.id())) {
  case DataTypeId::UTF8_STRING:
    return putTexts<char>(content, *value);
  case DataTypeId::UTF16_STRING:
    return putTexts<char16_t>(content, *value);
  case DataTypeId::UTF32_STRING:
    return putTexts<char32_t>(content, *value);
#define ZARNIK_NUMBERS(type, suffix) case dataTypeIdOf<type>:
    ZARNIK_FOR_EACH_ELEMENT_TYPE(ZARNIK_NUMBERS)
#undef ZARNIK_NUMBERS
    return content.putBytes(value->raw(), value->count() * type.byteCount());
  default:
    throw InvalidArgument(fmt::format("metadata value '{}' of type {} cannot be stored", key, type.toString()));
  }
}

template <typename T> std::shared_ptr<VariantDataValue> getNumbers(ContentReader & content) {
  auto const count = content.getCount(sizeof(T), "numbers of a metadata value");
  auto const bytes = content.getBytes(count * sizeof(T), "numbers of a metadata value");
  std::vector<T> values(count);
  if (count != 0)
    std::memcpy(values.data(), bytes.data(), bytes.size());
  return VariantDataValueFactory::create(values.data(), count);
}

template <typename Char> std::shared_ptr<VariantDataValue> getTexts(ContentReader & content) {
  auto const count = content.getCount(sizeof(uint64_t), "texts of a metadata value");
  std::vector<std::basic_string<Char>> texts;
  std::vector<Char const *> starts;
  texts.reserve(count);
  starts.reserve(count);
  for (uint64_t i = 0; i != count; ++i) {
    auto const length = content.getCount(sizeof(Char), "characters of a metadata value");
    auto const bytes = content.getBytes(length * sizeof(Char), "characters of a metadata value");
    auto & text = texts.emplace_back(length, Char{});
    if (length != 0)
      std::memcpy(text.data(), bytes.data(), bytes.size());
    if (text.find(Char{}) != text.npos)
      throw Error(fmt::format("a text of a metadata value has a zero among its {} characters", length));
    starts.push_back(text.c_str());
  }
  return VariantDataValueFactory::create(starts.data(), count);
}

std::shared_ptr<VariantDataValue> getValue(ContentReader & content) {
  auto const id = content.get<uint64_t>("the type of a metadata value");
  switch (static_cast<DataTypeId>(id)) {
  case DataTypeId::UNKNOWN:
    return nullptr;
  case DataTypeId::UTF8_STRING:
    return getTexts<char>(content);
  case DataTypeId::UTF16_STRING:
    return getTexts<char16_t>(content);
  case DataTypeId::UTF32_STRING:
    return getTexts<char32_t>(content);
#define ZARNIK_NUMBERS(type, suffix)                                                                                   \
  case dataTypeIdOf<type>:                                                                                             \
    return getNumbers<type>(content);
    ZARNIK_FOR_EACH_ELEMENT_TYPE(ZARNIK_NUMBERS)
#undef ZARNIK_NUMBERS
  default:
    throw Error(fmt::format("a metadata value has the type {:#x}, which none can have", id));
  }
}

/// All nodes, each behind its parents: the reverse of the order in which a search in depth leaves them.
std::vector<MetadataNode const *> inOrder(MetadataNode const & root) {
  struct Step {
    MetadataNode const * node;
    bool isLeft;
  };
  std::vector<Step> steps{{&root, false}};
  std::unordered_set<MetadataNode const *> seen;
  std::vector<MetadataNode const *> nodes;
  while (!steps.empty()) {
    auto const [node, isLeft] = steps.back();
    steps.pop_back();
    if (isLeft) {
      nodes.push_back(node);
      continue;
    }
    if (!seen.insert(node).second)
      continue;
    steps.push_back({node, true});
    for (auto child = node->cbegin(); child != node->cend(); ++child)
      steps.push_back({(*child).get(), false});
  }
  std::reverse(nodes.begin(), nodes.end());
  return nodes;
}

} // namespace

void putMetadata(ContentBuilder & content, MetadataNode const & root) {
  auto const nodes = inOrder(root);
  std::unordered_map<MetadataNode const *, uint64_t> positions;
  for (auto const * const node : nodes)
    positions.emplace(node, positions.size());
  content.put(uint64_t{nodes.size()});
  for (auto const * const node : nodes) {
    content.putText(node->key());
    putValue(content, node->key(), node->value().get());
    content.put(uint64_t{node->childCount()});
    for (auto child = node->cbegin(); child != node->cend(); ++child)
      content.put(positions.at((*child).get()));
  }
}

std::shared_ptr<MetadataNode> getMetadata(ContentReader & content) {
  // Key, type and number of children.
  constexpr uint64_t nodeBytes = 3 * sizeof(uint64_t);
  auto const count = content.getCount(nodeBytes, "metadata nodes");
  if (count == 0)
    throw Error("a metadata tree has no root");
  std::vector<std::shared_ptr<MetadataNode>> nodes;
  std::vector<std::vector<uint64_t>> children(count);
  nodes.reserve(count);
  for (uint64_t i = 0; i != count; ++i) {
    auto const key = content.getText("the key of a metadata node");
    nodes.push_back(std::make_shared<MetadataNode>(key, getValue(content)));
    children[i].resize(content.getCount(sizeof(uint64_t), "children of a metadata node"));
    for (auto & position : children[i]) {
      position = content.get<uint64_t>("a child of a metadata node");
      // So a tree cannot contain itself.
      if (position <= i || position >= count)
        throw Error(fmt::format("metadata node {} of {} has node {} as its child, which does not stand behind it", i,
                                count, position));
    }
  }
  // From the last one: a node that gets a parent has all its children by then.
  for (uint64_t i = count; i-- != 0;) {
    for (auto const position : children[i]) {
      if (nodes[i]->hasChild(nodes[position]->key()))
        throw Error(fmt::format("metadata node {} has two children '{}'", i, nodes[position]->key()));
      nodes[i]->addChild(nodes[position]);
    }
  }
  return nodes.front();
}

} // namespace zarnik::format
