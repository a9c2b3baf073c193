#pragma once

/// Configuration files in a directory of their own, with the real port model
/// and backends that record what they are given.

#include "fakes/fake-backends.h"
#include "fakes/fake-bootblock.h"
#include "fakes/recorder.h"
#include "ioport/port-list.h"
#include "ioport/port-sequence.h"
#include "log-capture.h"
#include "main/conf-reader.h"
#include "temp-dir.h"

#include <gmock/gmock.h>

constexpr int kDefaultFirstVirtualPort = 5;

class ConfTest : public testing::Test
{
protected:
	ConfTest()
	{
		virtual_input_set_first_port_no(kDefaultFirstVirtualPort);
		recorder::reset();
	}
	/// The parser's flags outlive a file: the end tags reset them.
	void TearDown() override
	{
		read("<port/><backend/>");
		io_port_list_free();
		fake_bootblock::reset();
		fake_backends::reset();
		recorder::reset();
	}

	/// Reads a file that holds @p text as it stands.
	bool read_text(const std::string &text)
	{
		write_file(dir_.file("conf.xml"), text);
		return conf_read_configuration(dir_.file("conf.xml").c_str());
	}
	/// Reads a file with @p elements in its root element.
	bool read(const std::string &elements)
	{
		return read_text("<ports>" + elements + "</ports>");
	}
	/// The port that the elements @p inside make of a new one.
	PortRef port_with(const std::string &inside)
	{
		EXPECT_TRUE(read("<port name=\"p\">" + inside + "</port>"));
		return newest();
	}
	static PortRef newest()
	{
		return io_port_list_nth_data(0);
	}
	/// The names of the ports in service, oldest first; "-" for none.
	static std::vector<std::string> port_names()
	{
		const PortListGuard guard;
		std::vector<std::string> names;
		for (const PortRef &port : io_port_list_get())
			names.insert(names.begin(), port->name.value_or("-"));
		return names;
	}
	static const IOEvent &event_of(const PortRef &port)
	{
		return *port->events.front();
	}

	TempDir dir_;
	LogCapture log_;
};

/// A value in double quotes, with everything escaped that XML needs.
inline std::string xml_value(const std::string &text)
{
	std::string result = "\"";
	for (const char c : text) {
		if (c == '"' || c == '<' || c == '&' || c == '\n')
			result += "&#" + std::to_string(c) + ";";
		else
			result += c;
	}
	return result + "\"";
}

/// The message of a file that cannot be used.
inline LogCapture::Message critical(const std::string &text)
{
	return {G_LOG_LEVEL_CRITICAL, text};
}
