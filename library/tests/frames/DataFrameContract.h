#pragma once

#include "core/Support.h"
#include "zarnik/frames/DataFrameView.h"

#include <functional>
#include <gtest/gtest.h>
#include <string>
#include <variant>
#include <vector>

namespace zarnik::test {

using Numbers = std::vector<int32_t>;
using Texts = std::vector<std::string>;

/// A column as it shall be.
struct ExpectedColumn {
  std::string name;
  std::string unit;
  std::variant<Numbers, Texts> cells;
};

/// One implementation of DataFrameView. To hold a new one to the contract, instantiate the suite with it.
struct DataFrameImplementation {
  std::string name;
  DataFrameCapabilitySet capabilities;
  /// Makes a table of these columns, which have cells.
  std::function<std::shared_ptr<DataFrameView>(std::vector<ExpectedColumn> const &)> make;
};

/// What every DataFrameView does, whatever stands behind it; the tests are in DataFrameContract.cpp.
class DataFrameContract : public testing::TestWithParam<DataFrameImplementation> {
protected:
  bool offers(DataFrameCapability capability) const { return GetParam().capabilities.has(capability); }
};

/// Compares all that a table tells with what it shall be.
void expectTable(DataFrameView const & frame, std::vector<ExpectedColumn> const & columns, uint64_t rowCount);

} // namespace zarnik::test
