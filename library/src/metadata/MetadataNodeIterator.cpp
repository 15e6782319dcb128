#include "zarnik/metadata/MetadataNodeIterator.h"

#include "core/Guarded.h"
#include "metadata/MetadataIteratorObject.h"
#include "zarnik/metadata/MetadataNode.h"

namespace zarnik {

MetadataCursor::MetadataCursor(std::shared_ptr<MetadataChildren const> children) : children_(std::move(children)) {
  if (children_)
    number_ = children_->first();
}

bool MetadataCursor::next() {
  if (!isAtEnd())
    number_ = children_->after(number_, hint_);
  return !isAtEnd();
}

std::shared_ptr<MetadataNode> MetadataCursor::value() const {
  if (isAtEnd())
    throw InvalidArgument("metadata iterator is at the end, it has no value");
  auto node = children_->at(number_, hint_);
  if (!node)
    throw InvalidArgument("the child that the metadata iterator stands on was removed");
  return node;
}

namespace {

// An iterator without a cursor is at the end of no children.
template <typename Object> bool isAtEnd(std::unique_ptr<Object> const & object) { return !object || object->isAtEnd(); }

template <typename Object> std::unique_ptr<Object> copyOf(std::unique_ptr<Object> const & object) {
  return object ? guarded([&] { return std::make_unique<Object>(*object); }) : nullptr;
}

template <typename Object> std::shared_ptr<MetadataNode> valueOf(std::unique_ptr<Object> const & object) {
  return object ? object->value() : MetadataCursor(nullptr).value();
}

} // namespace

#define ZARNIK_ITERATOR(Iterator, Object, Node)                                                                        \
  Iterator::Iterator() = default;                                                                                      \
  Iterator::Iterator(Object * object) : object_(object) {}                                                             \
  Iterator::Iterator(Iterator const & other) : object_(copyOf(other.object_)) {}                                       \
  Iterator::Iterator(Iterator && other) noexcept = default;                                                            \
  Iterator::~Iterator() = default;                                                                                     \
  Iterator & Iterator::operator=(Iterator const & other) {                                                             \
    if (this != &other)                                                                                                \
      object_ = copyOf(other.object_);                                                                                 \
    return *this;                                                                                                      \
  }                                                                                                                    \
  Iterator & Iterator::operator=(Iterator && other) noexcept = default;                                                \
  bool Iterator::next() { return object_ && object_->next(); }                                                         \
  std::shared_ptr<Node> Iterator::value() const { return valueOf(object_); }                                           \
  bool Iterator::operator==(Iterator const & other) const {                                                            \
    bool const isEnd = isAtEnd(object_);                                                                               \
    bool const isOtherEnd = isAtEnd(other.object_);                                                                    \
    return isEnd || isOtherEnd ? isEnd == isOtherEnd : *object_ == *other.object_;                                     \
  }                                                                                                                    \
  bool Iterator::operator!=(Iterator const & other) const { return !(*this == other); }                                \
  std::shared_ptr<Node> Iterator::operator*() const { return value(); }                                                \
  std::shared_ptr<Node> Iterator::operator->() const { return value(); }                                               \
  Iterator & Iterator::operator++() {                                                                                  \
    next();                                                                                                            \
    return *this;                                                                                                      \
  }

ZARNIK_ITERATOR(MetadataNodeIterator, MetadataIteratorObject, MetadataNode)
ZARNIK_ITERATOR(ConstMetadataNodeIterator, ConstMetadataIteratorObject, MetadataNode const)
#undef ZARNIK_ITERATOR

} // namespace zarnik
