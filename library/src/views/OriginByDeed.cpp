#include "views/OriginByDeed.h"

#include "core/ReleaseQueue.h"
#include "core/Utf8.h"
#include "zarnik/core/Error.h"
#include "zarnik/core/UidGenerator.h"
#include "zarnik/views/View.h"

#include <fmt/format.h>
#include <utility>

namespace zarnik {
namespace {

constexpr size_t LONGEST_NAME = 300;

// At most so many bytes, in whole characters: names have paths in them, and Python takes no part of a character.
std::string beginning(std::string const & text, size_t size) {
  while (size < text.size() && size > 0 && isUtf8Continuation(text[size]))
    --size;
  return text.substr(0, size);
}

class OriginByDeed final : public ViewOriginExtension {
public:
  OriginByDeed(std::string deed, std::shared_ptr<ViewOriginExtension> parent)
      : uid_(UidGenerator::generate()), dataOrigin_(parent ? parent->dataOrigin() : ViewDataOrigin::UNKNOWN),
        deed_(std::move(deed)), parent_(std::move(parent)) {}
  // Generations of any number are released one after the other: recursion would end with the stack.
  ~OriginByDeed() override { release(std::move(parent_)); }

  uint64_t uid() const override { return uid_; }
  size_t parentCount() const override { return 1; }
  ViewDataOrigin dataOrigin() const override { return dataOrigin_; }
  std::string displayName() const override;

  std::shared_ptr<ViewOriginExtension> parent(size_t index) const override {
    if (index != 0)
      throw InvalidArgument(fmt::format("parent index {} is not below the parent count 1", index));
    return parent_;
  }

private:
  uint64_t uid_;
  ViewDataOrigin dataOrigin_;
  std::string deed_;
  std::shared_ptr<ViewOriginExtension> parent_;
};

std::string OriginByDeed::displayName() const {
  std::vector<OriginByDeed const *> generations{this};
  while (auto const * const parent = dynamic_cast<OriginByDeed const *>(generations.back()->parent_.get()))
    generations.push_back(parent);
  auto const & first = generations.back()->parent_;
  auto name = first ? first->displayName() : std::string("image");
  std::string shortened;
  for (; !generations.empty(); generations.pop_back()) {
    auto const & deed = generations.back()->deed_;
    if (name.size() + deed.size() > LONGEST_NAME) {
      if (shortened.empty())
        shortened = beginning(name, LONGEST_NAME / 2) + " ...";
      name = shortened;
    }
    name += ", " + deed;
  }
  return name;
}

} // namespace

std::shared_ptr<ViewOriginExtension> originByDeed(std::string deed,
                                                  std::vector<std::shared_ptr<View>> const & parents) {
  if (parents.size() != 1)
    return ViewOriginExtension::derive(std::move(deed), parents);
  return std::make_shared<OriginByDeed>(std::move(deed), parents.front()->viewOrigin());
}

} // namespace zarnik
