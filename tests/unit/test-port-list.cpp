#include "ioport/port-list.h"

#include "list-fixture.h"
#include "log-capture.h"

#include <thread>

namespace
{

using testing::ElementsAre;
using testing::IsEmpty;

using PortListTest = ListTest;

void remove_property(const PortRef &port, const char *key)
{
	g_hash_table_remove(port->properties.get(), key);
}

// ---- Adding and counting ----

TEST_F(PortListTest, NewPortsGoToTheHead)
{
	add_port(PORT_INPUT, 0, "a");
	add_port(PORT_INPUT, 1, "b");
	add_port(PORT_INPUT, 2, "c");
	EXPECT_THAT(names(), ElementsAre("c", "b", "a"));
	EXPECT_EQ(io_port_list_length(), 3U);
}

TEST_F(PortListTest, TheListTakesAReferenceOfItsOwn)
{
	const PortRef port = make_port(PORT_INPUT);
	io_port_list_add(port);
	EXPECT_EQ(port->ref_count, 2);
	io_port_list_free_by_name("p");
	EXPECT_EQ(port->ref_count, 1);
}

TEST_F(PortListTest, TheNthPortCountsFromTheNewest)
{
	const PortRef a = add_port(PORT_INPUT, 0, "a");
	const PortRef b = add_port(PORT_INPUT, 1, "b");
	EXPECT_EQ(io_port_list_nth_data(0).get(), b.get());
	EXPECT_EQ(io_port_list_nth_data(1).get(), a.get());
	EXPECT_FALSE(io_port_list_nth_data(2));
	EXPECT_FALSE(io_port_list_nth_data(G_MAXUINT));
}

TEST_F(PortListTest, RealPortsAreCountedBySide)
{
	add_port(PORT_INPUT, 0);
	add_port(PORT_OUTPUT, 1);
	add_port(PORT_OUTPUT, 2);
	const PortRef configurable = add_port(PORT_IO_CTRL, 3);
	const PortRef other = add_port(PORT_INPUT, 4);
	io_port_add_property(other.get(), "ioport", "false");
	io_port_add_property(other.get(), "virtual", "true");
	EXPECT_EQ(io_port_list_nbr_inputs(), 2U);
	EXPECT_EQ(io_port_list_nbr_outputs(), 2U);
	configurable->direction = false;
	EXPECT_EQ(io_port_list_nbr_inputs(), 1U);
	EXPECT_EQ(io_port_list_nbr_outputs(), 3U);
}

TEST_F(PortListTest, AnEmptyListHasNothing)
{
	EXPECT_EQ(io_port_list_length(), 0U);
	EXPECT_EQ(io_port_list_nbr_inputs(), 0U);
	EXPECT_EQ(io_port_list_nbr_outputs(), 0U);
	EXPECT_FALSE(io_port_list_nth_data(0));
	EXPECT_FALSE(io_port_list_get_port(0));
	EXPECT_FALSE(io_port_list_get_by_name("p"));
	EXPECT_FALSE(io_port_list_get_port_any_value());
	EXPECT_THAT(io_port_list_get_numbered_ports(), IsEmpty());
	EXPECT_EQ(io_port_list_setup_dynamic_ports(), 0);
}

// ---- Looking up by number ----

TEST_F(PortListTest, OfTwoPortsWithANumberTheFirstConfiguredIsFound)
{
	const PortRef first = add_port(PORT_INPUT, 3, "first");
	add_port(PORT_INPUT, 3, "second");
	EXPECT_EQ(io_port_list_get_port(3).get(), first.get());
}

TEST_F(PortListTest, APortThatIsNeitherRealNorVirtualIsNotFoundByNumber)
{
	const PortRef port = add_port(PORT_INPUT, 3);
	remove_property(port, "ioport");
	EXPECT_FALSE(io_port_list_get_port(3));
	io_port_add_property(port.get(), "virtual", "no");
	EXPECT_FALSE(io_port_list_get_port(3));
	io_port_add_property(port.get(), "virtual", "true");
	EXPECT_EQ(io_port_list_get_port(3).get(), port.get());
}

TEST_F(PortListTest, APortThatIsNotFoundDoesNotHideALaterOne)
{
	remove_property(add_port(PORT_INPUT, 3, "first"), "ioport");
	const PortRef second = add_port(PORT_INPUT, 3, "second");
	EXPECT_EQ(io_port_list_get_port(3).get(), second.get());
}

TEST_F(PortListTest, NumbersOfNobodyAreNotFound)
{
	add_port(PORT_INPUT, 3);
	for (const int number : {0, 4, -1, G_MAXINT, G_MININT})
		EXPECT_FALSE(io_port_list_get_port(number)) << number;
}

TEST_F(PortListTest, TheOutermostNumbersAreFound)
{
	const PortRef highest = add_port(PORT_INPUT, G_MAXINT);
	const PortRef lowest = add_port(PORT_INPUT, -1);
	EXPECT_EQ(io_port_list_get_port(G_MAXINT).get(), highest.get());
	EXPECT_EQ(io_port_list_get_port(-1).get(), lowest.get());
}

TEST_F(PortListTest, ALookupReturnsAReferenceOfTheCallersOwn)
{
	const PortRef port = add_port(PORT_INPUT, 3);
	const int before = port->ref_count;
	const PortRef by_number = io_port_list_get_port(3);
	const PortRef by_name = io_port_list_get_by_name("p");
	const PortRef by_place = io_port_list_nth_data(0);
	EXPECT_EQ(port->ref_count, before + 3);
}

TEST_F(PortListTest, APortThatLeftTheListStaysValidForItsFinder)
{
	io_port_list_add(make_port(PORT_INPUT));
	const PortRef found = io_port_list_get_by_name("p");
	recorder::reset();
	io_port_list_free_by_name("p");
	EXPECT_EQ(recorder::count("full.free"), 0U);
	EXPECT_EQ(found->name, "p");
	EXPECT_EQ(found->ref_count, 1);
}

TEST_F(PortListTest, TheRuleForNumbersAppliesToAnyList)
{
	const PortRef first = add_port(PORT_INPUT, 3, "first");
	const PortRef second = add_port(PORT_INPUT, 3, "second");
	EXPECT_EQ(io_port_list_get_port_from_list({first, second}, 3).get(),
		  second.get());
	EXPECT_EQ(io_port_list_get_port_from_list({second, first}, 3).get(),
		  first.get());
	EXPECT_FALSE(io_port_list_get_port_from_list({}, 3));
}

TEST_F(PortListTest, NumberedPortsComeByNumberAndBelowTheLengthOnly)
{
	const PortRef two = add_port(PORT_INPUT, 2);
	const PortRef zero = add_port(PORT_INPUT, 0);
	add_port(PORT_INPUT, 0);
	add_port(PORT_INPUT, -1);
	add_port(PORT_INPUT, 6);
	remove_property(add_port(PORT_INPUT, 1), "ioport");
	std::vector<IOPort *> found;
	for (const PortRef &port : io_port_list_get_numbered_ports())
		found.push_back(port.get());
	EXPECT_THAT(found, ElementsAre(zero.get(), two.get()));
}

// ---- Names ----

TEST_F(PortListTest, OfTwoPortsWithANameTheNewestIsFound)
{
	add_port(PORT_INPUT, 0, "same");
	const PortRef second = add_port(PORT_INPUT, 1, "same");
	EXPECT_EQ(io_port_list_get_by_name("same").get(), second.get());
	EXPECT_FALSE(io_port_list_get_by_name("Same"));
	EXPECT_FALSE(io_port_list_get_by_name(""));
}

TEST_F(PortListTest, APortWithoutANameIsNotFoundByName)
{
	add_port(PORT_INPUT, 0)->name.reset();
	EXPECT_FALSE(io_port_list_get_by_name(""));
	EXPECT_FALSE(io_port_list_get_by_name("p"));
}

TEST_F(PortListTest, FreeingByNameDropsTheNewestOfThatName)
{
	const PortRef first = add_port(PORT_INPUT, 0, "same");
	const PortRef second = add_port(PORT_INPUT, 1, "same");
	const int before = second->ref_count;
	io_port_list_free_by_name("same");
	EXPECT_EQ(second->ref_count, before - 1);
	EXPECT_EQ(io_port_list_get_by_name("same").get(), first.get());
	EXPECT_EQ(io_port_list_length(), 1U);
}

TEST_F(PortListTest, FreeingByNameFreesAPortThatNobodyElseUses)
{
	io_port_list_add(make_port(PORT_OUTPUT));
	recorder::reset();
	io_port_list_free_by_name("p");
	EXPECT_THAT(recorder::calls(), ElementsAre("full.free(#1)", kUnwanted));
}

// ---- The action registration ----

TEST_F(PortListTest, ARealOutputIsWantedByTheActionEngine)
{
	const auto registration_after_adding = [](IOPortType type,
						  const char *property) {
		const PortRef port = make_port(type);
		if (property != nullptr)
			io_port_add_property(port.get(), property, "true");
		recorder::reset();
		io_port_list_add(port);
		const std::vector<std::string> calls = recorder::calls();
		io_port_list_free();
		return calls;
	};
	EXPECT_THAT(registration_after_adding(PORT_OUTPUT, "ioport"),
		    ElementsAre(kWanted));
	EXPECT_THAT(registration_after_adding(PORT_IO_CTRL, "ioport"),
		    ElementsAre(kWanted));
	EXPECT_THAT(registration_after_adding(PORT_INPUT, "ioport"),
		    ElementsAre(kUnwanted));
	EXPECT_THAT(registration_after_adding(PORT_OUTPUT, "virtual"),
		    ElementsAre(kUnwanted));
	EXPECT_THAT(registration_after_adding(PORT_OUTPUT, nullptr),
		    ElementsAre(kUnwanted));
}

TEST_F(PortListTest, AConfigurableInputIsAnOutputToTheActionEngine)
{
	const PortRef port = add_port(PORT_IO_CTRL, 0);
	ASSERT_TRUE(port->direction);
	const PortListGuard guard;
	update_action_registration_internal();
	EXPECT_THAT(recorder::calls(), ElementsAre(kWanted));
}

TEST_F(PortListTest, TheRegistrationFollowsARemovalByName)
{
	add_port(PORT_OUTPUT, 0, "out");
	io_port_list_free_by_name("nobody");
	EXPECT_THAT(recorder::calls(), ElementsAre(kWanted));
	recorder::reset();
	io_port_list_free_by_name("out");
	EXPECT_THAT(recorder::calls(), ElementsAre(kUnwanted));
}

// ---- Walks over the ports in service ----

TEST_F(PortListTest, TheNumbersOfSupervisablePortsComeInListOrder)
{
	add_port(PORT_INPUT, 4, "a");
	fake_backends::data(add_port(PORT_INPUT, 5, "b").get())->supervisable =
		false;
	add_port(PORT_INPUT, 1, "c");
	EXPECT_THAT(io_port_list_get_supervised_port_numbers(),
		    ElementsAre(1, 4));
}

TEST_F(PortListTest, ParametersAreReadForEveryPort)
{
	add_port(PORT_INPUT, 0, "a");
	add_port(PORT_OUTPUT, 1, "b");
	io_port_list_read_params();
	EXPECT_THAT(recorder::calls(), ElementsAre("param_get_conf_vals(b)",
						   "param_get_conf_vals(a)"));
}

TEST_F(PortListTest, EnabledInputsAreWatched)
{
	add_port(PORT_INPUT, 0, "a");
	add_port(PORT_OUTPUT, 1, "b");
	add_port(PORT_INPUT, 2, "c")->enabled = false;
	add_port(PORT_IO_CTRL, 3, "d");
	io_port_list_set_watch();
	EXPECT_THAT(recorder::calls(),
		    ElementsAre("full.set_watch(d)", "full.set_watch(a)"));
}

TEST_F(PortListTest, TheEventsOfEnabledPortsAreDeclared)
{
	const PortRef a = add_port(PORT_INPUT, 0, "a");
	add_event(a, "second");
	add_event(a, "first");
	const PortRef b = add_port(PORT_INPUT, 1, "b");
	add_event(b, "never");
	b->enabled = false;
	add_event(add_port(PORT_OUTPUT, 2, "c"), "IOPort");
	io_port_list_declare_events();
	EXPECT_THAT(recorder::calls(),
		    ElementsAre("io_event_declare_event(c, IOPort)",
				"io_event_declare_event(a, first)",
				"io_event_declare_event(a, second)"));
}

TEST_F(PortListTest, AnEventThatCannotBeDeclaredIsWarnedAboutAndPassed)
{
	const LogCapture log;
	const PortRef port = add_port(PORT_INPUT, 0);
	add_event(port, "second");
	add_event(port, "first");
	fake_events::set_declare_result(false);
	io_port_list_declare_events();
	EXPECT_THAT(log.warnings(),
		    ElementsAre("Could not declare event first",
				"Could not declare event second"));
}

TEST_F(PortListTest, AnyValueIsThatOfAnActiveEnabledPortWithTheEvent)
{
	add_port(PORT_INPUT, 0, "quiet");
	const PortRef port = add_port(PORT_INPUT, 1);
	ASSERT_TRUE(io_port_setup(port.get()));
	level_of(port) = 1;
	EXPECT_FALSE(io_port_list_get_port_any_value()) << "no such event";
	add_event(port, "PortAny");
	EXPECT_TRUE(io_port_list_get_port_any_value());
	port->enabled = false;
	EXPECT_FALSE(io_port_list_get_port_any_value()) << "disabled";
	port->enabled = true;
	level_of(port) = 0;
	EXPECT_FALSE(io_port_list_get_port_any_value()) << "inactive";
}

// ---- The end, and other threads ----

TEST_F(PortListTest, FreeingTheListFreesItsPortsWhoeverRefersToThem)
{
	const PortRef a = add_port(PORT_INPUT, 0, "a");
	const PortRef b = add_port(PORT_OUTPUT, 1, "b");
	const int before = a->ref_count;
	io_port_list_free();
	EXPECT_THAT(recorder::calls(),
		    ElementsAre("full.free(#1)", "full.free(#0)"));
	EXPECT_EQ(a->ref_count, before - 1);
	EXPECT_EQ(io_port_list_length(), 0U);
	EXPECT_EQ(a->backend_data, nullptr);
	EXPECT_EQ(b->name, std::nullopt);
}

TEST_F(PortListTest, FreeingTheListLeavesTheParkedPorts)
{
	const PortRef parked = add_optional("parked", 0);
	io_port_list_move_to_dynamic(parked.get());
	recorder::reset();
	io_port_list_free();
	EXPECT_THAT(recorder::calls(), IsEmpty());
	EXPECT_EQ(io_port_list_get_dynamic_port(0).get(), parked.get());
}

TEST_F(PortListTest, TheListCanBeLockedForAWalk)
{
	io_port_list_lock();
	EXPECT_THAT(io_port_list_get(), IsEmpty());
	io_port_list_unlock();
	const PortListGuard guard;
	EXPECT_THAT(io_port_list_get(), IsEmpty());
}

TEST_F(PortListTest, PortsComeAndGoWhileOtherThreadsLookThemUp)
{
	constexpr int kRounds = 500;
	std::atomic<bool> finished = false;
	std::thread finder([&finished] {
		while (!finished) {
			const PortRef port = io_port_list_get_port(1);
			EXPECT_TRUE(!port || port->number == 1);
			io_port_list_get_by_name("p");
			io_port_list_nth_data(0);
			io_port_list_get_supervised_port_numbers();
		}
	});
	for (int i = 0; i < kRounds; ++i) {
		PortRef port = make_port(PORT_INPUT);
		io_port_add_property(port.get(), "ioport", "true");
		io_port_list_add(port);
		port = PortRef();
		io_port_list_free_by_name("p");
	}
	finished = true;
	finder.join();
	EXPECT_EQ(recorder::count("full.free"), static_cast<size_t>(kRounds));
}

} // namespace
