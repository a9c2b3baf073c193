// The binding of a port to its backend: choosing it, setting it up, closing it,
// and the configuration items that it gets.

#include "port-fixture.h"

#include <cstddef>

namespace
{

using testing::ElementsAre;
using testing::IsEmpty;

using IOPortBackendTest = PortTest;
using IOPortBackendDeathTest = PortTest;

PortRef new_port_on(IOBackend kind)
{
	PortRef port = new_port();
	port->name = "p";
	io_port_set_backend(port.get(), kind);
	return port;
}

// ---- Choosing a backend ----

TEST_F(IOPortBackendTest, TheSlotsAreInTheirOrder)
{
	using Table = IOPortFunctions;
	const std::vector<size_t> slots = {
		offsetof(Table, setup),
		offsetof(Table, is_supervisable),
		offsetof(Table, set_supervised),
		offsetof(Table, get_supervised_ranges),
		offsetof(Table, set_supervised_ranges),
		offsetof(Table, get_supervised_readout),
		offsetof(Table, get_state),
		offsetof(Table, set_state),
		offsetof(Table, set_watch),
		offsetof(Table, set_direction),
		offsetof(Table, parse_data),
		offsetof(Table, free),
		offsetof(Table, close),
	};
	for (size_t i = 0; i < slots.size(); ++i)
		EXPECT_EQ(slots[i], i * sizeof(void *)) << i;
	EXPECT_EQ(sizeof(Table), slots.size() * sizeof(void *));
}

TEST_F(IOPortBackendTest, ChoosingABackendGivesThePortItsTableAndARecord)
{
	for (const int kind : {BACKEND_VIRTUAL, BACKEND_SYSFS, BACKEND_CHECK}) {
		const PortRef port = new_port();
		const IOPortFunctions *table =
			io_port_set_backend(port.get(), kind);
		ASSERT_NE(table, nullptr) << kind;
		EXPECT_EQ(port->functions, table) << kind;
		EXPECT_EQ(port->backend, kind);
		EXPECT_NE(port->backend_data, nullptr) << kind;
	}
}

TEST_F(IOPortBackendTest, TheNullBackendHasNoRecord)
{
	const PortRef port = new_port_on(BACKEND_NULL);
	EXPECT_NE(port->functions, nullptr);
	EXPECT_EQ(port->backend_data, nullptr);
}

TEST_F(IOPortBackendTest, ThePortsOfABackendShareItsTable)
{
	const PortRef first = new_port_on(BACKEND_CHECK);
	const PortRef second = new_port_on(BACKEND_CHECK);
	EXPECT_EQ(first->functions, second->functions);
	EXPECT_NE(first->backend_data, second->backend_data);
}

TEST_F(IOPortBackendTest, AnUnknownKindIsStoredAndLeavesTheTableAlone)
{
	for (const int kind : {12, 10, G_MAXINT, -1, G_MININT}) {
		const PortRef port = new_port_on(BACKEND_VIRTUAL);
		const IOPortFunctions *table = port->functions;
		const void *record = port->backend_data;
		EXPECT_EQ(io_port_set_backend(port.get(), kind), nullptr);
		EXPECT_EQ(port->backend, kind);
		EXPECT_EQ(port->functions, table);
		EXPECT_EQ(port->backend_data, record);
	}
}

TEST_F(IOPortBackendTest, AnUnknownKindBindsANewPortToNothing)
{
	const PortRef port = new_port();
	EXPECT_EQ(io_port_set_backend(port.get(), 12), nullptr);
	EXPECT_EQ(port->functions, nullptr);
	EXPECT_EQ(port->backend, 12);
}

TEST_F(IOPortBackendTest, ChoosingTheSameBackendAgainKeepsTheRecord)
{
	const PortRef port = new_port_on(BACKEND_CHECK);
	const void *record = port->backend_data;
	EXPECT_EQ(io_port_set_backend(port.get(), BACKEND_CHECK),
		  port->functions);
	EXPECT_EQ(port->backend_data, record);
	EXPECT_EQ(recorder::count("check.free"), 0U);
}

TEST_F(IOPortBackendTest, AnUnknownKindInBetweenKeepsTheRecord)
{
	const PortRef port = new_port_on(BACKEND_CHECK);
	const void *record = port->backend_data;
	io_port_set_backend(port.get(), 12);
	io_port_set_backend(port.get(), BACKEND_CHECK);
	EXPECT_EQ(port->backend_data, record);
	EXPECT_EQ(recorder::count("check.free"), 0U);
}

TEST_F(IOPortBackendTest, AnotherBackendFirstReleasesTheRecordThroughItsOwner)
{
	const PortRef port = new_port_on(BACKEND_VIRTUAL);
	level_of(port) = 7;
	io_port_set_backend(port.get(), BACKEND_CHECK);
	EXPECT_THAT(recorder::calls(), ElementsAre("virtual.free(p)"));
	ASSERT_NE(port->backend_data, nullptr);
	EXPECT_EQ(level_of(port), 0);
	io_port_setup(port.get());
	EXPECT_EQ(recorder::calls().back(), "check.setup(p, 0)");
}

TEST_F(IOPortBackendTest, TheNullBackendReleasesTheRecordOfTheOneBefore)
{
	const PortRef port = new_port_on(BACKEND_SYSFS);
	io_port_set_backend(port.get(), BACKEND_NULL);
	EXPECT_THAT(recorder::calls(), ElementsAre("sysfs.free(p)"));
	EXPECT_EQ(port->backend_data, nullptr);
}

TEST_F(IOPortBackendTest, TheItemsOfTheBackendBeforeAreNotReplayed)
{
	const PortRef port = new_port_on(BACKEND_VIRTUAL);
	io_port_parse_backend_data(port.get(), "device", "old", "1");
	io_port_set_backend(port.get(), BACKEND_CHECK);
	io_port_parse_backend_data(port.get(), "device", "new", "2");
	io_port_close(port.get());
	recorder::reset();
	EXPECT_TRUE(io_port_setup(port.get()));
	EXPECT_THAT(recorder::calls(),
		    ElementsAre("check.parse_data(p, device, new, 2)",
				"check.setup(p, 0)"));
}

// ---- Setting up ----

TEST_F(IOPortBackendTest, SetupStartsAnOutputOnItsInactiveLevel)
{
	for (const bool activelow : {false, true}) {
		const PortRef port = make_port(PORT_OUTPUT);
		recorder::reset();
		port->output_activelow = activelow;
		port->input_activelow = !activelow;
		EXPECT_TRUE(io_port_setup(port.get()));
		EXPECT_TRUE(port->is_setup);
		EXPECT_THAT(recorder::calls(),
			    ElementsAre(activelow ? "full.setup(p, 1)"
						  : "full.setup(p, 0)"));
	}
}

TEST_F(IOPortBackendTest, AFailedSetupIsReportedAndLeavesThePortNotSetUp)
{
	const PortRef port = make_port(PORT_OUTPUT);
	fake_backends::set_setup_result(false);
	EXPECT_FALSE(io_port_setup(port.get()));
	EXPECT_FALSE(port->is_setup);
}

TEST_F(IOPortBackendTest, AFailedSetupLeavesAnEarlierSuccessAlone)
{
	const PortRef port = make_set_up_port(PORT_OUTPUT);
	fake_backends::set_setup_result(false);
	EXPECT_FALSE(io_port_setup(port.get()));
	EXPECT_TRUE(port->is_setup);
}

TEST_F(IOPortBackendDeathTest, SettingUpNoPortIsAProgrammingError)
{
	EXPECT_DEATH(io_port_setup(nullptr),
		     "ERROR:ioport\\.c:[0-9]+:io_port_setup: assertion failed: "
		     "\\(port != NULL\\)");
}

TEST_F(IOPortBackendDeathTest, SettingUpAPortWithoutABackendIsAProgrammingError)
{
	const PortRef port = new_port();
	EXPECT_DEATH(io_port_setup(port.get()),
		     "ERROR:ioport\\.c:[0-9]+:io_port_setup: assertion failed: "
		     "\\(port->functions != NULL\\)");
}

// ---- Closing ----

TEST_F(IOPortBackendTest, ClosingAPortWithoutABackendDoesNothing)
{
	const PortRef port = new_port();
	io_port_close(port.get());
	EXPECT_THAT(recorder::calls(), IsEmpty());
}

TEST_F(IOPortBackendTest, ClosingUsesTheBackendsClose)
{
	const PortRef port = make_set_up_port(PORT_INPUT);
	const void *record = port->backend_data;
	io_port_close(port.get());
	EXPECT_THAT(recorder::calls(), ElementsAre("full.close(p)"));
	EXPECT_EQ(port->backend_data, record);
	EXPECT_TRUE(port->is_setup);
}

TEST_F(IOPortBackendTest, ClosingABackendWithoutCloseFreesIt)
{
	const PortRef port = new_port_on(BACKEND_CHECK);
	ASSERT_TRUE(io_port_setup(port.get()));
	recorder::reset();
	io_port_close(port.get());
	EXPECT_THAT(recorder::calls(), ElementsAre("check.free(p)"));
	EXPECT_TRUE(port->is_setup);
}

TEST_F(IOPortBackendTest, ClosingLeavesThePortUnlocked)
{
	const PortRef port = make_set_up_port(PORT_INPUT);
	io_port_close(port.get());
	EXPECT_TRUE(port->lock.try_lock());
	port->lock.unlock();
}

TEST_F(IOPortBackendTest, APortWhoseRecordIsGoneIsSetUpFromItsItemsInOrder)
{
	const PortRef port = new_port_on(BACKEND_CHECK);
	for (const char *value : {"1", "2", "3"})
		io_port_parse_backend_data(port.get(), "device", "a", value);
	io_port_close(port.get());
	recorder::reset();
	EXPECT_TRUE(io_port_setup(port.get()));
	EXPECT_NE(port->backend_data, nullptr);
	EXPECT_THAT(recorder::calls(),
		    ElementsAre("check.parse_data(p, device, a, 1)",
				"check.parse_data(p, device, a, 2)",
				"check.parse_data(p, device, a, 3)",
				"check.setup(p, 0)"));
}

TEST_F(IOPortBackendTest, APortCanBeClosedAndSetUpAgainAnyNumberOfTimes)
{
	const PortRef port = new_port_on(BACKEND_CHECK);
	io_port_parse_backend_data(port.get(), "device", "a", "1");
	for (int i = 0; i < 3; ++i) {
		io_port_close(port.get());
		recorder::reset();
		EXPECT_TRUE(io_port_setup(port.get()));
		EXPECT_THAT(recorder::calls(),
			    ElementsAre("check.parse_data(p, device, a, 1)",
					"check.setup(p, 0)"));
	}
}

TEST_F(IOPortBackendTest, APortThatKeptItsRecordGetsNoItemTwice)
{
	const PortRef port = new_port_on(BACKEND_CHECK);
	io_port_parse_backend_data(port.get(), "device", "a", "1");
	recorder::reset();
	EXPECT_TRUE(io_port_setup(port.get()));
	EXPECT_TRUE(io_port_setup(port.get()));
	EXPECT_EQ(recorder::count("check.parse_data"), 0U);
}

TEST_F(IOPortBackendTest, SettingUpAgainKeepsTheRangesThatTheUserHasSet)
{
	const PortRef port = new_port_on(BACKEND_CHECK);
	io_port_parse_backend_data(port.get(), "range", "state", "cut");
	port->supervised_ranges = {{SUPERVISED_OPEN, 200, 100}};
	io_port_close(port.get());
	EXPECT_TRUE(io_port_setup(port.get()));
	ASSERT_EQ(port->supervised_ranges.size(), 1U);
	EXPECT_EQ(port->supervised_ranges[0].state, SUPERVISED_OPEN);
	EXPECT_EQ(port->supervised_ranges[0].lower_limit, 100U);
	EXPECT_EQ(port->supervised_ranges[0].upper_limit, 200U);
}

// ---- Configuration items ----

TEST_F(IOPortBackendTest, AnItemReachesTheBackendUnchanged)
{
	const PortRef port = new_port_on(BACKEND_SYSFS);
	EXPECT_TRUE(io_port_parse_backend_data(port.get(), "device", "Path",
					       " /a b "));
	EXPECT_THAT(recorder::calls(),
		    ElementsAre("sysfs.parse_data(p, device, Path,  /a b )"));
}

TEST_F(IOPortBackendTest, TheBackendsAnswerToAnItemIsPassedOn)
{
	const PortRef port = make_port(PORT_INPUT);
	IOPortFunctions table;
	use_table(port, &table);
	table.parse_data = [](IOPort *, const char *, const char *,
			      const char *) { return false; };
	EXPECT_FALSE(io_port_parse_backend_data(port.get(), "e", "a", "v"));
}

TEST_F(IOPortBackendTest, AnItemBeforeAnyBackendIsIgnored)
{
	const PortRef port = new_port();
	port->name = "p";
	EXPECT_FALSE(io_port_parse_backend_data(port.get(), "e", "a", "v"));
	io_port_set_backend(port.get(), BACKEND_CHECK);
	io_port_close(port.get());
	EXPECT_TRUE(io_port_setup(port.get()));
	EXPECT_EQ(recorder::count("check.parse_data"), 0U);
}

TEST_F(IOPortBackendTest, KeptItemsDoNotReferToTheCallersText)
{
	const PortRef port = new_port_on(BACKEND_CHECK);
	std::string element = "device";
	std::string attribute = "a";
	std::string value = "1";
	io_port_parse_backend_data(port.get(), element.c_str(),
				   attribute.c_str(), value.c_str());
	element[0] = attribute[0] = value[0] = '?';
	io_port_close(port.get());
	EXPECT_TRUE(io_port_setup(port.get()));
	EXPECT_EQ(recorder::count("check.parse_data(p, device, a, 1)"), 2U);
}

} // namespace
