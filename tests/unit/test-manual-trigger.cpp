// Manual trigger ports, and the number that they start from.

#include "ioport/port-list.h"
#include "ioport/port-sequence.h"
#include "ioport/port-state.h"
#include "log-capture.h"
#include "port-fixture.h"

namespace
{

using testing::ElementsAre;

/// The first number is the process's: each test leaves it as it was.
class ManualTriggerTest : public PortTest
{
protected:
	~ManualTriggerTest() override
	{
		virtual_input_set_first_port_no(kDefaultFirstNumber);
	}

	static constexpr int kDefaultFirstNumber = 5;
};

TEST_F(ManualTriggerTest, IsAVirtualOutputThatIsSetUpAndDisabled)
{
	const PortRef port = io_port_create_manual_trigger(1);
	EXPECT_EQ(port->type, PORT_OUTPUT);
	EXPECT_FALSE(port->direction);
	EXPECT_EQ(port->backend, BACKEND_VIRTUAL);
	EXPECT_TRUE(port->is_setup);
	EXPECT_FALSE(port->enabled);
	EXPECT_TRUE(io_port_get_property(port.get(), "virtual"));
	EXPECT_FALSE(io_port_get_property(port.get(), "ioport"));
	EXPECT_EQ(port->ref_count, 1);
	EXPECT_THAT(recorder::calls(),
		    ElementsAre("virtual.setup(manualtrigger1, 0)"));
}

TEST_F(ManualTriggerTest, IsNamedAfterItsIndexAndNumberedFromTheFirst)
{
	virtual_input_set_first_port_no(40);
	const PortRef first = io_port_create_manual_trigger(1);
	EXPECT_EQ(first->name, "manualtrigger1");
	EXPECT_EQ(first->number, 40);
	const PortRef twelfth = io_port_create_manual_trigger(12);
	EXPECT_EQ(twelfth->name, "manualtrigger12");
	EXPECT_EQ(twelfth->number, 51);
}

TEST_F(ManualTriggerTest, HasOneEventWithItsStateAndItsIndex)
{
	const PortRef port = io_port_create_manual_trigger(3);
	ASSERT_EQ(port->events.size(), 1U);
	const IOEvent &event = *port->events.front();
	EXPECT_EQ(event.name, "com.vexa.Event.Qel.ManualTrigger");
	EXPECT_TRUE(event.for_input);
	EXPECT_TRUE(event.for_output);
	EXPECT_FALSE(event.for_supervised);
	EXPECT_FALSE(event.declare_only);
	ASSERT_EQ(event.keys.size(), 2U);
	const EventKey &state = event.keys.front();
	EXPECT_EQ(state.key, "state");
	EXPECT_EQ(state.value, "PORT_STATUS");
	EXPECT_EQ(state.type, "bool");
	EXPECT_TRUE(state.property);
	const EventKey &index = event.keys.back();
	EXPECT_EQ(index.key, "port");
	EXPECT_EQ(index.value, "3");
	EXPECT_EQ(index.type, "int");
	EXPECT_FALSE(index.property);
}

TEST_F(ManualTriggerTest, IsFoundByItsNumberOnceListed)
{
	const PortRef port = io_port_create_manual_trigger(2);
	io_port_list_add(port);
	EXPECT_EQ(io_port_list_get_port(6).get(), port.get());
	EXPECT_EQ(io_port_list_get_by_name("manualtrigger2").get(), port.get());
	io_port_list_free();
}

TEST_F(ManualTriggerTest, RefusesAWriteAndTakesASimulatedChange)
{
	const LogCapture log;
	const PortRef port = io_port_create_manual_trigger(1);
	port->enabled = true;
	EXPECT_FALSE(io_port_set_state(port.get(), 1));
	EXPECT_EQ(io_port_get_state(port.get()), 0);
	EXPECT_TRUE(io_port_set_virtual(port.get(), 1));
	EXPECT_EQ(io_port_get_state(port.get()), 1);
}

TEST_F(ManualTriggerTest, TheOutermostNumbersWrap)
{
	virtual_input_set_first_port_no(G_MAXINT32);
	EXPECT_EQ(io_port_create_manual_trigger(1)->number, G_MAXINT32);
	EXPECT_EQ(io_port_create_manual_trigger(2)->number, G_MININT32);
}

} // namespace
