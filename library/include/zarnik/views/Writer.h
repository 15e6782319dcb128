#pragma once

#include "zarnik/core/Export.h"

#include <cstdint>
#include <memory>
#include <string>

#ifndef SWIG
#include <functional>
#endif

namespace zarnik {

#ifndef SWIG
class VariantDataValue;
#endif

/// Writes a view to its destination, at once or in three phases: header, data block by block, footer.
///
/// The order of the phases is checked: an operation out of order raises Error and changes nothing.
class ZARNIK_API Writer {
public:
#ifndef SWIG
  /// Told after each block how many of them are written; false stops the writing for now.
  using Progress = std::function<bool(uint64_t blocksWritten, uint64_t blockCount)>;

  Writer(Writer const & other) = delete;
  Writer & operator=(Writer const & other) = delete;
#endif

  /// Destroy the writer.
  virtual ~Writer();

  /// Output all the data.
  ///
  /// Does what the three phases do one after the other.
  /// \throws Error if a phase has been begun already, the writing fails, or was stopped on the way.
  void writeAll();

  /// Initialize file and output only the header
  ///
  /// \throws Error if the writing has been begun already, or fails; it can then be tried again.
  void writeInit();

  /// Should be called between writeInit() and writeFinish().
  ///
  /// Writes the data that is not written yet. After a failure or an interruption another call goes on with the next
  /// block.
  /// \throws Error if the header is not written, the file is finished, or the writing fails.
  void writeData();

  /// Write footer (if any) and finalize file. Should be called after writeData().
  ///
  /// \throws Error if data is missing, or the writing fails.
  void writeFinish();

  /// Return the name of the writer.
  /// \return The name of the format, for people.
  virtual std::string name() const = 0;

  /// Return the version of the writer.
  /// \return Numbers joined by dots.
  virtual std::string version() const = 0;

  /// Set an option of the writer, before the writing begins.
  ///
  /// \param parameter The name of the option.
  /// \param data The value, made with VariantDataValueFactory.
  /// \throws Error if parameter is not known or given data is not valid, or the writing has begun.
  void setOption(std::string const & parameter, std::shared_ptr<VariantDataValue> data);

  /// Return a string representation
  /// \return Name, version and how far the writing has come, in one line.
  std::string toString() const;

#ifndef SWIG
  /// Sets what is told about the progress of writeData() and writeAll(), empty for nobody.
  void setProgress(Progress progress);

  /// Whether the header is written.
  bool hasBegun() const { return phase_ != Phase::NEW; }

  /// Whether the file is complete.
  bool isFinished() const { return phase_ == Phase::FINISHED; }

protected:
  Writer() = default;

  /// The header. What fails leaves the destination so that it can be called again.
  virtual void begin() = 0;
  /// How many blocks of data there are, once begin() was called.
  virtual uint64_t blockCount() const = 0;
  /// One block; they come in their order, one that failed comes again.
  virtual void writeBlock(uint64_t index) = 0;
  /// The footer.
  virtual void finish() = 0;
  /// \throws Error if the parameter is not known or the data, which is not null, does not fit
  virtual void changeOption(std::string const & parameter, VariantDataValue const & data) = 0;

private:
  enum class Phase { NEW, BEGUN, FINISHED };

  void requirePhase(Phase phase, char const * operation) const;

  Phase phase_ = Phase::NEW;
  uint64_t blocksWritten_ = 0;
  Progress progress_;
#endif
};

} // namespace zarnik
