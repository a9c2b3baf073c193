#include "orvadctl/bus.h"
#include "orvadctl/error.h"

#include <gtest/gtest.h>
#include <unistd.h>

using namespace orvadctl;

namespace
{

constexpr uid_t SOMEBODY = 1000;

/// What the user is told about an error of a call.
std::string explained(GQuark domain, gint code, const char *message)
{
	GError *error = g_error_new_literal(domain, code, message);

	explain_call_error(&error);
	std::string text = error->message;
	g_error_free(error);
	return text;
}

std::string explained_dbus(GDBusError code)
{
	return explained(G_DBUS_ERROR, code, "internal words");
}

} // namespace

TEST(CallError, SaysHowToStartADaemonThatIsNotRunning)
{
	for (GDBusError code :
	     {G_DBUS_ERROR_SERVICE_UNKNOWN, G_DBUS_ERROR_NAME_HAS_NO_OWNER})
		EXPECT_EQ(explained_dbus(code),
			  "the port daemon is not running; start it with "
			  "\"systemctl start orvad\"");
}

TEST(CallError, SaysWhoMayDoWhatIsDenied)
{
	EXPECT_EQ(explained_dbus(G_DBUS_ERROR_ACCESS_DENIED),
		  denied_advice(geteuid()));
	EXPECT_STREQ(denied_advice(SOMEBODY),
		     "the bus does not let this user do that; do it as root or "
		     "as a member of the group qel-control; membership counts "
		     "from the next login on");
}

TEST(CallError, DoesNotSendRootToRoot)
{
	EXPECT_STREQ(
		denied_advice(0),
		"the bus does not let even root do that; see that "
		"/usr/share/dbus-1/system.d/com.vexa.IOControl.conf is there, "
		"and have the bus read it with \"systemctl reload dbus\"");
}

TEST(CallError, SaysWhatToDoAboutADaemonThatHangs)
{
	const std::string sentence =
		"the port daemon does not answer; try again with a longer "
		"--timeout, or restart it with \"systemctl restart orvad\"";

	EXPECT_EQ(explained(G_IO_ERROR, G_IO_ERROR_TIMED_OUT, ""), sentence);
	EXPECT_EQ(explained_dbus(G_DBUS_ERROR_TIMEOUT), sentence);
	EXPECT_EQ(explained_dbus(G_DBUS_ERROR_TIMED_OUT), sentence);
}

TEST(CallError, SaysToTryAgainWhereThatHelps)
{
	for (GDBusError code :
	     {G_DBUS_ERROR_UNKNOWN_METHOD, G_DBUS_ERROR_UNKNOWN_OBJECT,
	      G_DBUS_ERROR_UNKNOWN_INTERFACE})
		EXPECT_EQ(explained_dbus(code),
			  "the port daemon is just starting or ending; try "
			  "again in a moment");
	EXPECT_EQ(explained_dbus(G_DBUS_ERROR_NO_REPLY),
		  "the port daemon went away without an answer; try again "
		  "once it is back");
	EXPECT_EQ(explained(G_IO_ERROR, G_IO_ERROR_CLOSED, ""),
		  "the system bus went away; try again once it is back");
}

TEST(CallError, IsTheDaemonsOwnTextOtherwise)
{
	GError *error = g_dbus_error_new_for_dbus_error(
		"com.vexa.IOControl.Error.No_port", "No such port.");

	explain_call_error(&error);
	EXPECT_STREQ(error->message, "No such port.");
	g_error_free(error);
}

TEST(CallError, OfAnInterfaceThatIsMissingSaysSo)
{
	GError *error = g_error_new_literal(
		G_DBUS_ERROR, G_DBUS_ERROR_SERVICE_UNKNOWN, "internal words");

	explain_interface_error(&error, "connectors");
	EXPECT_STREQ(error->message,
		     "the port daemon does not serve connectors");
	g_error_free(error);
}

TEST(CallError, OfAPortSaysWhichFirst)
{
	GError *error = g_error_new_literal(
		G_DBUS_ERROR, G_DBUS_ERROR_ACCESS_DENIED, "internal words");
	Port port;
	port.number = 3;
	port.name = "lamp";

	explain_port_error(&error, port);
	EXPECT_TRUE(g_str_has_prefix(error->message,
				     "port 3 (lamp): the bus does not let"))
		<< error->message;
	g_error_free(error);
}
