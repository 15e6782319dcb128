#pragma once

#include "zarnik/core/Export.h"
#include "zarnik/core/Progress.h"

#include <memory>

namespace zarnik {

class DataFrameView;
class StreamAccess;

/// Store a table as Serialization::encodeDataFrameView does, and tell how far it is.
///
/// \param frame The table, which must not be changed meanwhile.
/// \param stream The stream that the table is written to.
/// \param progress Told of cells, after each column or each part of a large one.
/// \throws InvalidArgument if there is no table or no stream, or the stream cannot be written
/// \throws NotImplemented if the table has not READ capacity
/// \throws Error if the writing fails or was cancelled; what the stream has then is not whole
ZARNIK_API void storeDataFrame(std::shared_ptr<DataFrameView> frame, std::shared_ptr<StreamAccess> stream,
                               Progress const & progress);

} // namespace zarnik
