#pragma once

/// What the tests of the "spi" backend share.

#include "backends/spi-backend.h"
#include "fakes/fake-spi.h"
#include "fakes/fake-ugpio.h"
#include "fakes/recorder.h"
#include "ioport/io-errors.h"
#include "ioport/port-seam.h"
#include "ioport/port-settings.h"
#include "ioport/port-state.h"
#include "ioport/port-supervision.h"
#include "log-capture.h"
#include "temp-dir.h"

#include <gmock/gmock.h>

/// A port on the backend, its converter, and the log. Its lines have the
/// numbers 1, for the input, 2, for the output, 3, for the plain path, and the
/// name "sio", for the supervised path.
class SpiTest : public testing::Test
{
protected:
	SpiTest()
	{
		fake_ugpio::reset();
		fake_spi::reset();
		recorder::reset();
		write_file(path_, "");
		port_->name = "door";
		port_->number = 4;
		functions_ = io_port_set_backend(port_.get(), BACKEND_SPI);
	}
	SpiPortData *data()
	{
		return static_cast<SpiPortData *>(port_->backend_data);
	}
	void parse(const char *group, const char *key, const std::string &value)
	{
		io_port_parse_backend_data(port_.get(), group, key,
					   value.c_str());
	}
	void parse_range(const char *state, const char *lower,
			 const char *upper)
	{
		parse("range", "state", state);
		parse("range", "lower", lower);
		parse("range", "upper", upper);
	}
	/// Gives the port all that its type needs.
	void configure(IOPortType type)
	{
		port_->type = type;
		if (type != PORT_OUTPUT)
			parse("input", "pin", "1");
		if (type != PORT_INPUT)
			parse("output", "pin", "2");
		parse("io_ctrl", "pin", "3");
		parse("sio_ctrl", "alias", "sio");
		parse("device", "path", path_);
		parse("address", "value", "1f");
		parse_range("open", "0", "99");
		parse_range("closed", "100", "149");
		parse_range("short", "150", "199");
		parse_range("cut", "200", "255");
	}
	void set_up()
	{
		ASSERT_TRUE(io_port_setup(port_.get()));
		recorder::reset();
	}
	/// An input that is supervised and watched.
	void supervise()
	{
		configure(PORT_INPUT);
		port_->supervised = true;
		set_up();
		io_port_set_watch(port_.get());
	}
	/// Has the poll's next tick come now.
	void tick()
	{
		GSource *source = g_main_context_find_source_by_id(
			nullptr, data()->poll_id.id());
		ASSERT_NE(source, nullptr);
		g_source_set_ready_time(source, 0);
		g_main_context_iteration(nullptr, FALSE);
	}
	void tick_with(guint8 level)
	{
		fake_spi::set_level(0x1f, level);
		recorder::reset();
		tick();
	}
	/// The recorded calls; forgets them.
	std::vector<std::string> calls()
	{
		auto taken = recorder::calls();
		recorder::reset();
		return taken;
	}

	TempDir dir_;
	const std::string path_ = dir_.file("spidev");
	LogCapture log_;
	PortRef port_ = PortRef::adopt(io_port_new());
	const IOPortFunctions *functions_;
};
