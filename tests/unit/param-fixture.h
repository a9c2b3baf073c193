#pragma once

/// What the tests of the parameter store share.

#include "fakes/recorder.h"
#include "ioport/port-list.h"
#include "log-capture.h"
#include "params/param.h"
#include "temp-dir.h"

#include <gmock/gmock.h>

/// A complete group, every value of which differs from make_port()'s.
inline constexpr char kSavedGroup[] = "[gate]\n"
				      "input=false\n"
				      "input_name=Saved in\n"
				      "input_activelow=true\n"
				      "output_name=Saved out\n"
				      "output_activelow=true\n"
				      "button_type=actinact\n"
				      "pulse_time=1200\n"
				      "port_mode=monostable\n"
				      "delay_time=340\n"
				      "usage=Saved usage\n";

/// A port of the backend "check" with a value for every setting.
inline PortRef make_port(const char *name, int number, IOPortType type)
{
	PortRef port = PortRef::adopt(io_port_new());
	io_port_set_backend(port.get(), BACKEND_CHECK);
	port->name = name;
	port->number = number;
	port->type = type;
	port->input_name = "In";
	port->output_name = "Out";
	port->usage = "Usage";
	port->pulse_time = 1;
	port->delay_time = 2;
	port->button_type = BUTTON_PULSE;
	return port;
}

inline std::string or_none(const std::optional<std::string> &text)
{
	return text.value_or("(none)");
}

/// The port's settings under their keys, in the order of reading.
inline std::vector<std::string> settings(const PortRef &port)
{
	return {
		"input=" + std::to_string(port->direction),
		"input_name=" + or_none(port->input_name),
		"input_activelow=" + std::to_string(port->input_activelow),
		"output_name=" + or_none(port->output_name),
		"output_activelow=" + std::to_string(port->output_activelow),
		"button_type=" + std::to_string(port->button_type),
		"pulse_time=" + std::to_string(port->pulse_time),
		"port_mode=" + std::to_string(port->mode),
		"delay_time=" + std::to_string(port->delay_time),
		"usage=" + or_none(port->usage),
	};
}

/// A parameter file of its own, "gate" as the port, and the log.
class ParamTest : public testing::Test
{
protected:
	ParamTest()
	{
		recorder::reset();
	}
	~ParamTest() override
	{
		param_close_file();
		io_port_list_free();
	}
	/// Reads @p text as the parameter file.
	void open_text(const std::string &text)
	{
		write_file(path_, text);
		ASSERT_TRUE(param_read_configuration(path_.c_str()));
	}
	std::string saved() const
	{
		return read_file(path_);
	}
	/// The text of the file after a save of @p port alone.
	std::string saved(const PortRef &port) const
	{
		param_save_for_port(port.get(), path_.c_str());
		return saved();
	}
	/// @p port's settings after a save and a read into a fresh port.
	std::vector<std::string> read_back(const PortRef &port) const
	{
		param_save_for_port(port.get(), path_.c_str());
		const PortRef other = make_port(port->name->c_str(),
						port->number, port->type);
		EXPECT_TRUE(param_read_configuration(path_.c_str()));
		EXPECT_TRUE(param_get_conf_vals(other.get()));
		param_close_file();
		return settings(other);
	}

	TempDir dir_;
	const std::string path_ = dir_.file("orvad.conf");
	LogCapture log_;
	PortRef gate_ = make_port("gate", 3, PORT_IO_CTRL);
};
