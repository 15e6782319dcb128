#pragma once

#include "core/Support.h"
#include "zarnik/access/RandomAccess.h"

#include <filesystem>
#include <gtest/gtest.h>
#include <memory>

namespace zarnik::test {

/// A new folder for the running test; removed when the test process ends.
std::filesystem::path scratchFolder();

/// Writes a file into the scratch folder and returns its path.
std::string scratchFile(Bytes const & content);

/// All bytes of an accessor.
Bytes readAll(RandomAccess & access);

} // namespace zarnik::test
