#pragma once

/// What the tests of the import share.

#include "param-fixture.h"
#include "params/parhand.h"

#include "ioport/io-errors.h"

/// What an import came to: "true" or "false", and the error's text. Errors of
/// the import are of one kind; of any other, its domain's name is in front.
inline std::string outcome(bool result, const util::Error &error)
{
	std::string text = result ? "true" : "false";
	if (!error)
		return text;
	if (!g_error_matches(error.get(), io_control_error_quark(),
			     IO_CONTROL_ERROR_GENERIC))
		text += std::string(" ") +
			g_quark_to_string(error.get()->domain);
	return text + " " + error.message();
}

/// An input 1, an output 2, a configurable port 3 (gate_) and a file.
class ParhandTest : public ParamTest
{
protected:
	ParhandTest()
	{
		for (const PortRef &port : {input_, output_, gate_})
			add(port);
		gate_->direction = false;
	}
	static void add(const PortRef &port)
	{
		io_port_add_property(port.get(), "ioport", "true");
		io_port_list_add(port);
	}
	/// Imports @p text; what it came to. Nothing is printed but @p printed.
	std::string import(const std::string &text,
			   const std::string &printed = "")
	{
		write_file(path_, text);
		util::Error error;
		testing::internal::CaptureStderr();
		const bool result =
			read_parhand_parameters(path_.c_str(), &error);
		EXPECT_EQ(testing::internal::GetCapturedStderr(), printed);
		EXPECT_EQ(saved(), text);
		return outcome(result, error);
	}
	/// Imports one key of a group, which must succeed.
	void import_key(const std::string &group, const std::string &line)
	{
		EXPECT_EQ(import("[" + group + "]\n" + line + "\n"), "true")
			<< group << " " << line;
	}

	PortRef input_ = make_port("door", 1, PORT_INPUT);
	PortRef output_ = make_port("lamp", 2, PORT_OUTPUT);
};
