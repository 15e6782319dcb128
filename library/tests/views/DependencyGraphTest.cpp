#include "zarnik/views/DependencyGraph.h"

#include "zarnik/core/Error.h"
#include "zarnik/views/View.h"
#include "zarnik/views/ViewOriginExtension.h"

#include <gtest/gtest.h>
#include <vector>

namespace zarnik::test {
namespace {

using enum CommonAncestorStatus;
using Views = std::vector<std::shared_ptr<View>>;

/// A view that is nothing but its origin, if it tells that.
class BareView : public View {
public:
  explicit BareView(std::shared_ptr<Extension> origin) : origin_(std::move(origin)) {}
  std::shared_ptr<Extension> extension(size_t id) const override {
    return id == ViewOriginExtension::EXTENSION_ID ? origin_ : nullptr;
  }

private:
  std::shared_ptr<Extension> origin_;
};

std::shared_ptr<View> source() {
  return std::make_shared<BareView>(ViewOriginExtension::create(ViewDataOrigin::CPU_MEMORY, "source"));
}

std::shared_ptr<View> derived(Views const & parents) {
  return std::make_shared<BareView>(ViewOriginExtension::derive("derived", parents));
}

TEST(DependencyGraph, TellsWhetherAnAncestorIsShared) {
  auto const a = source();
  auto const b = source();
  auto const ofA = derived({a});
  auto const ofB = derived({b});
  auto const ofBoth = derived({ofA, ofB});
  auto const expect = [](auto const & left, auto const & right, CommonAncestorStatus status) {
    EXPECT_EQ(DependencyGraph::hasCommonAncestor(left, right), status);
    EXPECT_EQ(DependencyGraph::hasCommonAncestor(right, left), status);
  };
  expect(ofA, ofB, SHARE_NO_ANCESTOR);
  expect(derived({a}), ofA, SHARE_ANCESTOR);
  expect(ofBoth, b, SHARE_ANCESTOR);
  // A common ancestor that is found is one, whatever else is not told.
  auto const unknown = std::make_shared<BareView>(nullptr);
  expect(unknown, a, UNDETERMINED);
  expect(derived({unknown}), ofA, UNDETERMINED);
  expect(derived({unknown, a}), ofA, SHARE_ANCESTOR);
  EXPECT_THROW(DependencyGraph::hasCommonAncestor(nullptr, a), InvalidArgument);
  EXPECT_THROW(DependencyGraph::hasCommonAncestor(a, nullptr), InvalidArgument);
}

// Neither recursion, here and when it is destroyed, nor one visit for each way to an ancestor.
TEST(DependencyGraph, GoesThroughDeepChainsAndDiamonds) {
  auto const root = source();
  auto chain = root;
  for (int i = 0; i < 100'000; ++i)
    chain = derived({chain});
  EXPECT_EQ(DependencyGraph::hasCommonAncestor(chain, root), SHARE_ANCESTOR);
  EXPECT_EQ(DependencyGraph::hasCommonAncestor(chain, source()), SHARE_NO_ANCESTOR);
  auto diamond = root;
  for (int i = 0; i < 10'000; ++i)
    diamond = derived({diamond, derived({diamond}), diamond});
  EXPECT_EQ(DependencyGraph::hasCommonAncestor(source(), diamond), SHARE_NO_ANCESTOR);
}

} // namespace
} // namespace zarnik::test
