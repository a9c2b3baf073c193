#include "ioport/ioport.h"

#include "port-fixture.h"

#include <algorithm>
#include <thread>

namespace
{

using testing::ElementsAre;
using testing::IsEmpty;
using testing::UnorderedElementsAre;

using IOPortTest = PortTest;

std::vector<std::string> keys_of(const PortRef &port)
{
	const util::ListPtr list(io_port_get_property_keys(port.get()));
	std::vector<std::string> keys;
	for (GList *link = list.get(); link != nullptr; link = link->next)
		keys.emplace_back(static_cast<const char *>(link->data));
	return keys;
}

std::vector<bool> values_of(const PortRef &port)
{
	const util::ListPtr list(io_port_get_property_values(port.get()));
	std::vector<bool> values;
	for (GList *link = list.get(); link != nullptr; link = link->next)
		values.push_back(GPOINTER_TO_INT(link->data) != 0);
	return values;
}

// ---- The record ----

TEST_F(IOPortTest, ANewPortIsAnInputWithoutANumberOrABackend)
{
	const PortRef port = new_port();
	EXPECT_EQ(port->type, PORT_INPUT);
	EXPECT_EQ(port->backend, BACKEND_VIRTUAL);
	EXPECT_EQ(port->backend_data, nullptr);
	EXPECT_EQ(port->functions, nullptr);
	EXPECT_EQ(port->number, -1);
	EXPECT_TRUE(port->direction);
	EXPECT_EQ(port->ref_count, 1);
}

TEST_F(IOPortTest, ANewPortHasNoNamesAndAnEmptyUsage)
{
	const PortRef port = new_port();
	EXPECT_EQ(port->name, std::nullopt);
	EXPECT_EQ(port->input_name, std::nullopt);
	EXPECT_EQ(port->output_name, std::nullopt);
	EXPECT_EQ(port->usage, "");
}

TEST_F(IOPortTest, ANewPortHasNoPropertiesEventsAndRanges)
{
	const PortRef port = new_port();
	ASSERT_TRUE(port->properties);
	EXPECT_EQ(g_hash_table_size(port->properties.get()), 0U);
	EXPECT_THAT(port->events, IsEmpty());
	EXPECT_THAT(port->supervised_ranges, IsEmpty());
}

TEST_F(IOPortTest, ANewPortIsEnabledClosedActiveAndNotSetUp)
{
	const PortRef port = new_port();
	EXPECT_TRUE(port->enabled);
	EXPECT_FALSE(port->is_setup);
	EXPECT_FALSE(port->output_activelow);
	EXPECT_FALSE(port->input_activelow);
	EXPECT_FALSE(port->supervised);
	EXPECT_FALSE(port->optional);
	EXPECT_FALSE(port->abort_sequence);
	EXPECT_FALSE(port->sequence_running);
}

TEST_F(IOPortTest, ANewPortIsBistableWithoutButtonPulseAndDelay)
{
	const PortRef port = new_port();
	EXPECT_EQ(port->mode, PORT_MODE_BISTABLE);
	EXPECT_EQ(port->button_type, BUTTON_NONE);
	EXPECT_EQ(port->pulse_time, 0U);
	EXPECT_EQ(port->delay_time, 0);
	EXPECT_EQ(port->reserved, 1);
}

TEST_F(IOPortTest, TheNumbersOfTheConfigurationFormatAreFixed)
{
	EXPECT_EQ(PORT_INPUT, 0);
	EXPECT_EQ(PORT_OUTPUT, 1);
	EXPECT_EQ(PORT_IO_CTRL, 2);
	EXPECT_THAT(
		(std::vector<int>{BACKEND_VIRTUAL, BACKEND_GPIO, BACKEND_SPIADC,
				  BACKEND_SPI, BACKEND_IIO,
				  BACKEND_IIO_INTERRUPT, BACKEND_SYSFS,
				  BACKEND_IOBOX, BACKEND_NULL, BACKEND_CHECK}),
		ElementsAre(0, 1, 2, 3, 4, 5, 6, 7, 8, 9));
}

TEST_F(IOPortTest, TheWordTablesAreIndexedByTheirNumbers)
{
	ASSERT_EQ(std::size(button_type_string), 3U);
	EXPECT_STREQ(button_type_string[0], "none");
	EXPECT_STREQ(button_type_string[1], "pulse");
	EXPECT_STREQ(button_type_string[2], "actinact");
	ASSERT_EQ(std::size(port_mode_string), 3U);
	EXPECT_STREQ(port_mode_string[0], "");
	EXPECT_STREQ(port_mode_string[1], "monostable");
	EXPECT_STREQ(port_mode_string[2], "bistable");
}

// ---- References ----

TEST_F(IOPortTest, RefAndUnrefOfNoPortAreIgnored)
{
	io_port_ref(nullptr);
	io_port_unref(nullptr);
}

TEST_F(IOPortTest, RefAndUnrefCountByOne)
{
	const PortRef port = new_port();
	io_port_ref(port.get());
	io_port_ref(port.get());
	EXPECT_EQ(port->ref_count, 3);
	io_port_unref(port.get());
	EXPECT_EQ(port->ref_count, 2);
	io_port_unref(port.get());
	EXPECT_EQ(port->ref_count, 1);
}

TEST_F(IOPortTest, TheLastUnrefFreesThePort)
{
	IOPort *port = make_port(PORT_INPUT).release();
	io_port_ref(port);
	io_port_unref(port);
	EXPECT_THAT(recorder::calls(), IsEmpty());
	io_port_unref(port);
	EXPECT_THAT(recorder::calls(), ElementsAre("full.free(#1)"));
}

TEST_F(IOPortTest, ReferencesOfManyThreadsAddUp)
{
	constexpr int kRounds = 10000;
	const PortRef port = make_port(PORT_INPUT);
	const auto use = [&port] {
		for (int i = 0; i < kRounds; ++i) {
			io_port_ref(port.get());
			io_port_unref(port.get());
		}
	};
	std::thread other(use);
	use();
	other.join();
	EXPECT_EQ(port->ref_count, 1);
	EXPECT_THAT(recorder::calls(), IsEmpty());
}

TEST_F(IOPortTest, AHandleThatAdoptsTakesNoReferenceOfItsOwn)
{
	IOPort *raw = io_port_new();
	const PortRef port = PortRef::adopt(raw);
	EXPECT_EQ(port.get(), raw);
	EXPECT_EQ(port->ref_count, 1);
}

TEST_F(IOPortTest, AHandleThatSharesTakesAReference)
{
	const PortRef port = new_port();
	{
		const PortRef second = PortRef::share(port.get());
		EXPECT_EQ(port->ref_count, 2);
	}
	EXPECT_EQ(port->ref_count, 1);
}

TEST_F(IOPortTest, ACopiedHandleCountsAndAMovedOneDoesNot)
{
	PortRef port = new_port();
	PortRef copy = port;
	EXPECT_EQ(port->ref_count, 2);
	const PortRef moved = std::move(copy);
	EXPECT_EQ(port->ref_count, 2);
	PortRef assigned;
	assigned = moved;
	EXPECT_EQ(port->ref_count, 3);
	assigned = PortRef();
	EXPECT_EQ(port->ref_count, 2);
	EXPECT_FALSE(assigned);
	EXPECT_TRUE(moved);
}

TEST_F(IOPortTest, AReleasedHandleLeavesItsReferenceToTheCaller)
{
	PortRef port = make_port(PORT_INPUT);
	IOPort *raw = port.release();
	EXPECT_FALSE(port);
	EXPECT_EQ(raw->ref_count, 1);
	io_port_unref(raw);
	EXPECT_EQ(recorder::count("full.free"), 1U);
}

// ---- Freeing ----

TEST_F(IOPortTest, FreeReleasesEventsFirstAndTheBackendLast)
{
	PortRef port = make_port(PORT_INPUT);
	add_event(port, "second");
	add_event(port, "first");
	io_port_free(port.release());
	EXPECT_THAT(recorder::calls(),
		    ElementsAre("io_event_free(first)", "io_event_free(second)",
				"full.free(#1)"));
}

TEST_F(IOPortTest, TheBackendIsFreedWhenThePortOwnsNothingElse)
{
	PortRef port = make_port(PORT_INPUT);
	IOPortFunctions table;
	use_table(port, &table);
	add_event(port, "IOPort");
	port->supervised_ranges = {{SUPERVISED_OPEN, 1, 0}};
	port->input_name = port->output_name = "name";
	table.free = [](IOPort *freed) {
		EXPECT_THAT(freed->events, IsEmpty());
		EXPECT_THAT(freed->supervised_ranges, IsEmpty());
		EXPECT_EQ(freed->name, std::nullopt);
		EXPECT_EQ(freed->input_name, std::nullopt);
		EXPECT_EQ(freed->output_name, std::nullopt);
		EXPECT_EQ(freed->usage, std::nullopt);
		EXPECT_FALSE(freed->properties);
		EXPECT_TRUE(freed->lock.try_lock());
		freed->lock.unlock();
		delete fake_backends::data(freed);
		freed->backend_data = nullptr;
		recorder::note("freed");
	};
	io_port_free(port.release());
	EXPECT_THAT(recorder::calls(),
		    ElementsAre("io_event_free(IOPort)", "freed"));
}

TEST_F(IOPortTest, FreeIgnoresTheCountAndTheMemoryOutlivesIt)
{
	PortRef port = make_port(PORT_INPUT);
	add_event(port, "IOPort");
	const PortRef other = port;
	io_port_free(port.release());
	EXPECT_EQ(recorder::count("io_event_free"), 1U);
	EXPECT_EQ(recorder::count("full.free"), 1U);
	EXPECT_EQ(other->ref_count, 1);
	EXPECT_EQ(other->backend_data, nullptr);
	EXPECT_THAT(other->events, IsEmpty());
}

TEST_F(IOPortTest, TheLastReferenceToAFreedPortFreesNothingAgain)
{
	PortRef port = make_port(PORT_INPUT);
	{
		const PortRef other = port;
		io_port_free(port.release());
		recorder::reset();
	}
	EXPECT_THAT(recorder::calls(), IsEmpty());
}

TEST_F(IOPortTest, AFreedPortAnswersItsLastUsers)
{
	PortRef port = make_set_up_port(PORT_OUTPUT);
	const PortRef other = port;
	io_port_free(port.release());
	EXPECT_FALSE(io_port_get_property(other.get(), "ioport"));
	EXPECT_EQ(io_port_get_property_keys(other.get()), nullptr);
	EXPECT_EQ(io_port_get_property_values(other.get()), nullptr);
	EXPECT_FALSE(other->is_setup);
}

TEST_F(IOPortTest, APortWithoutABackendCanBeFreed)
{
	PortRef port = new_port();
	add_event(port, "IOPort");
	io_port_free(port.release());
	EXPECT_THAT(recorder::calls(), ElementsAre("io_event_free(IOPort)"));
}

// ---- Properties ----

TEST_F(IOPortTest, APropertyIsTrueForTrueInAnyCaseOnly)
{
	const PortRef port = new_port();
	for (const char *value : {"true", "TRUE", "True", "tRuE"}) {
		io_port_add_property(port.get(), "virtual", value);
		EXPECT_TRUE(io_port_get_property(port.get(), "virtual"))
			<< value;
	}
	for (const char *value : {"yes", "1", "", "true ", " true", "false"}) {
		io_port_add_property(port.get(), "virtual", value);
		EXPECT_FALSE(io_port_get_property(port.get(), "virtual"))
			<< value;
	}
}

TEST_F(IOPortTest, AnAbsentPropertyAndAFalseOneAreBothFalse)
{
	const PortRef port = new_port();
	io_port_add_property(port.get(), "hidden", "false");
	EXPECT_FALSE(io_port_get_property(port.get(), "hidden"));
	EXPECT_FALSE(io_port_get_property(port.get(), "ioport"));
}

TEST_F(IOPortTest, ALookupTellsAnAbsentPropertyFromAFalseOne)
{
	const PortRef port = new_port();
	io_port_add_property(port.get(), "hidden", "false");
	io_port_add_property(port.get(), "ioport", "true");
	bool value = true;
	EXPECT_TRUE(io_port_lookup_property(port.get(), "hidden", &value));
	EXPECT_FALSE(value);
	EXPECT_TRUE(io_port_lookup_property(port.get(), "ioport", &value));
	EXPECT_TRUE(value);
	EXPECT_FALSE(io_port_lookup_property(port.get(), "virtual", &value));
	EXPECT_TRUE(value) << "left alone";
}

TEST_F(IOPortTest, PropertyKeysAreComparedExactly)
{
	const PortRef port = new_port();
	io_port_add_property(port.get(), "IOPort", "true");
	EXPECT_FALSE(io_port_get_property(port.get(), "ioport"));
}

TEST_F(IOPortTest, AddingAPropertyAgainReplacesItsValue)
{
	const PortRef port = new_port();
	io_port_add_property(port.get(), "ioport", "true");
	io_port_add_property(port.get(), "ioport", "no");
	EXPECT_FALSE(io_port_get_property(port.get(), "ioport"));
	EXPECT_THAT(keys_of(port), ElementsAre("ioport"));
}

TEST_F(IOPortTest, APropertyKeepsACopyOfItsKey)
{
	const PortRef port = new_port();
	std::string key = "ioport";
	io_port_add_property(port.get(), key.c_str(), "true");
	key[0] = '?';
	EXPECT_TRUE(io_port_get_property(port.get(), "ioport"));
}

TEST_F(IOPortTest, KeysAndValuesComeInTheSameOrder)
{
	const PortRef port = new_port();
	for (const char *key : {"ioport", "hidden", "anything", "more"})
		io_port_add_property(port.get(), key,
				     key[0] == 'h' ? "false" : "true");
	const std::vector<std::string> keys = keys_of(port);
	const std::vector<bool> values = values_of(port);
	EXPECT_THAT(keys, UnorderedElementsAre("ioport", "hidden", "anything",
					       "more"));
	ASSERT_EQ(values.size(), keys.size());
	for (size_t i = 0; i < keys.size(); ++i)
		EXPECT_EQ(values[i],
			  io_port_get_property(port.get(), keys[i].c_str()));
}

TEST_F(IOPortTest, APortWithoutATableHasNoProperty)
{
	const PortRef port = new_port();
	port->properties.reset();
	bool value = true;
	EXPECT_FALSE(io_port_get_property(port.get(), "ioport"));
	EXPECT_FALSE(io_port_lookup_property(port.get(), "ioport", &value));
}

} // namespace
