#pragma once

#include <cstdint>

namespace zarnik {

/// A set of the flags of an enumeration whose enumerators are bit masks.
///
/// An enumerator may stand for several bits (READ_WRITE is READ and WRITE). Bits that no enumerator names are kept.
template <typename E> class FlagSet {
public:
  /// Create an empty set.
  FlagSet() = default;

  /// Create a set from its mask.
  /// \param value The mask, one bit a flag.
  explicit FlagSet(uint64_t value) : value_(value) {}

  /// Create a set that holds one flag.
  /// \param flag The flag.
  FlagSet(E flag) : value_(static_cast<uint64_t>(flag)) {}

  /// Copy a set.
  FlagSet(FlagSet<E> const & other) = default;

  /// Take over another set, which keeps its flags.
  FlagSet(FlagSet<E> && other) = default;

#ifndef SWIG
  FlagSet & operator=(FlagSet const & other) = default;
  FlagSet & operator=(FlagSet && other) = default;
#endif

  /// Return the mask of the set, one bit a flag.
  /// \return The mask; the constructor takes it back.
  uint64_t value() const { return value_; }

  /// Checks if every one of the given flags is in the set; true for no flags at all.
  /// \param flags The flags to look for.
  /// \return True when none of them is missing.
  bool has(FlagSet<E> flags) const { return (value_ & flags.value_) == flags.value_; }

  /// Put flags into the set.
  /// \param flags The flags to add.
  void add(FlagSet<E> flags) { value_ |= flags.value_; }

  /// Take flags out of the set.
  /// \param flags The flags to remove; those that are not in the set do not matter.
  void remove(FlagSet<E> flags) { value_ &= ~flags.value_; }

  /// Checks if both sets hold the same flags.
  /// \return True when they do.
  bool operator==(FlagSet<E> other) const { return value_ == other.value_; }

  /// Checks if a flag is in one of the sets only.
  /// \return True when there is one.
  bool operator!=(FlagSet<E> other) const { return value_ != other.value_; }

  /// Keep the flags that are in either set.
  /// \return The set itself.
  FlagSet<E> & operator|=(FlagSet<E> other) {
    value_ |= other.value_;
    return *this;
  }

  /// Keep the flags that are in both sets.
  /// \return The set itself.
  FlagSet<E> & operator&=(FlagSet<E> other) {
    value_ &= other.value_;
    return *this;
  }

  /// Keep the flags that are in one of the sets only.
  /// \return The set itself.
  FlagSet<E> & operator^=(FlagSet<E> other) {
    value_ ^= other.value_;
    return *this;
  }

  /// Return the flags that are in either set.
  /// \return A new set.
  FlagSet<E> operator|(FlagSet<E> other) const { return FlagSet<E>(value_ | other.value_); }

  /// Return the flags that are in both sets.
  /// \return A new set.
  FlagSet<E> operator&(FlagSet<E> other) const { return FlagSet<E>(value_ & other.value_); }

  /// Return the flags that are in one of the sets only.
  /// \return A new set.
  FlagSet<E> operator^(FlagSet<E> other) const { return FlagSet<E>(value_ ^ other.value_); }

#ifndef SWIG
  friend FlagSet operator|(E flag, FlagSet other) { return other | flag; }
  friend FlagSet operator&(E flag, FlagSet other) { return other & flag; }
  friend FlagSet operator^(E flag, FlagSet other) { return other ^ flag; }
#endif

private:
  uint64_t value_ = 0;
};

} // namespace zarnik

/// Gives an enumeration the operators that combine two of its flags to a set; belongs right behind the enumeration.
#define ZARNIK_FLAG_OPERATORS(Flag)                                                                                    \
  inline FlagSet<Flag> operator|(Flag left, Flag right) { return FlagSet<Flag>(left) | right; }                        \
  inline FlagSet<Flag> operator&(Flag left, Flag right) { return FlagSet<Flag>(left) & right; }                        \
  inline FlagSet<Flag> operator^(Flag left, Flag right) { return FlagSet<Flag>(left) ^ right; }
