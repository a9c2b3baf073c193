#pragma once

/// The private record that a backend keeps behind IOPort::backend_data. Main
/// thread, and no sequence may run on the port while its record comes or goes.

#include "ioport/ioport.h"

#include <memory>

namespace backend
{

/// The port's record, owned by the port; null when it has none.
template <typename Record> Record *data(const IOPort *port)
{
	return static_cast<Record *>(port->backend_data);
}

/// The port's record; a new one when it has none.
template <typename Record> Record *ensure_data(IOPort *port)
{
	if (port->backend_data == nullptr)
		port->backend_data = std::make_unique<Record>().release();
	return data<Record>(port);
}

/// Releases the port's record, if any.
template <typename Record> void free_data(IOPort *port)
{
	const std::unique_ptr<Record> record(data<Record>(port));
	port->backend_data = nullptr;
}

} // namespace backend
