// Set-up of all ports, the parked ones, and default names.

#include "list-fixture.h"
#include "log-capture.h"

#include <unistd.h>

namespace
{

using testing::ElementsAre;
using testing::IsEmpty;

using PortListSetupTest = ListTest;

constexpr int kAlways = G_MAXINT;
/// The first of the levels that GLib leaves to applications.
constexpr int kUserLevel = 256;

// ---- Setting all ports up ----

TEST_F(PortListSetupTest, EveryPortIsSetUpFromTheNewest)
{
	const LogCapture log;
	const PortRef a = add_port(PORT_INPUT, 0, "a");
	const PortRef b = add_port(PORT_OUTPUT, 1, "b");
	b->output_activelow = true;
	io_port_list_setup();
	EXPECT_THAT(
		recorder::calls(),
		ElementsAre("full.setup(b, 1)", "full.setup(a, 0)", kWanted));
	EXPECT_TRUE(a->is_setup);
	EXPECT_TRUE(b->is_setup);
	EXPECT_THAT(names(), ElementsAre("b", "a"));
	EXPECT_THAT(log.messages(), IsEmpty());
}

TEST_F(PortListSetupTest, APortThatFailsIsLoggedAndDiscarded)
{
	const LogCapture log;
	const PortRef port = add_port(PORT_OUTPUT, 7);
	const int before = port->ref_count;
	fake_backends::set_setup_result(false);
	io_port_list_setup();
	EXPECT_THAT(log.messages(),
		    ElementsAre(LogCapture::Message{
			    kUserLevel,
			    "Setup failed for port 7, removing from list"}));
	EXPECT_EQ(io_port_list_length(), 0U);
	EXPECT_FALSE(io_port_list_get_dynamic_port(7));
	EXPECT_EQ(port->ref_count, before - 1);
}

TEST_F(PortListSetupTest, FailedPortsAreFreedAfterTheWalkWhoeverHasThem)
{
	const LogCapture log;
	const PortRef a = add_port(PORT_OUTPUT, 0, "a");
	const PortRef b = add_port(PORT_OUTPUT, 1, "b");
	fake_backends::data(b.get())->setups_to_fail = kAlways;
	io_port_list_setup();
	EXPECT_THAT(recorder::calls(),
		    ElementsAre("full.setup(b, 0)", "full.setup(a, 0)",
				"full.free(#1)", kWanted));
	EXPECT_EQ(b->backend_data, nullptr);
	EXPECT_THAT(names(), ElementsAre("a"));
}

TEST_F(PortListSetupTest, TheRegistrationForgetsADiscardedOutput)
{
	const LogCapture log;
	add_port(PORT_INPUT, 0, "in");
	const PortRef out = add_port(PORT_OUTPUT, 1, "out");
	fake_backends::data(out.get())->setups_to_fail = kAlways;
	io_port_list_setup();
	EXPECT_EQ(recorder::calls().back(), kUnwanted);
}

TEST_F(PortListSetupTest, AnOptionalPortThatFailsIsParkedInSilence)
{
	const LogCapture log;
	const PortRef port = add_optional("p", kAlways);
	const int before = port->ref_count;
	io_port_list_setup();
	EXPECT_THAT(log.messages(), IsEmpty());
	EXPECT_EQ(io_port_list_length(), 0U);
	EXPECT_FALSE(io_port_list_get_port(0));
	EXPECT_EQ(io_port_list_get_dynamic_port(0).get(), port.get());
	EXPECT_EQ(port->ref_count, before);
	EXPECT_EQ(recorder::count("full.free"), 0U);
}

// ---- Parking and refreshing ----

TEST_F(PortListSetupTest, AnOptionalPortMovesToTheParkedOnes)
{
	const PortRef port = add_optional("p", 0);
	const int before = port->ref_count;
	io_port_list_move_to_dynamic(port.get());
	EXPECT_THAT(recorder::calls(), ElementsAre(kUnwanted));
	EXPECT_EQ(io_port_list_length(), 0U);
	EXPECT_EQ(io_port_list_get_dynamic_port(0).get(), port.get());
	EXPECT_EQ(port->ref_count, before);
}

TEST_F(PortListSetupTest, APortThatIsNotOptionalStaysInService)
{
	const PortRef port = add_port(PORT_INPUT, 0);
	io_port_list_move_to_dynamic(port.get());
	EXPECT_EQ(io_port_list_get_port(0).get(), port.get());
	EXPECT_FALSE(io_port_list_get_dynamic_port(0));
}

TEST_F(PortListSetupTest, APortThatIsParkedAlreadyIsNotParkedTwice)
{
	const PortRef port = add_optional("p", 0);
	const int before = port->ref_count;
	io_port_list_move_to_dynamic(port.get());
	io_port_list_move_to_dynamic(port.get());
	EXPECT_EQ(port->ref_count, before);
	EXPECT_EQ(io_port_list_setup_dynamic_ports(), 1);
}

TEST_F(PortListSetupTest, OfTwoParkedPortsWithANumberTheFirstParkedIsFound)
{
	const PortRef a = add_optional("a", 0);
	const PortRef b = add_optional("b", 0);
	io_port_list_move_to_dynamic(b.get());
	io_port_list_move_to_dynamic(a.get());
	EXPECT_EQ(io_port_list_get_dynamic_port(0).get(), b.get());
}

TEST_F(PortListSetupTest, AParkedPortNeedsAPropertyToBeFoundByNumber)
{
	const PortRef port = add_optional("p", 0);
	io_port_list_move_to_dynamic(port.get());
	io_port_add_property(port.get(), "ioport", "false");
	EXPECT_FALSE(io_port_list_get_dynamic_port(0));
	io_port_add_property(port.get(), "virtual", "true");
	EXPECT_TRUE(io_port_list_get_dynamic_port(0));
}

TEST_F(PortListSetupTest, ARefreshBringsAParkedPortToTheHeadOfTheList)
{
	const PortRef port = add_optional("parked", 0);
	io_port_list_move_to_dynamic(port.get());
	add_port(PORT_OUTPUT, 1, "a");
	EXPECT_EQ(io_port_list_setup_dynamic_ports(), 1);
	EXPECT_THAT(recorder::calls(),
		    ElementsAre("full.setup(parked, 0)", kWanted));
	EXPECT_THAT(names(), ElementsAre("parked", "a"));
	EXPECT_FALSE(io_port_list_get_dynamic_port(0));
}

TEST_F(PortListSetupTest, ARefreshThatBringsNobodyChangesNothing)
{
	const PortRef port = add_optional("p", kAlways);
	io_port_list_move_to_dynamic(port.get());
	recorder::reset();
	EXPECT_EQ(io_port_list_setup_dynamic_ports(), 0);
	EXPECT_THAT(recorder::calls(), ElementsAre("full.setup(p, 0)"));
	EXPECT_EQ(io_port_list_get_dynamic_port(0).get(), port.get());
}

TEST_F(PortListSetupTest, AfterASuccessTheFailedOnesBeforeAreTriedAgain)
{
	const PortRef b = add_optional("B", 0);
	const PortRef a = add_optional("A", kAlways);
	io_port_list_move_to_dynamic(b.get());
	io_port_list_move_to_dynamic(a.get());
	recorder::reset();
	EXPECT_EQ(io_port_list_setup_dynamic_ports(), 1);
	EXPECT_THAT(recorder::calls(),
		    ElementsAre("full.setup(A, 0)", "full.setup(B, 0)",
				"full.setup(A, 0)", kUnwanted));
	EXPECT_THAT(names(), ElementsAre("B"));
}

TEST_F(PortListSetupTest, APortThatSucceedsAtTheSecondTryComesInToo)
{
	const PortRef b = add_optional("B", 0);
	const PortRef a = add_optional("A", 1);
	io_port_list_move_to_dynamic(b.get());
	io_port_list_move_to_dynamic(a.get());
	EXPECT_EQ(io_port_list_setup_dynamic_ports(), 2);
	EXPECT_THAT(names(), ElementsAre("A", "B"));
}

TEST_F(PortListSetupTest, PortsThatFailAtStartAreTriedFromTheOldestOn)
{
	add_optional("a", 1);
	add_optional("b", 1);
	io_port_list_setup();
	recorder::reset();
	EXPECT_EQ(io_port_list_setup_dynamic_ports(), 2);
	EXPECT_THAT(
		recorder::calls(),
		ElementsAre("full.setup(a, 0)", "full.setup(b, 0)", kUnwanted));
}

TEST_F(PortListSetupTest, ADroppedPortComesBackAfterItWasClosed)
{
	PortRef port = PortRef::adopt(io_port_new());
	port->name = "p";
	port->optional = true;
	io_port_set_backend(port.get(), BACKEND_CHECK);
	io_port_parse_backend_data(port.get(), "device", "a", "1");
	io_port_list_add(port);
	io_port_list_setup();
	io_port_close(port.get());
	io_port_list_move_to_dynamic(port.get());
	recorder::reset();
	EXPECT_EQ(io_port_list_setup_dynamic_ports(), 1);
	EXPECT_THAT(recorder::calls(),
		    ElementsAre("check.parse_data(p, device, a, 1)",
				"check.setup(p, 0)", kUnwanted));
}

// ---- Default names ----

TEST_F(PortListSetupTest, UnnamedPortsAreNamedByTheirPlaceAmongTheirKind)
{
	const PortRef input = add_port(PORT_INPUT, 0);
	const PortRef configurable = add_port(PORT_IO_CTRL, 1);
	const PortRef output = add_port(PORT_OUTPUT, 2);
	io_port_list_update_names();
	EXPECT_EQ(input->input_name, "Input 1");
	EXPECT_EQ(input->output_name, std::nullopt);
	EXPECT_EQ(configurable->input_name, "Input 2");
	EXPECT_EQ(configurable->output_name, "Output 1");
	EXPECT_EQ(output->input_name, std::nullopt);
	EXPECT_EQ(output->output_name, "Output 2");
}

TEST_F(PortListSetupTest, NamesAreAnnouncedByNumberInputSideFirst)
{
	const PortRef configurable = add_port(PORT_IO_CTRL, 1);
	add_event(configurable, "IOPort");
	add_port(PORT_INPUT, 0);
	io_port_list_update_names();
	EXPECT_THAT(
		recorder::calls(),
		ElementsAre("property_changed(Name, \"Input 1\", 0, input)",
			    "property_changed(Name, \"Input 2\", 1, input)",
			    "io_event_redeclare_port(p, IOPort)",
			    "property_changed(Name, \"Output 1\", 1, output)"));
}

TEST_F(PortListSetupTest, NamedPortsKeepTheirNamesAndAreCounted)
{
	const PortRef named = add_port(PORT_IO_CTRL, 0);
	named->input_name = "Door";
	named->output_name = "";
	const PortRef unnamed = add_port(PORT_IO_CTRL, 1);
	io_port_list_update_names();
	EXPECT_EQ(named->input_name, "Door");
	EXPECT_EQ(named->output_name, "");
	EXPECT_EQ(unnamed->input_name, "Input 2");
	EXPECT_EQ(unnamed->output_name, "Output 2");
}

TEST_F(PortListSetupTest, ThePirDetectorIsNamedAfterItsSensor)
{
	const PortRef pir = add_port(PORT_INPUT, 0, "pir_detector");
	const PortRef next = add_port(PORT_INPUT, 1);
	io_port_list_update_names();
	EXPECT_EQ(pir->input_name, "PIR sensor");
	EXPECT_EQ(next->input_name, "Input 2");
}

TEST_F(PortListSetupTest, APirDetectorThatHasANameKeepsIt)
{
	const PortRef pir = add_port(PORT_INPUT, 0, "pir_detector");
	pir->input_name = "Motion";
	io_port_list_update_names();
	EXPECT_EQ(pir->input_name, "Motion");
}

TEST_F(PortListSetupTest, PortsThatNoNumberFindsAreNeitherNamedNorCounted)
{
	const PortRef hidden = add_port(PORT_INPUT, 0, "hidden");
	io_port_add_property(hidden.get(), "ioport", "false");
	const PortRef first = add_port(PORT_INPUT, 1, "first");
	const PortRef second = add_port(PORT_INPUT, 1, "second");
	const PortRef last = add_port(PORT_INPUT, 2, "last");
	io_port_list_update_names();
	EXPECT_EQ(hidden->input_name, std::nullopt);
	EXPECT_EQ(first->input_name, "Input 1");
	EXPECT_EQ(second->input_name, std::nullopt);
	EXPECT_EQ(last->input_name, "Input 2");
}

TEST_F(PortListSetupTest, NumbersFromTheListsLengthOnAreNotNamed)
{
	const PortRef below = add_port(PORT_INPUT, 1);
	const PortRef at = add_port(PORT_INPUT, 2);
	io_port_list_update_names();
	EXPECT_EQ(below->input_name, "Input 1");
	EXPECT_EQ(at->input_name, std::nullopt);
}

TEST_F(PortListSetupTest, AVirtualPortBelowTheLengthIsNamed)
{
	const PortRef port = add_port(PORT_INPUT, 0);
	io_port_add_property(port.get(), "ioport", "false");
	io_port_add_property(port.get(), "virtual", "true");
	io_port_list_update_names();
	EXPECT_EQ(port->input_name, "Input 1");
}

TEST_F(PortListSetupTest, AHugePortNumberCostsNoTime)
{
	constexpr int kRounds = 1000;
	constexpr unsigned kLongestTestSeconds = 60;
	alarm(kLongestTestSeconds);
	const PortRef huge = add_port(PORT_INPUT, 2147483647, "huge");
	const PortRef zero = add_port(PORT_INPUT, 0, "zero");
	for (int i = 0; i < kRounds; ++i) {
		io_port_list_update_names();
		EXPECT_EQ(io_port_list_get_numbered_ports().size(), 1U);
		EXPECT_EQ(io_port_list_get_port(2147483647).get(), huge.get());
	}
	EXPECT_EQ(huge->input_name, std::nullopt);
	EXPECT_EQ(zero->input_name, "Input 1");
	alarm(0);
}

} // namespace
