#include "zarnik/views/Writer.h"

#include "core/Support.h"

#include <gmock/gmock.h>

namespace zarnik::test {
namespace {

using testing::HasSubstr;

/// Writes to a string; fails when it is told to.
class TextWriter : public Writer {
public:
  std::string name() const override { return "text"; }
  std::string version() const override { return "1.0"; }

  std::string written;
  bool fails = false;

protected:
  void begin() override { put("<"); }
  uint64_t blockCount() const override { return 3; }
  void writeBlock(uint64_t index) override { put(std::to_string(index)); }
  void finish() override { put(">"); }
  void changeOption(std::string const &, VariantDataValue const &) override {}

private:
  void put(std::string const & text) {
    if (fails)
      throw Error("disk full");
    written += text;
  }
};

TEST(Writer, GoesOnAfterAnInterruptionOrAFailure) {
  TextWriter writer;
  std::vector<uint64_t> told;
  writer.setProgress([&](uint64_t done, uint64_t count) {
    EXPECT_EQ(count, 3u);
    told.push_back(done);
    return false;
  });
  writer.fails = true;
  EXPECT_THAT(messageOf([&] { writer.writeInit(); }), HasSubstr("disk full"));
  writer.fails = false;
  writer.writeInit();
  writer.writeData();
  EXPECT_EQ(writer.written, "<0");
  EXPECT_THAT(writer.toString(), HasSubstr("1 of 3 blocks"));
  writer.fails = true;
  EXPECT_THAT(messageOf([&] { writer.writeData(); }), HasSubstr("disk full"));
  writer.fails = false;
  writer.setProgress({});
  writer.writeData();
  writer.writeFinish();
  EXPECT_EQ(writer.written, "<012>");
  EXPECT_EQ(told, std::vector<uint64_t>{1});

  TextWriter stopped;
  stopped.setProgress([](uint64_t done, uint64_t) { return done < 2; });
  EXPECT_THAT(messageOf([&] { stopped.writeAll(); }), HasSubstr("stopped after 2 of 3 blocks"));
}

} // namespace
} // namespace zarnik::test
