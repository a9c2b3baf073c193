#pragma once

/// What the tests of converters of the Industrial I/O subsystem share.

#include "fakes/fake-iio.h"
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

/// The last words of a setup that failed.
inline constexpr char kSetupFailed[] = "Failed to setup iio device.";

/// What get_supervised_readout gives.
struct Readout {
	bool success = false;
	SupervisedState state = SUPERVISED_OPEN;
	guint32 level = 0;
	util::Error error;
};

/// A kernel without converters, and the log. Whatever a test did, no file of
/// that kernel is left open.
class IioKernelTest : public testing::Test
{
protected:
	IioKernelTest()
	{
		recorder::reset();
		fake_iio::mount(dir_.file("root"));
	}
	~IioKernelTest() override
	{
		EXPECT_THAT(fake_iio::open_files(), testing::IsEmpty());
		fake_iio::unmount();
		recorder::reset();
	}
	/// The recorded calls but for those of reading; forgets them.
	static std::vector<std::string> actions()
	{
		auto taken = recorder::calls();
		std::erase_if(taken, [](const std::string &call) {
			return call.starts_with("read(");
		});
		recorder::reset();
		return taken;
	}
	/// Those that are writes.
	static std::vector<std::string> writes()
	{
		auto taken = actions();
		std::erase_if(taken, [](const std::string &call) {
			return !call.starts_with("write(");
		});
		return taken;
	}
	/// Handles what there is to handle now; how many turns that took. More
	/// than a few are an endless loop.
	static int handle_pending()
	{
		constexpr int kEndless = 100;
		int turns = 0;
		while (turns < kEndless &&
		       g_main_context_iteration(nullptr, FALSE))
			++turns;
		EXPECT_LT(turns, kEndless);
		return turns;
	}

	TempDir dir_;
	LogCapture log_;
};

/// A port called "door" on one of the backends, with an event that tells what
/// is reported. Its lines have the numbers 1, for the input, 2, for the output,
/// and 3, for the plain path, and the name "sio", for the supervised path.
class IioPortTest : public IioKernelTest
{
protected:
	explicit IioPortTest(IOBackend backend)
	{
		fake_ugpio::reset();
		port_ = make_port(backend, "door");
		functions_ = port_->functions;
	}
	static PortRef make_port(IOBackend backend, const char *name)
	{
		PortRef port = PortRef::adopt(io_port_new());
		port->name = name;
		port->number = 4;
		port->events.emplace_front(new IOEvent);
		port->events.front()->name = "e";
		io_port_set_backend(port.get(), backend);
		return port;
	}
	static void parse(const PortRef &port, const char *group,
			  const char *key, const std::string &value)
	{
		io_port_parse_backend_data(port.get(), group, key,
					   value.c_str());
	}
	void parse(const char *group, const char *key, const std::string &value)
	{
		parse(port_, group, key, value);
	}
	static void parse_range(const PortRef &port, const char *state,
				const char *lower, const char *upper)
	{
		parse(port, "range", "state", state);
		parse(port, "range", "lower", lower);
		parse(port, "range", "upper", upper);
	}
	void parse_range(const char *state, const char *lower,
			 const char *upper)
	{
		parse_range(port_, state, lower, upper);
	}
	/// Makes the port one of that type, with all the lines that it needs.
	void parse_lines(IOPortType type)
	{
		port_->type = type;
		if (type != PORT_OUTPUT)
			parse("input", "pin", "1");
		if (type != PORT_INPUT)
			parse("output", "pin", "2");
		parse("io_ctrl", "pin", "3");
		parse("sio_ctrl", "alias", "sio");
	}
	bool set_up_fails()
	{
		return !functions_->setup(port_.get(), 0);
	}
	void read(Readout *readout)
	{
		readout->success = functions_->get_supervised_readout(
			port_.get(), &readout->state, &readout->level,
			&readout->error);
	}
	void expect_readout(SupervisedState state, guint32 level)
	{
		Readout readout;
		read(&readout);
		EXPECT_TRUE(readout.success);
		EXPECT_EQ(readout.state, state);
		EXPECT_EQ(readout.level, level);
	}
	/// The states that were reported; forgets all calls.
	static std::vector<int> reports(const std::string &port = "door")
	{
		const std::string prefix =
			"io_event_send_event(" + port + ", e, ";
		std::vector<int> states;
		for (const std::string &call : recorder::calls())
			if (call.starts_with(prefix))
				states.push_back(
					std::stoi(call.substr(prefix.size())));
		recorder::reset();
		return states;
	}
	/// What setting the two control lines is recorded as.
	static auto control_lines(int ioctrl, int sioctrl)
	{
		return testing::ElementsAre(
			"ugpio_set_value(3, " + std::to_string(ioctrl) + ")",
			"ugpio_set_value(sio, " + std::to_string(sioctrl) +
				")");
	}
	/// The recorded calls that are writes to lines; forgets all.
	static std::vector<std::string> line_writes()
	{
		auto taken = actions();
		std::erase_if(taken, [](const std::string &call) {
			return !call.starts_with("ugpio_set_value(");
		});
		return taken;
	}

	PortRef port_;
	const IOPortFunctions *functions_ = nullptr;
};
