#pragma once

/// The texts of the two files for the older configuration system. Nothing here
/// uses the bus, the port list or files.

#include "ioport/ioport.h"

#include <string>
#include <vector>

/// What the files say of a port.
struct LegacyPort {
	int number;
	IOPortType type;
};

/// Which objects and interfaces there are: the ports' in their order, all
/// interfaces on each, or object 0 alone when there is no port.
std::string service_registry_text(const std::vector<LegacyPort> &ports);

/// Which parameter of the older system each property is. The global ones come
/// first, then what every port has, then what the inputs have, then what the
/// outputs have; configurable ports are both.
std::string legacy_mapping_text(const std::vector<LegacyPort> &ports);
