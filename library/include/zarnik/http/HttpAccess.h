#pragma once

#include "zarnik/access/HTTPHeaders.h"
#include "zarnik/access/RandomAccess.h"
#include "zarnik/access/StreamAccess.h"
#include "zarnik/access/Uri.h"
#include "zarnik/http/HttpOptions.h"

#include <memory>
#include <string>

namespace zarnik {

/// Opens a resource for reading at any offset, by requests for ranges of bytes, the first of which is made here: it
/// tells the size and that the server can do it.
/// \param method as a rule GET
/// \throws InvalidArgument if URI, method or headers cannot be used
/// \throws Error if the resource cannot be had, or not in ranges; the message has the URI without its credentials
ZARNIK_API std::shared_ptr<RandomAccess> openHttpRead(Uri const & uri, std::string const & method,
                                                      HTTPHeaders const & headers, HttpOptions const & options);

/// Opens a resource for writing: one request, whose body is what is written, sent as it comes. The connection is made
/// here.
/// \param method as a rule POST or PUT
/// \throws InvalidArgument if URI, method or headers cannot be used
/// \throws Error if the server cannot be reached
ZARNIK_API std::shared_ptr<StreamAccess> openHttpWrite(Uri const & uri, std::string const & method,
                                                       HTTPHeaders const & headers, HttpOptions const & options);

/// The same with the default options.
ZARNIK_API std::shared_ptr<RandomAccess> openHttpRead(Uri const & uri, std::string const & method,
                                                      HTTPHeaders const & headers);
ZARNIK_API std::shared_ptr<StreamAccess> openHttpWrite(Uri const & uri, std::string const & method,
                                                       HTTPHeaders const & headers);

} // namespace zarnik
