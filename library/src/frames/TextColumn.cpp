#include "frames/TextColumn.h"

#include "core/Utf8.h"
#include "zarnik/core/Error.h"
#include "zarnik/values/Checked.h"

#include <algorithm>
#include <fmt/format.h>
#include <new>
#include <stdexcept>

namespace zarnik {

TextColumn::TextColumn(uint64_t rowCount) : Column(DataTypeId::UTF8_STRING), cells_(rowCount, sizeof(Cell)) {}

ColumnMemory TextColumn::memory() { return {}; }

void TextColumn::read(uint64_t offset, uint64_t count, void * destination) const {
  auto * const texts = static_cast<std::string *>(destination);
  auto const * const cell = cells(offset);
  for (uint64_t i = 0; i < count; ++i)
    texts[i] = text(cell[i]);
}

void TextColumn::reserve(uint64_t more) {
  auto const needed = checkedAdd(bytes_.size(), more, "bytes of a text column");
  if (needed <= bytes_.capacity())
    return;
  try {
    bytes_.reserve(std::max<uint64_t>(needed, bytes_.capacity() + bytes_.capacity() / 2));
  } catch (std::exception const &) { // bad_alloc and length_error
    throw Error(fmt::format("cannot allocate {} bytes for a text column of a table", needed));
  }
}

void TextColumn::forget(uint64_t offset, uint64_t count) noexcept {
  // Without any text there is nothing to look at, in memory that nobody has touched yet.
  if (bytes_.empty())
    return;
  auto const * const cell = cells(offset);
  for (uint64_t i = 0; i < count; ++i)
    unused_ += cell[i].length;
}

// Neighbours are copied together.
std::string TextColumn::gather(uint64_t offset, uint64_t count) const {
  auto const * const cell = cells(offset);
  uint64_t size = 0;
  for (uint64_t i = 0; i < count; ++i)
    size += cell[i].length;
  std::string gathered;
  gathered.reserve(size);
  Cell run{0, 0};
  for (uint64_t i = 0; i < count; ++i) {
    if (cell[i].length == 0)
      continue;
    if (cell[i].begin != run.begin + run.length) {
      gathered.append(text(run));
      run = {cell[i].begin, 0};
    }
    run.length += cell[i].length;
  }
  return gathered.append(text(run));
}

void TextColumn::dropUnused() {
  constexpr uint64_t worthwhile = 4096;
  if (unused_ < worthwhile || unused_ < bytes_.size() / 2)
    return;
  try {
    auto kept = gather(0, cells_.rowCount());
    auto * const cell = reinterpret_cast<Cell *>(cells_.changeable(0));
    uint64_t position = 0;
    for (uint64_t i = 0; i < cells_.rowCount(); ++i) {
      cell[i].begin = cell[i].length == 0 ? 0 : position;
      position += cell[i].length;
    }
    bytes_ = std::move(kept);
    unused_ = 0;
  } catch (std::bad_alloc const &) {
    // What is not used stays for now.
  }
}

void TextColumn::write(uint64_t offset, uint64_t count, void const * source) {
  auto const * const texts = static_cast<std::string const *>(source);
  uint64_t size = 0;
  for (uint64_t i = 0; i < count; ++i) {
    if (!isUtf8(texts[i]))
      throw InvalidArgument(fmt::format("text {} of {} to write is not UTF-8", i, count));
    size = checkedAdd(size, texts[i].size(), "bytes of a text column");
  }
  reserve(size);
  forget(offset, count);
  auto * const cell = reinterpret_cast<Cell *>(cells_.changeable(offset));
  for (uint64_t i = 0; i < count; ++i) {
    cell[i] = texts[i].empty() ? Cell{0, 0} : Cell{bytes_.size(), texts[i].size()};
    bytes_.append(texts[i]);
  }
  dropUnused();
}

TextCells TextColumn::readText(uint64_t offset, uint64_t count) const {
  try {
    TextCells texts;
    texts.offsets.resize(count + 1);
    auto const * const cell = cells(offset);
    for (uint64_t i = 0; i < count; ++i)
      texts.offsets[i + 1] = texts.offsets[i] + cell[i].length;
    texts.bytes = gather(offset, count);
    return texts;
  } catch (std::exception const &) { // bad_alloc and length_error
    throw Error(fmt::format("cannot allocate memory for {} texts of a table", count));
  }
}

void TextColumn::writeText(uint64_t offset, uint64_t count, uint64_t const * offsets, char const * bytes) {
  for (uint64_t i = 0; i < count; ++i) {
    if (offsets[i + 1] < offsets[i])
      throw InvalidArgument(fmt::format("offset {} of text {} is below the offset {} of the text before it",
                                        offsets[i + 1], i + 1, offsets[i]));
  }
  std::string_view const all{bytes + offsets[0], offsets[count] - offsets[0]};
  if (!isUtf8(all))
    throw InvalidArgument("the texts to write are not UTF-8");
  for (uint64_t i = 0; i < count; ++i)
    if (offsets[i] != offsets[count] && isUtf8Continuation(bytes[offsets[i]]))
      throw InvalidArgument(fmt::format("text {} of {} to write is not UTF-8", i, count));
  reserve(all.size());
  forget(offset, count);
  auto const begin = bytes_.size();
  bytes_.append(all);
  auto * const cell = reinterpret_cast<Cell *>(cells_.changeable(offset));
  for (uint64_t i = 0; i < count; ++i) {
    auto const length = offsets[i + 1] - offsets[i];
    cell[i] = length == 0 ? Cell{0, 0} : Cell{begin + (offsets[i] - offsets[0]), length};
  }
  dropUnused();
}

void TextColumn::prepare(uint64_t rowCount, bool movesRows) { cells_.prepare(rowCount, movesRows); }

void TextColumn::insert(uint64_t offset, uint64_t count) noexcept { cells_.insert(offset, count); }

void TextColumn::remove(uint64_t offset, uint64_t count) noexcept {
  forget(offset, count);
  cells_.remove(offset, count);
  dropUnused();
}

} // namespace zarnik
