#pragma once

/// Backend "null": a port that always reads 0 and forgets every write. It has
/// no private record. Its table call is null_setup_functions().

#include "ioport/port-seam.h"
