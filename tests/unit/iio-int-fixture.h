#pragma once

/// What the tests of the "iio-interrupt" backend share.

#include "backends/iio-int-backend.h"
#include "iio-fixture.h"

/// A port on the backend that waits for channel 3 of the converter "chip",
/// number 0. "open" is below 100, "closed" up to 200, "short" up to 300, "cut"
/// up to 400.
class IioIntTest : public IioPortTest
{
protected:
	IioIntTest() : IioPortTest(BACKEND_IIO_INTERRUPT)
	{
		add_converter(0, "chip");
		add_channel(0, "voltage3");
	}
	static std::string folder(int device)
	{
		return "iio:device" + std::to_string(device) + "/";
	}
	static void add_converter(int device, const std::string &name)
	{
		fake_iio::set(folder(device) + "name", name + "\n");
		fake_iio::set("/dev/iio:device" + std::to_string(device), "");
	}
	static std::string
	threshold_file(const std::string &attribute,
		       const std::string &channel = "voltage3", int device = 0)
	{
		return folder(device) + "events/in_" + channel + "_thresh_" +
		       attribute;
	}
	/// A channel with one flag for both of its thresholds.
	static void add_channel(int device, const std::string &channel)
	{
		set_raw("0", channel, device);
		for (const char *attribute :
		     {"rising_value", "falling_value", "either_en"})
			fake_iio::set(
				threshold_file(attribute, channel, device),
				"0\n");
	}
	/// The same with a flag for each threshold.
	static void split_flags()
	{
		fake_iio::remove(threshold_file("either_en"));
		fake_iio::set(threshold_file("rising_en"), "0\n");
		fake_iio::set(threshold_file("falling_en"), "0\n");
	}
	static void set_raw(const std::string &text,
			    const std::string &channel = "voltage3",
			    int device = 0)
	{
		fake_iio::set(folder(device) + "in_" + channel + "_raw",
			      text + "\n");
	}
	/// What such a write is recorded as.
	static std::string threshold(const std::string &attribute,
				     const std::string &value,
				     const std::string &channel = "voltage3",
				     int device = 0)
	{
		return "write(" + threshold_file(attribute, channel, device) +
		       ", " + value + ")";
	}
	/// What arming is recorded as.
	static auto armed(const std::string &rising, const std::string &falling,
			  const std::string &channel = "voltage3")
	{
		return testing::ElementsAre(
			threshold("rising_value", rising, channel),
			threshold("falling_value", falling, channel),
			threshold("either_en", "1", channel));
	}

	static IioIntPortData *data_of(const PortRef &port)
	{
		return static_cast<IioIntPortData *>(port->backend_data);
	}
	IioIntPortData *data()
	{
		return data_of(port_);
	}
	static void parse_ranges(const PortRef &port)
	{
		parse_range(port, "open", "0", "99");
		parse_range(port, "closed", "100", "200");
		parse_range(port, "short", "201", "300");
		parse_range(port, "cut", "301", "400");
	}
	/// Gives the port all that its type needs.
	void configure(IOPortType type)
	{
		parse_lines(type);
		parse("device", "driver", "chip");
		parse("device", "channel", "3");
		parse_ranges(port_);
	}
	void set_up()
	{
		ASSERT_TRUE(io_port_setup(port_.get()));
		recorder::reset();
	}
	/// An input that is supervised and watched; the arming of it is among
	/// the recorded calls.
	void supervise()
	{
		configure(PORT_INPUT);
		port_->supervised = true;
		set_up();
		io_port_set_watch(port_.get());
	}
	/// The same on the port as it is configured.
	void supervise_as_configured()
	{
		port_->supervised = true;
		set_up();
		io_port_set_watch(port_.get());
	}
	/// Makes the port one that has no lines.
	void make_adc()
	{
		parse("device", "mode", "adc");
		parse("device", "driver", "chip");
		parse("device", "channel", "3");
		parse_ranges(port_);
	}
	/// The converter's level, and the event that it is a reason for.
	static void cross(const std::string &raw)
	{
		set_raw(raw);
		fake_iio::send_event("events0", 3);
		handle_pending();
	}
	/// Has the level move once such a call is made.
	static void set_raw_when(const std::string &call,
				 const std::string &raw)
	{
		recorder::set_hook([call, raw](const std::string &line) {
			if (line != call)
				return;
			recorder::set_hook(nullptr);
			set_raw(raw);
		});
	}
	/// Has the next poll beyond the limits, or the second look, come now.
	void poll()
	{
		GSource *source = g_main_context_find_source_by_id(
			nullptr, data()->limit_poll_id.id());
		ASSERT_NE(source, nullptr);
		g_source_set_ready_time(source, 0);
		g_main_context_iteration(nullptr, FALSE);
	}
	bool is_polled()
	{
		return data()->limit_poll_id.id() != 0;
	}
};

/// More ports, and the events of their converters.
class IioIntEventsTest : public IioIntTest
{
protected:
	/// Another supervised and watched port, called by its channel.
	static PortRef add_port(const std::string &name, const char *driver,
				const char *channel)
	{
		PortRef port = make_port(BACKEND_IIO_INTERRUPT, name.c_str());
		port->type = PORT_INPUT;
		port->supervised = true;
		parse(port, "input", "pin", "11");
		parse(port, "io_ctrl", "pin", "13");
		parse(port, "device", "driver", driver);
		parse(port, "device", "channel", channel);
		parse_ranges(port);
		EXPECT_TRUE(io_port_setup(port.get()));
		io_port_set_watch(port.get());
		recorder::reset();
		return port;
	}
	static void event(guint64 id, const std::string &path = "events0")
	{
		fake_iio::send_event(path, id);
		handle_pending();
	}
	static void unwatch(const PortRef &port)
	{
		port->supervised = false;
		io_port_set_watch(port.get());
	}
	static size_t events_read(const std::string &path = "events0")
	{
		return recorder::count("read(" + path + ")");
	}
};
