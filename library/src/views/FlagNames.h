#pragma once

#include "zarnik/views/ImageCapability.h"
#include "zarnik/views/MultiImageCapability.h"
#include "zarnik/views/ParallelAccessCapability.h"

#include <string>

namespace zarnik {

/// The flags by name, such as "READ | WRITE"; "none" for no flags. Bits without a name stand in hexadecimal.
std::string flagNames(ImageCapabilitySet capabilities);
std::string flagNames(MultiImageCapabilitySet capabilities);
std::string flagNames(ParallelAccessCapabilitySet capabilities);

} // namespace zarnik
