#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>

namespace zarnik {

namespace platform {
class GrowingMemory;
}

/// Items of one size, one a row, in a single block of memory. New rows are 0.
///
/// Changes of the number of rows come in two steps, so that all columns of a table change or none: prepare() may fail
/// and shows no effect, the change itself does not fail.
class RowBuffer {
public:
  /// \throws Error if there is not enough memory
  RowBuffer(uint64_t rowCount, size_t itemBytes);

  /// Items that somebody else holds; they are copied before the first change.
  RowBuffer(uint64_t rowCount, size_t itemBytes, std::shared_ptr<void const> items);

  uint64_t rowCount() const { return rowCount_; }
  std::byte const * at(uint64_t row) const { return items_ + row * itemBytes_; }

  /// The items, to be changed.
  /// \throws Error if they had to be copied and there is not enough memory
  std::byte * changeable(uint64_t row);

  /// The items, shared with the caller. Null if there are none.
  std::shared_ptr<void> share() const;
  bool isBorrowed() const { return borrowed_ != nullptr; }

  /// Makes ready for another number of rows.
  /// \param movesRows whether rows that stay change their position; not under the eyes of those who share the items
  /// \throws Error if there is not enough memory
  void prepare(uint64_t rowCount, bool movesRows);

  /// Inserts rows of zeros, after prepare().
  void insert(uint64_t offset, uint64_t count) noexcept;

  /// Removes rows, after prepare().
  void remove(uint64_t offset, uint64_t count) noexcept;

private:
  bool isShared() const;
  void moveTo(uint64_t capacity);
  bool growInPlace(uint64_t capacity);

  size_t itemBytes_;
  uint64_t rowCount_;
  uint64_t capacity_;
  // Rows from here on are 0 already: memory fresh from the system is not touched before it is needed.
  uint64_t cleanFrom_;
  std::shared_ptr<platform::GrowingMemory> block_;
  std::shared_ptr<void const> borrowed_;
  std::byte const * items_;
};

} // namespace zarnik
