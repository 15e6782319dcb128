#pragma once

#include "zarnik/core/Export.h"

#include <cstddef>

namespace zarnik {

/// Limits of an access over HTTP. Times are in seconds, sizes in bytes.
struct HttpOptions {
  // ---- reading: what is kept and what is asked for
  /// Bytes of the resource kept in memory for one accessor, shared by its readers. 0 keeps nothing.
  size_t cacheBytes = size_t{64} << 20;
  /// Bytes of a block, the unit of the cache and the least that is asked for; 512 to 64 MiB.
  size_t blockBytes = size_t{64} << 10;
  /// Blocks that nobody wants are received nevertheless when they are at most this many bytes between wanted ones,
  /// since another request would cost more.
  size_t gapBytes = size_t{256} << 10;
  /// The most that one request for blocks asks for; longer parts are asked for by several requests at a time.
  size_t requestBytes = size_t{8} << 20;
  /// Ranges that one request asks for when many small parts are read at once, far from each other: what lies between
  /// them is not received then, and the parts are not kept. Servers that do not answer such requests are found out and
  /// asked for blocks. 1 to 1000; 1 never asks for several.
  unsigned rangesPerRequest = 256;
  /// The most that is read ahead of a reader that goes through the resource in order. 0 reads nothing ahead. Who has
  /// read more than a quarter of the cache in order, or a sixteenth of it where the resource is larger than the cache,
  /// gets the rest over HTTP/1 by one request, which stays open between reads.
  size_t readAheadBytes = size_t{16} << 20;
  /// Requests of one accessor that are under way at a time over HTTP/1; 1 to 256.
  unsigned parallelRequests = 8;
  /// Requests of one accessor that are under way at a time where the server offers HTTP/2, which carries them all over
  /// one connection; 1 to 256.
  unsigned parallelStreams = 64;

  // ---- patience
  /// Redirects followed for one request. They must lead to http or https, and from https to https.
  unsigned redirects = 10;
  /// The longest time to connect, the TLS handshake included.
  double connectSeconds = 10;
  /// The longest silence of a server, on an established connection, before the request counts as failed.
  double stallSeconds = 30;
  /// The longest time of one request to read, however steadily its bytes trickle in.
  double requestSeconds = 600;
  /// The longest time to wait for the answer when everything is written.
  double answerSeconds = 60;

  // ---- faults that pass: status 5xx and 429, connections that break, answers that end early, silence
  /// How many times a request to read is tried again. A server that could not be reached at all when the accessor is
  /// opened is not tried again. Nothing written is ever sent twice.
  unsigned retries = 4;
  /// The time from the first fault of a request after which it is not tried again. A server that asks, with
  /// Retry-After, for a longer pause is not waited for.
  double retrySeconds = 60;
  /// The pause before the first repetition, doubled before each further one; up to half of it is added at random.
  double backOffSeconds = 0.2;
};

/// Return the options of accessors that are opened without own ones.
ZARNIK_API HttpOptions defaultHttpOptions();

/// Set the options of accessors that will be opened without own ones, in the whole process.
/// \throws InvalidArgument if an option is out of its range, and changes nothing
ZARNIK_API void setDefaultHttpOptions(HttpOptions const & options);

} // namespace zarnik
