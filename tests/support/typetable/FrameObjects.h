#pragma once

#include "zarnik/core/Error.h"
#include "zarnik/frames/DataFrameView.h"
#include "zarnik/metadata/VariantDataValue.h"
#include "zarnik/views/Writer.h"

#include <cstdint>
#include <cstring>
#include <memory>
#include <string>

namespace zarnik::testing {

/// A table of two rows and one column of any type. Its texts are no UTF-8, its numbers are 0; it counts what is
/// written.
class OddFrame : public DataFrameView {
public:
  OddFrame(uint64_t type, uint64_t capabilities) : type_(type), capabilities_(capabilities) {}

  int writes() const { return writes_; }

#ifndef SWIG
  DataFrameCapabilitySet capabilities() const override { return DataFrameCapabilitySet(capabilities_); }
  Vector2u64 shape() const override { return {1, 2}; }
  std::string columnName(size_t) const override { return "odd\xFF"; }
  size_t columnIndex(std::string const &) const override { return 0; }
  DataType columnDataType(size_t) const override { return type_; }
  std::string unit(size_t) const override { return ""; }
  void read(size_t, size_t, size_t count, void * destination) const override {
    if (type_ != DataTypeId::UTF8_STRING)
      std::memset(destination, 0, count * type_.byteCount());
    else
      for (size_t i = 0; i < count; ++i)
        static_cast<std::string *>(destination)[i] = "a\xFF";
  }
  void write(size_t column, size_t offset, size_t count, void const * source) override {
    if (capabilities().has(DataFrameCapability::WRITE))
      ++writes_;
    else
      DataFrameView::write(column, offset, count, source);
  }
#endif

private:
  DataType type_;
  uint64_t capabilities_;
  int writes_ = 0;
};

/// The address of a shared pointer on the heap, which whoever takes the address owns.
inline uint64_t frameAddress(std::shared_ptr<DataFrameView> frame) {
  return reinterpret_cast<uintptr_t>(new std::shared_ptr<DataFrameView>(std::move(frame)));
}

/// Writes two blocks into a string. Its one option, "end", is how the string ends.
class StringWriter : public Writer {
public:
  std::string written() const { return written_; }

#ifndef SWIG
  std::string name() const override { return "string"; }
  std::string version() const override { return "2.0"; }

protected:
  void begin() override { written_ += "<"; }
  uint64_t blockCount() const override { return 2; }
  void writeBlock(uint64_t index) override { written_ += std::to_string(index); }
  void finish() override { written_ += end_; }
  void changeOption(std::string const & parameter, VariantDataValue const & data) override {
    if (parameter != "end" || data.type() != DataTypeId::UTF8_STRING)
      throw InvalidArgument("no such option: " + parameter);
    end_ = *static_cast<char const * const *>(data.raw());
  }
#endif

private:
  std::string written_;
  std::string end_ = ">";
};

} // namespace zarnik::testing
