#pragma once

#include "zarnik/core/Error.h"

#include <gtest/gtest.h>

#include <exception>
#include <string>

namespace zarnik::test {

/// Lets one allocation of this thread by `new` fail, until the object goes.
class FailingAllocation {
public:
  /// \param number Which one from now on, 1 being the next.
  explicit FailingAllocation(int number);
  ~FailingAllocation();
  FailingAllocation(FailingAllocation const &) = delete;
  FailingAllocation & operator=(FailingAllocation const &) = delete;

  /// Whether as many allocations were asked for.
  bool happened() const;
};

/// Runs an action on an object made anew each time, with each of its allocations failing in turn. It must end in an
/// error of the library, or do without the memory, and a failure must leave what `describe` tells of the object.
template <typename Make, typename Act, typename Describe>
void withEachAllocationFailing(std::string const & name, Make make, Act act, Describe describe) {
  SCOPED_TRACE(name);
  bool happened = true;
  for (int number = 1; happened && number < 10000; ++number) {
    auto object = make();
    auto const before = describe(object);
    bool failed = true;
    std::string escaped;
    try {
      FailingAllocation const failing(number);
      try {
        act(object);
        failed = false;
      } catch (Error const &) {
        // as it is meant to be
      } catch (std::exception const & error) {
        escaped = error.what();
      }
      happened = failing.happened();
    } catch (...) {
      escaped = "?";
    }
    ASSERT_EQ(escaped, "") << "at allocation " << number;
    if (failed) {
      ASSERT_EQ(describe(object), before) << "at allocation " << number;
      ASSERT_TRUE(happened) << "it fails with memory, too";
    }
  }
}

template <typename Act> void withEachAllocationFailing(std::string const & name, Act act) {
  withEachAllocationFailing(
      name, [] { return 0; }, [&](int) { act(); }, [](int) { return 0; });
}

} // namespace zarnik::test
