#include "ioport/io-errors.h"

#include "util/glib-ptr.h"

#include <gtest/gtest.h>

namespace
{

/// The name under which the error would be sent over D-Bus.
std::string dbus_name(GQuark domain, int code)
{
	GError *error = g_error_new_literal(domain, code, "message");
	const util::CharPtr name(g_dbus_error_encode_gerror(error));
	g_error_free(error);
	return name.get();
}

/// The error that a client gets for that name.
void expect_code(const char *name, GQuark domain, int code)
{
	util::Error error;
	*&error = g_dbus_error_new_for_dbus_error(name, "message");
	ASSERT_TRUE(error);
	EXPECT_EQ(error.get()->domain, domain) << name;
	EXPECT_EQ(error.get()->code, code) << name;
}

TEST(IOErrorsTest, TheDomainsHaveTheirNames)
{
	EXPECT_STREQ(g_quark_to_string(io_control_error_quark()),
		     "io-control-error-quark");
	EXPECT_STREQ(g_quark_to_string(io_supervised_error_quark()),
		     "io-supervised-error-quark");
}

TEST(IOErrorsTest, TheDomainsStayTheSame)
{
	EXPECT_EQ(io_control_error_quark(), io_control_error_quark());
	EXPECT_EQ(io_supervised_error_quark(), io_supervised_error_quark());
	EXPECT_NE(io_control_error_quark(), io_supervised_error_quark());
}

TEST(IOErrorsTest, EveryControlErrorHasItsNumberAndItsName)
{
	const char *const names[] = {
		"com.vexa.IOControl.Error.Generic",
		"com.vexa.IOControl.Error.No_port",
		"com.vexa.IOControl.Error.Busy",
		"com.vexa.IOControl.Error.Not_output",
		"com.vexa.IOControl.Error.Not_input",
		"com.vexa.IOControl.Error.Not_configurable",
		"com.vexa.IOControl.Error.Incorrect_Port_Type",
	};
	const GQuark domain = io_control_error_quark();
	int code = 0;
	for (const char *name : names) {
		EXPECT_EQ(dbus_name(domain, code), name);
		expect_code(name, domain, code);
		++code;
	}
}

TEST(IOErrorsTest, EverySupervisedErrorHasItsNumberAndItsName)
{
	const char *const names[] = {
		"com.vexa.IOSupervised.Error.Generic",
		"com.vexa.IOSupervised.Error.No_port",
		"com.vexa.IOSupervised.Not_supervisable",
		"com.vexa.IOSupervised.Not_supervised",
		"com.vexa.IOSupervised.Bad_supervised_range",
	};
	const GQuark domain = io_supervised_error_quark();
	int code = 0;
	for (const char *name : names) {
		EXPECT_EQ(dbus_name(domain, code), name);
		expect_code(name, domain, code);
		++code;
	}
}

TEST(IOErrorsTest, TheCodesAreNumbered)
{
	EXPECT_EQ(IO_CONTROL_ERROR_GENERIC, 0);
	EXPECT_EQ(IO_CONTROL_ERROR_NO_PORT, 1);
	EXPECT_EQ(IO_CONTROL_ERROR_BUSY, 2);
	EXPECT_EQ(IO_CONTROL_ERROR_NOT_OUTPUT, 3);
	EXPECT_EQ(IO_CONTROL_ERROR_NOT_INPUT, 4);
	EXPECT_EQ(IO_CONTROL_ERROR_NOT_CONFIGURABLE, 5);
	EXPECT_EQ(IO_CONTROL_ERROR_INCORRECT_PORT_TYPE, 6);
	EXPECT_EQ(IO_SUPERVISED_ERROR_GENERIC, 0);
	EXPECT_EQ(IO_SUPERVISED_ERROR_NO_PORT, 1);
	EXPECT_EQ(IO_SUPERVISED_ERROR_NOT_SUPERVISABLE, 2);
	EXPECT_EQ(IO_SUPERVISED_ERROR_NOT_SUPERVISED, 3);
	EXPECT_EQ(IO_SUPERVISED_ERROR_BAD_SUPERVISED_RANGE, 4);
}

} // namespace
