#include "zarnik/views/Extension.h"

#include "views/FlagNames.h"
#include "zarnik/views/ColumnUnitExtension.h"
#include "zarnik/views/ExtensionProvider.h"
#include "zarnik/views/ParallelAccessExtension.h"
#include "zarnik/views/TilingInfoExtension.h"
#include "zarnik/views/ViewOriginExtension.h"

#include <fmt/format.h>

namespace zarnik {
namespace {

class FixedParallelAccess : public ParallelAccessExtension {
public:
  explicit FixedParallelAccess(ParallelAccessCapabilitySet capabilities) : capabilities_(capabilities) {}
  ParallelAccessCapabilitySet capabilities() const override { return capabilities_; }

private:
  ParallelAccessCapabilitySet capabilities_;
};

} // namespace

Extension::~Extension() = default;
TilingInfoExtension::~TilingInfoExtension() = default;
ParallelAccessExtension::~ParallelAccessExtension() = default;
ColumnUnitExtension::~ColumnUnitExtension() = default;

std::shared_ptr<TilingInfoExtension> TilingInfoExtension::cast(std::shared_ptr<Extension> extension) {
  return std::dynamic_pointer_cast<TilingInfoExtension>(extension);
}

std::shared_ptr<ColumnUnitExtension> ColumnUnitExtension::cast(std::shared_ptr<Extension> extension) {
  return std::dynamic_pointer_cast<ColumnUnitExtension>(extension);
}

std::shared_ptr<ParallelAccessExtension> ParallelAccessExtension::cast(std::shared_ptr<Extension> extension) {
  return std::dynamic_pointer_cast<ParallelAccessExtension>(extension);
}

std::shared_ptr<ParallelAccessExtension> ParallelAccessExtension::create(ParallelAccessCapabilitySet capabilities) {
  return std::make_shared<FixedParallelAccess>(capabilities);
}

bool ParallelAccessExtension::support(ParallelAccessCapabilitySet capabilities) const {
  return this->capabilities().has(capabilities);
}

std::string ParallelAccessExtension::toString() const {
  return fmt::format("ParallelAccessExtension({})", flagNames(capabilities()));
}

std::shared_ptr<TilingInfoExtension> ExtensionProvider::toTilingInfo(std::shared_ptr<Extension> extension) {
  return TilingInfoExtension::cast(std::move(extension));
}

std::shared_ptr<ParallelAccessExtension> ExtensionProvider::toParallelAccess(std::shared_ptr<Extension> extension) {
  return ParallelAccessExtension::cast(std::move(extension));
}

std::shared_ptr<ViewOriginExtension> ExtensionProvider::toViewOrigin(std::shared_ptr<Extension> extension) {
  return ViewOriginExtension::cast(std::move(extension));
}

} // namespace zarnik
