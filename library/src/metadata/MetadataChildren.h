#pragma once

#include <cstdint>
#include <memory>
#include <string>
#include <string_view>
#include <unordered_map>
#include <utility>
#include <vector>

namespace zarnik {

class MetadataNode;

/// Children of one node in the order in which they came, found by their key.
///
/// Every child has a number that grows with each addition and never changes, so a walk finds its place again
/// whatever was added, removed or tidied up meanwhile.
class MetadataChildren {
public:
  using Number = uint64_t;
  static constexpr Number NONE = ~Number{0};

  /// Children whose destruction neither recurses nor allocates, however deep the trees below them are.
  static std::shared_ptr<MetadataChildren> make();

  MetadataChildren() = default;
  MetadataChildren(MetadataChildren const &) = delete;
  MetadataChildren & operator=(MetadataChildren const &) = delete;
  ~MetadataChildren() = default;

  size_t count() const { return live_; }

  /// The child of this key, null if there is none.
  std::shared_ptr<MetadataNode> find(std::string_view key) const;

  /// Puts a child in the place of the one of the same key, else at the end. Returns the child replaced, or null.
  std::shared_ptr<MetadataNode> put(std::shared_ptr<MetadataNode> child);

  /// Takes a child out and returns it, or null if there is none of this key.
  std::shared_ptr<MetadataNode> remove(std::string_view key);

  /// The number of the first child, NONE if there is none.
  Number first() const;

  /// The number of the first child after the one of this number, which may be gone; NONE at the end.
  /// \param hint where to look first, updated to the result's place
  Number after(Number number, size_t & hint) const;

  /// The child of this number, null if it is gone.
  std::shared_ptr<MetadataNode> at(Number number, size_t hint) const;

  template <typename Visitor> void forEach(Visitor && visitor) const {
    for (auto const & slot : slots_)
      if (slot.node)
        visitor(slot.node);
  }

  template <typename Visitor> void forEachReversed(Visitor && visitor) const {
    for (auto slot = slots_.rbegin(); slot != slots_.rend(); ++slot)
      if (slot->node)
        visitor(slot->node);
  }

private:
  struct Slot {
    Number number;
    std::shared_ptr<MetadataNode> node; ///< null once the child was removed
  };

  static void destroy(MetadataChildren * children) noexcept;

  size_t slotOf(std::string_view key) const;
  size_t lowerBound(Number number, size_t hint) const;
  void buildIndex();
  void tidyUp();

  static constexpr size_t NO_SLOT = ~size_t{0};

  std::vector<Slot> slots_;                            ///< ascending numbers
  std::unordered_map<std::string_view, size_t> index_; ///< slots by key, empty while there are only a few
  size_t live_ = 0;                                    ///< slots that hold a child
  size_t head_ = 0;                                    ///< no slot before this one holds a child
  Number next_ = 0;
  MetadataChildren * awaiting_ = nullptr; ///< the next one to destroy, see destroy()
};

} // namespace zarnik
