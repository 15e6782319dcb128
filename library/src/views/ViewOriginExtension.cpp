#include "zarnik/views/ViewOriginExtension.h"

#include "core/ReleaseQueue.h"
#include "zarnik/core/Error.h"
#include "zarnik/core/UidGenerator.h"
#include "zarnik/views/View.h"

#include <algorithm>
#include <fmt/format.h>
#include <iterator>
#include <string_view>

namespace zarnik {
namespace {

using Parents = std::vector<std::shared_ptr<ViewOriginExtension>>;

class RecordedOrigin : public ViewOriginExtension {
public:
  RecordedOrigin(ViewDataOrigin dataOrigin, std::string displayName, Parents parents)
      : uid_(UidGenerator::generate()), dataOrigin_(dataOrigin), displayName_(std::move(displayName)),
        parents_(std::move(parents)) {}
  // Generations of any number are released one after the other: recursion would end with the stack.
  ~RecordedOrigin() override {
    for (auto & parent : parents_)
      release(std::move(parent));
  }

  uint64_t uid() const override { return uid_; }
  size_t parentCount() const override { return parents_.size(); }
  ViewDataOrigin dataOrigin() const override { return dataOrigin_; }
  std::string displayName() const override { return displayName_; }

  std::shared_ptr<ViewOriginExtension> parent(size_t index) const override {
    if (index >= parents_.size())
      throw InvalidArgument(fmt::format("parent index {} is not below the parent count {}", index, parents_.size()));
    return parents_[index];
  }

private:
  uint64_t uid_;
  ViewDataOrigin dataOrigin_;
  std::string displayName_;
  Parents parents_;
};

ViewDataOrigin commonDataOrigin(Parents const & parents) {
  auto const dataOriginOf = [](auto const & parent) { return parent ? parent->dataOrigin() : ViewDataOrigin::UNKNOWN; };
  if (parents.empty())
    return ViewDataOrigin::UNKNOWN;
  auto const first = dataOriginOf(parents.front());
  for (auto const & parent : parents)
    if (dataOriginOf(parent) != first)
      return ViewDataOrigin::COMPOSITE;
  return first;
}

std::string_view nameOf(ViewDataOrigin origin) {
  constexpr std::string_view names[] = {"UNKNOWN", "CPU_MEMORY", "DRIVE",    "GPU_MEMORY",
                                        "NETWORK", "GENERATED",  "COMPOSITE"};
  auto const index = static_cast<size_t>(origin);
  return index < std::size(names) ? names[index] : "UNKNOWN";
}

} // namespace

ViewOriginExtension::~ViewOriginExtension() = default;

std::shared_ptr<ViewOriginExtension> ViewOriginExtension::cast(std::shared_ptr<Extension> extension) {
  return std::dynamic_pointer_cast<ViewOriginExtension>(extension);
}

std::shared_ptr<ViewOriginExtension> ViewOriginExtension::create(ViewDataOrigin dataOrigin, std::string displayName) {
  return std::make_shared<RecordedOrigin>(dataOrigin, std::move(displayName), Parents{});
}

std::shared_ptr<ViewOriginExtension> ViewOriginExtension::derive(std::string displayName,
                                                                 std::vector<std::shared_ptr<View>> const & parents) {
  Parents origins;
  origins.reserve(parents.size());
  for (auto const & parent : parents)
    origins.push_back(parent->viewOrigin());
  auto const dataOrigin = commonDataOrigin(origins);
  return std::make_shared<RecordedOrigin>(dataOrigin, std::move(displayName), std::move(origins));
}

std::string ViewOriginExtension::toString() const {
  return fmt::format("ViewOriginExtension({:#018x}, {}, {}, {} {})", uid(), displayName(), nameOf(dataOrigin()),
                     parentCount(), parentCount() == 1 ? "parent" : "parents");
}

} // namespace zarnik
