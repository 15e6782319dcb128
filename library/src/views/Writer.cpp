#include "zarnik/views/Writer.h"

#include "core/Guarded.h"
#include "zarnik/core/Error.h"
#include "zarnik/metadata/VariantDataValue.h"

#include <fmt/format.h>

namespace zarnik {

Writer::~Writer() = default;

void Writer::requirePhase(Phase phase, char const * operation) const {
  if (phase_ == phase)
    return;
  constexpr char const * states[] = {"has not begun", "has begun", "is finished"};
  throw Error(message("{} is out of order: the writing {}", operation, states[static_cast<size_t>(phase_)]));
}

void Writer::writeAll() {
  requirePhase(Phase::NEW, "to write all");
  writeInit();
  writeData();
  if (blocksWritten_ != blockCount())
    throw Error(message("the writing was stopped after {} of {} blocks", blocksWritten_, blockCount()));
  writeFinish();
}

void Writer::writeInit() {
  requirePhase(Phase::NEW, "to write the header");
  guarded([&] { begin(); });
  phase_ = Phase::BEGUN;
}

void Writer::writeData() {
  requirePhase(Phase::BEGUN, "to write the data");
  for (auto const count = blockCount(); blocksWritten_ < count;) {
    guarded([&] { writeBlock(blocksWritten_); });
    ++blocksWritten_;
    if (progress_ && !progress_(blocksWritten_, count))
      return;
  }
}

void Writer::writeFinish() {
  requirePhase(Phase::BEGUN, "to finish");
  if (blocksWritten_ != blockCount())
    throw Error(message("data is missing, {} of {} blocks are written", blocksWritten_, blockCount()));
  guarded([&] { finish(); });
  phase_ = Phase::FINISHED;
}

void Writer::setOption(std::string const & parameter, std::shared_ptr<VariantDataValue> data) {
  requirePhase(Phase::NEW, "to set an option");
  if (!data)
    throw InvalidArgument(message("there is no value for the option \"{}\"", parameter));
  guarded([&] { changeOption(parameter, *data); });
}

void Writer::setProgress(Progress progress) { progress_ = std::move(progress); }

std::string Writer::toString() const {
  return guarded([&] {
    auto const progress = phase_ == Phase::NEW        ? std::string("not begun")
                          : phase_ == Phase::FINISHED ? std::string("finished")
                                                      : fmt::format("{} of {} blocks", blocksWritten_, blockCount());
    return fmt::format("Writer({} {}, {})", name(), version(), progress);
  });
}

} // namespace zarnik
