#include "zarnik/views/DependencyGraph.h"

#include "zarnik/core/Error.h"
#include "zarnik/core/UidGenerator.h"
#include "zarnik/views/View.h"
#include "zarnik/views/ViewOriginExtension.h"

#include <new>
#include <unordered_set>
#include <vector>

namespace zarnik {
namespace {

using Origin = std::shared_ptr<ViewOriginExtension>;

/// Visits the ancestors of a view, itself among them, until one is found to stop at.
class Ancestry {
public:
  /// \param stop  called with the identifier of each ancestor once; true ends the search
  /// \return whether the search was ended
  template <typename Stop> bool search(Origin const & origin, Stop stop) {
    std::vector<Origin> pending{origin};
    while (!pending.empty()) {
      auto const next = std::move(pending.back());
      pending.pop_back();
      if (!next || next->uid() == UidGenerator::UNDEFINED_UID) {
        isComplete_ = false;
        continue;
      }
      if (!uids_.insert(next->uid()).second)
        continue;
      if (stop(next->uid()))
        return true;
      for (size_t i = 0; i < next->parentCount(); ++i)
        pending.push_back(next->parent(i));
    }
    return false;
  }

  bool has(uint64_t uid) const { return uids_.contains(uid); }
  bool isComplete() const { return isComplete_; }

private:
  std::unordered_set<uint64_t> uids_;
  bool isComplete_ = true;
};

} // namespace

CommonAncestorStatus DependencyGraph::hasCommonAncestor(std::shared_ptr<View> view1, std::shared_ptr<View> view2) {
  if (!view1 || !view2)
    throw InvalidArgument("there is no view whose ancestors could be looked for");
  if (view1 == view2)
    return CommonAncestorStatus::SHARE_ANCESTOR;
  try {
    Ancestry first;
    Ancestry second;
    first.search(view1->viewOrigin(), [](uint64_t) { return false; });
    if (second.search(view2->viewOrigin(), [&first](uint64_t uid) { return first.has(uid); }))
      return CommonAncestorStatus::SHARE_ANCESTOR;
    return first.isComplete() && second.isComplete() ? CommonAncestorStatus::SHARE_NO_ANCESTOR
                                                     : CommonAncestorStatus::UNDETERMINED;
  } catch (std::bad_alloc const &) {
    throw Error("not enough memory for the ancestors of a view");
  }
}

} // namespace zarnik
