#pragma once

/// What the tests of the "iio" backend share.

#include "backends/iio-backend.h"
#include "iio-fixture.h"

/// The folder of the trigger "timer".
inline constexpr char kFolder[] =
	"/sys/kernel/config/iio/triggers/hrtimer/timer";

/// What is logged about a file of the devices.
inline std::string failed_to(const std::string &what, const std::string &path,
			     const std::string &why)
{
	return "Failed to " + what + " sysfs path '/sys/bus/iio/devices/" +
	       path + "': " + why;
}

/// A port on the backend. The buffer of the device "sampler", number 1, holds
/// words of 12 bits, above four that do not count; the trigger is that of the
/// device "converter", number 2, and is to be "timer".
class IioTest : public IioPortTest
{
protected:
	IioTest() : IioPortTest(BACKEND_IIO)
	{
		set_name("iio:device1", "sampler");
		fake_iio::set("iio:device1/scan_elements/in_voltage_en", "0\n");
		set_type("le:u12/16>>4");
		fake_iio::set("iio:device1/buffer/enable", "1\n");
		fake_iio::set("/dev/iio:device1", "");
		set_name("iio:device2", "converter");
		fake_iio::set("iio:device2/trigger/current_trigger", "\n");
	}
	static void set_name(const std::string &folder, const std::string &name)
	{
		fake_iio::set(folder + "/name", name + "\n");
	}
	static void set_type(const std::string &type)
	{
		fake_iio::set("iio:device1/scan_elements/in_voltage_type",
			      type + "\n");
	}
	IioPortData *data()
	{
		return static_cast<IioPortData *>(port_->backend_data);
	}
	/// Gives the port all that its type needs.
	void configure(IOPortType type)
	{
		parse_lines(type);
		parse("device", "name", "sampler");
		parse("device", "adc", "converter");
		parse("device", "hrtimer", "timer");
		parse("device", "freq", "50");
		parse_range("open", "0", "999");
		parse_range("closed", "1000", "1999");
		parse_range("short", "2000", "2999");
		parse_range("cut", "3000", "3999");
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
	/// The converter takes a sample, and it is handled.
	static void sample(guint16 level)
	{
		const guint16 word = GUINT16_TO_LE(level << 4 | 0xf);
		fake_iio::send(kDevFile, {reinterpret_cast<const char *>(&word),
					  sizeof word});
		handle_pending();
	}

	static constexpr char kDevFile[] = "/dev/iio:device1";
};
