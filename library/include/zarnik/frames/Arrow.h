#pragma once

#include "zarnik/core/Export.h"

#include <cstdint>
#include <memory>

// The Arrow C data and stream interfaces. Their layout is fixed for good, so every program declares them itself; the
// guards let several such declarations meet in one source file.

// NOLINTBEGIN(readability-identifier-naming)
#ifndef ARROW_C_DATA_INTERFACE
#define ARROW_C_DATA_INTERFACE

#define ARROW_FLAG_DICTIONARY_ORDERED 1
#define ARROW_FLAG_NULLABLE 2
#define ARROW_FLAG_MAP_KEYS_SORTED 4

struct ArrowSchema {
  char const * format;
  char const * name;
  char const * metadata;
  int64_t flags;
  int64_t n_children;
  struct ArrowSchema ** children;
  struct ArrowSchema * dictionary;
  void (*release)(struct ArrowSchema *);
  void * private_data;
};

struct ArrowArray {
  int64_t length;
  int64_t null_count;
  int64_t offset;
  int64_t n_buffers;
  int64_t n_children;
  void const ** buffers;
  struct ArrowArray ** children;
  struct ArrowArray * dictionary;
  void (*release)(struct ArrowArray *);
  void * private_data;
};

#endif

#ifndef ARROW_C_STREAM_INTERFACE
#define ARROW_C_STREAM_INTERFACE

struct ArrowArrayStream {
  int (*get_schema)(struct ArrowArrayStream *, struct ArrowSchema * out);
  int (*get_next)(struct ArrowArrayStream *, struct ArrowArray * out);
  char const * (*get_last_error)(struct ArrowArrayStream *);
  void (*release)(struct ArrowArrayStream *);
  void * private_data;
};

#endif
// NOLINTEND(readability-identifier-naming)

namespace zarnik {

class DataFrameView;

/// Tables from and to other libraries, by the Arrow C data interface.
///
/// A table is a struct array, its columns the fields. Numbers are passed without a copy where the table has memory to
/// share: a later change of the table's cells then shows on the other side too. Texts are copied. The unit of a column
/// is the entry "unit" of its field's metadata.
class ZARNIK_API ArrowInterface {
public:
  /// Describes the columns of a table.
  /// \param schema  receives the description, to be released by its receiver
  /// \throws InvalidArgument if a column has no type or no name in Arrow
  /// \throws Error if there is not enough memory
  static void exportSchema(DataFrameView const & frame, ArrowSchema * schema);

  /// Offers a table as a stream of one batch: the rows as they are now.
  /// \param stream  receives the stream, to be released by its receiver; it may outlive the table
  /// \throws InvalidArgument if a column has no type or no name in Arrow
  /// \throws Error if there is not enough memory, or the table cannot be read
  static void exportStream(std::shared_ptr<DataFrameView> frame, ArrowArrayStream * stream);

  /// Makes a table of all batches of a stream. The numbers of a single batch stay where they are, and are kept.
  /// \param stream  is read to its end; its owner releases it
  /// \throws InvalidArgument if a column has a type that a table cannot hold, or nulls; all of it is told by name
  /// \throws Error if the stream fails, or there is not enough memory
  static std::shared_ptr<DataFrameView> importStream(ArrowArrayStream * stream);
};

} // namespace zarnik
