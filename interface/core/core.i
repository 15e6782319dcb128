%exceptionclass zarnik::Error;
%exceptionclass zarnik::InvalidArgument;
%exceptionclass zarnik::NotImplemented;
// Whoever catches Python's own errors of these kinds catches them, too.
%feature("python:abc", "ValueError") zarnik::InvalidArgument;
%feature("python:abc", "NotImplementedError") zarnik::NotImplemented;
// std::exception is no class of the module.
%warnfilter(401) zarnik::Error;
%rename(__str__) zarnik::Error::what;
%ignore zarnik::InvalidArgument::what;
%ignore zarnik::NotImplemented::what;

%header %{
#include "zarnik/core/Error.h"
#include "zarnik/core/Logger.h"
#include "zarnik/core/Versioning.h"
#include "module/Version.h"
%}

%include "zarnik/core/Logger.h"

// The versions that the module was built for, as against the loaded library's.
%immutable;
namespace zarnik {
struct VersionInfo;
extern VersionInfo ZARNIK_VERSION;
extern char const *ZARNIK_VERSION_STRING;
}
%mutable;

%include "zarnik/core/Versioning.h"
%include "zarnik/core/Error.h"
