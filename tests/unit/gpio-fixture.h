#pragma once

/// What the tests of GPIO ports share.

#include "backends/libugpio-backend.h"
#include "fakes/fake-ugpio.h"
#include "fakes/recorder.h"
#include "ioport/port-seam.h"
#include "ioport/port-state.h"
#include "log-capture.h"

#include <gmock/gmock.h>

/// A port on the backend, and the log. Its lines have the numbers 1, for the
/// input, 2, for the output, and 3, for what switches between both.
class GpioTest : public testing::Test
{
protected:
	GpioTest()
	{
		fake_ugpio::reset();
		recorder::reset();
		port_->name = "door";
		port_->number = 4;
		functions_ = io_port_set_backend(port_.get(), BACKEND_GPIO);
	}
	GpioPortData *data()
	{
		return static_cast<GpioPortData *>(port_->backend_data);
	}
	void parse(const char *group, const char *key, const char *value)
	{
		io_port_parse_backend_data(port_.get(), group, key, value);
	}
	/// Gives the port all the lines that its type needs.
	void configure(IOPortType type)
	{
		port_->type = type;
		if (type != PORT_OUTPUT)
			parse("input", "pin", "1");
		if (type != PORT_INPUT)
			parse("output", "pin", "2");
		if (type == PORT_IO_CTRL)
			parse("io_ctrl", "pin", "3");
	}
	void configure_and_set_up(IOPortType type)
	{
		configure(type);
		ASSERT_TRUE(io_port_setup(port_.get()));
		recorder::reset();
	}
	/// The recorded calls; forgets them.
	std::vector<std::string> calls()
	{
		auto taken = recorder::calls();
		recorder::reset();
		return taken;
	}

	LogCapture log_;
	PortRef port_ = PortRef::adopt(io_port_new());
	const IOPortFunctions *functions_;
};
