#pragma once

#include "zarnik/access/DataAccess.h"

#include <type_traits>
#include <typeinfo>
#include <utility>

namespace zarnik {

/// The accessor as the class that it is an object of, null if it is one of another class. Much faster than a
/// dynamic_cast, which counts in small reads.
template <typename Class> Class const * exactly(DataAccess const & access) {
  static_assert(std::is_final_v<Class>);
  return typeid(access) == typeid(Class) ? static_cast<Class const *>(&access) : nullptr;
}

template <typename Class> Class * exactly(DataAccess & access) {
  return const_cast<Class *>(exactly<Class>(std::as_const(access)));
}

/// What an accessor is over in the end, when it is a region, or a cursor, or both, of the library's own; else itself.
DataAccess const & innermost(DataAccess const & access);

} // namespace zarnik
