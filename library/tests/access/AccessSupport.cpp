#include "access/AccessSupport.h"

#include <fstream>
#include <unistd.h>

namespace zarnik::test {

std::filesystem::path scratchFolder() {
  struct Root {
    Root() : path(std::filesystem::temp_directory_path() / ("zarnik_access_" + std::to_string(::getpid()))) {
      std::filesystem::create_directory(path);
    }
    ~Root() {
      std::error_code ignored;
      std::filesystem::remove_all(path, ignored);
    }
    std::filesystem::path path;
  };
  static Root const root;
  static int count = 0;
  auto folder = root.path / std::to_string(++count);
  std::filesystem::create_directory(folder);
  return folder;
}

std::string scratchFile(Bytes const & content) {
  auto const path = (scratchFolder() / "some file").string();
  std::ofstream(path, std::ios::binary)
      .write(reinterpret_cast<char const *>(content.data()), static_cast<std::streamsize>(content.size()));
  return path;
}

Bytes readAll(RandomAccess & access) {
  Bytes content(access.size());
  EXPECT_EQ(access.read(0, content.data(), content.size()), content.size());
  return content;
}

} // namespace zarnik::test
