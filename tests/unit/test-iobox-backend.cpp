#include "backends/iobox-backend.h"

#include "fakes/recorder.h"
#include "ioport/port-settings.h"
#include "ioport/port-state.h"
#include "ioport/port-supervision.h"
#include "log-capture.h"

#include <gmock/gmock.h>

namespace
{

using testing::ElementsAre;
using testing::IsEmpty;
using testing::SizeIs;

constexpr const char *kUnrecognized =
	"iobox_state_to_orvad_state@67: Unrecognized iobox supervised state: ";
constexpr int kSomeLevel = 1;
constexpr int kStates[] = {SUPERVISED_OPEN, SUPERVISED_CLOSED, SUPERVISED_SHORT,
			   SUPERVISED_CUT, SUPERVISED_UNDEFINED};

gint64 now = G_USEC_PER_SEC;

gint64 stopped_clock()
{
	return now;
}

TEST(IoboxStates, TheFourWordsAreTheStates)
{
	const LogCapture log;
	util::RateLimit complaints;
	EXPECT_EQ(iobox_state_to_orvad_state("open", &complaints), 0);
	EXPECT_EQ(iobox_state_to_orvad_state("closed", &complaints), 1);
	EXPECT_EQ(iobox_state_to_orvad_state("short", &complaints), 2);
	EXPECT_EQ(iobox_state_to_orvad_state("cut", &complaints), 3);
	EXPECT_THAT(log.messages(), IsEmpty());
}

TEST(IoboxStates, AnyOtherWordIsUndefinedWithAWarning)
{
	for (const char *word :
	     {"Open", "CLOSED", "cut ", "shor", "undefined", "", "0", "%s%n"}) {
		const LogCapture log;
		util::RateLimit complaints;
		EXPECT_EQ(iobox_state_to_orvad_state(word, &complaints), 4);
		EXPECT_THAT(log.messages(),
			    ElementsAre(LogCapture::Message{
				    G_LOG_LEVEL_WARNING,
				    std::string(kUnrecognized) + word}));
	}
}

TEST(IoboxStates, TheSameWordIsComplainedOfOnceASecond)
{
	const LogCapture log;
	util::RateLimit complaints(stopped_clock);
	for (int i = 0; i < 100; ++i)
		iobox_state_to_orvad_state("ajar", &complaints);
	EXPECT_THAT(log.messages(), SizeIs(1));
	now += G_USEC_PER_SEC;
	iobox_state_to_orvad_state("ajar", &complaints);
	const std::string line = std::string(kUnrecognized) + "ajar";
	EXPECT_THAT(log.warnings(),
		    ElementsAre(line, line + " (repeated 99 times)", line));
}

/// A port that has no proxy, as before its set-up and where there is no bus.
class IoboxBackendTest : public testing::Test
{
protected:
	IoboxBackendTest()
	{
		recorder::reset();
		port_->type = PORT_IO_CTRL;
		port_->name = "p";
		port_->number = 3;
		functions_ = io_port_set_backend(port_.get(), BACKEND_IOBOX);
	}
	IoboxPortData *data()
	{
		return static_cast<IoboxPortData *>(port_->backend_data);
	}
	int level_in_state(int state)
	{
		data()->state = state;
		return functions_->get_state(port_.get());
	}
	void use_all_slots()
	{
		functions_->set_supervised(port_.get(), true);
		functions_->set_state(port_.get(), kSomeLevel);
		functions_->set_watch(port_.get());
		functions_->set_direction(port_.get(), false);
		functions_->parse_data(port_.get(), "device", "nbr", "1");
		functions_->get_state(port_.get());
		SupervisedState state = SUPERVISED_UNDEFINED;
		guint32 level = kSomeLevel;
		functions_->get_supervised_readout(port_.get(), &state, &level,
						   nullptr);
		EXPECT_EQ(state, SUPERVISED_OPEN);
		EXPECT_EQ(level, 0U);
	}

	LogCapture log_;
	PortRef port_ = PortRef::adopt(io_port_new());
	const IOPortFunctions *functions_;
};

TEST_F(IoboxBackendTest, OffersEverythingButClose)
{
	EXPECT_NE(functions_->is_supervisable, nullptr);
	EXPECT_NE(functions_->set_supervised, nullptr);
	EXPECT_NE(functions_->get_supervised_ranges, nullptr);
	EXPECT_NE(functions_->set_supervised_ranges, nullptr);
	EXPECT_NE(functions_->get_supervised_readout, nullptr);
	EXPECT_EQ(functions_->close, nullptr);
}

TEST_F(IoboxBackendTest, ANewRecordIsZeroed)
{
	EXPECT_EQ(data()->proxy, nullptr);
	EXPECT_FALSE(data()->available);
	EXPECT_FALSE(data()->watching);
	EXPECT_EQ(data()->level, 0);
	EXPECT_EQ(data()->signal_id.id(), 0U);
	EXPECT_EQ(data()->state, SUPERVISED_OPEN);
}

TEST_F(IoboxBackendTest, ChosenAgainItKeepsTheRecord)
{
	const IoboxPortData *before = data();
	data()->watching = true;
	EXPECT_EQ(io_port_set_backend(port_.get(), BACKEND_IOBOX), functions_);
	EXPECT_EQ(data(), before);
	EXPECT_TRUE(data()->watching);
}

TEST_F(IoboxBackendTest, EveryPortCanBeSupervised)
{
	for (const IOPortType type : {PORT_INPUT, PORT_OUTPUT, PORT_IO_CTRL}) {
		port_->type = type;
		EXPECT_TRUE(io_port_is_supervisable(port_.get()));
	}
}

TEST_F(IoboxBackendTest, WithoutAProxyNobodyIsTold)
{
	use_all_slots();
	EXPECT_EQ(data()->state, SUPERVISED_CLOSED);
	EXPECT_EQ(data()->level, kSomeLevel);
	EXPECT_TRUE(data()->watching);
	EXPECT_THAT(log_.messages(), IsEmpty());
	EXPECT_THAT(recorder::calls(), IsEmpty());
}

TEST_F(IoboxBackendTest, APortWithoutARecordReads0AndForgetsEverything)
{
	functions_->free(port_.get());
	ASSERT_EQ(port_->backend_data, nullptr);
	use_all_slots();
	functions_->free(port_.get());
	EXPECT_EQ(port_->backend_data, nullptr);
	EXPECT_THAT(log_.messages(), IsEmpty());
}

TEST_F(IoboxBackendTest, APortThatIsNotAvailableReads0)
{
	for (const int state : kStates)
		EXPECT_EQ(level_in_state(state), 0);
}

TEST_F(IoboxBackendTest, APlainPortsStateIsTheNearestLevel)
{
	data()->available = true;
	EXPECT_EQ(level_in_state(SUPERVISED_OPEN), 0);
	EXPECT_EQ(level_in_state(SUPERVISED_CLOSED), 1);
	EXPECT_EQ(level_in_state(SUPERVISED_SHORT), 1);
	EXPECT_EQ(level_in_state(SUPERVISED_CUT), 0);
	EXPECT_EQ(level_in_state(SUPERVISED_UNDEFINED), 4);
}

TEST_F(IoboxBackendTest, ASupervisedInputsStateIsAsItIs)
{
	data()->available = true;
	port_->supervised = true;
	for (const int state : kStates)
		EXPECT_EQ(level_in_state(state), state);
}

TEST_F(IoboxBackendTest, ASupervisedPortThatIsAnOutputIsPlain)
{
	data()->available = true;
	port_->supervised = true;
	port_->direction = false;
	EXPECT_EQ(level_in_state(SUPERVISED_SHORT), 1);
	EXPECT_EQ(level_in_state(SUPERVISED_CUT), 0);
}

TEST_F(IoboxBackendTest, TheReadoutHasNoLevelAndNoError)
{
	data()->available = true;
	for (const bool supervised : {false, true}) {
		port_->supervised = supervised;
		data()->state = SUPERVISED_CUT;
		SupervisedState state = SUPERVISED_UNDEFINED;
		guint32 level = kSomeLevel;
		util::Error error;
		EXPECT_TRUE(functions_->get_supervised_readout(
			port_.get(), &state, &level, &error));
		EXPECT_EQ(state, supervised ? SUPERVISED_CUT : SUPERVISED_OPEN);
		EXPECT_EQ(level, 0U);
		EXPECT_FALSE(error);
	}
}

TEST_F(IoboxBackendTest, AnyLevelAbove0IsClosed)
{
	for (const auto &[level, state] : {std::pair(1, SUPERVISED_CLOSED),
					   {0, SUPERVISED_OPEN},
					   {7, SUPERVISED_CLOSED},
					   {-1, SUPERVISED_OPEN}}) {
		functions_->set_state(port_.get(), level);
		EXPECT_EQ(data()->state, state);
		EXPECT_EQ(data()->level, level);
	}
}

TEST_F(IoboxBackendTest, TheRangesAreThePortsOwn)
{
	SupervisedRangeList *ranges = nullptr;
	ASSERT_TRUE(io_port_get_supervised_ranges(port_.get(), &ranges));
	EXPECT_EQ(ranges, &port_->supervised_ranges);
}

TEST_F(IoboxBackendTest, AnyRangesAreTakenOver)
{
	SupervisedRangeList list = {{SUPERVISED_UNDEFINED, 1, 70000},
				    {SUPERVISED_CUT, 0, 0},
				    {SUPERVISED_CUT, 0, 0}};
	util::Error error;
	EXPECT_TRUE(io_port_set_supervised_ranges(port_.get(), &list, &error));
	EXPECT_THAT(list, IsEmpty());
	ASSERT_THAT(port_->supervised_ranges, SizeIs(3));
	EXPECT_EQ(port_->supervised_ranges.front().lower_limit, 70000U);

	EXPECT_TRUE(io_port_set_supervised_ranges(port_.get(), &list, &error));
	EXPECT_THAT(port_->supervised_ranges, IsEmpty());
	EXPECT_FALSE(error);
}

TEST_F(IoboxBackendTest, NoRangesAreAnEmptyList)
{
	port_->supervised_ranges = {{SUPERVISED_CUT, 2, 1}};
	util::Error error;
	EXPECT_TRUE(
		io_port_set_supervised_ranges(port_.get(), nullptr, &error));
	EXPECT_THAT(port_->supervised_ranges, IsEmpty());
	EXPECT_FALSE(error);
}

/// Where there is no bus.
class IoboxWithoutABusTest : public IoboxBackendTest
{
protected:
	IoboxWithoutABusTest()
	{
		g_setenv("DBUS_SYSTEM_BUS_ADDRESS", "unix:path=/nowhere/bus",
			 TRUE);
	}
	~IoboxWithoutABusTest() override
	{
		g_unsetenv("DBUS_SYSTEM_BUS_ADDRESS");
	}
};

TEST_F(IoboxWithoutABusTest, TheSetUpFailsWithAMessageEachTime)
{
	const std::string line = "iobox_port_setup@168: Proxy for "
				 "com.vexa.IOBoxMonitor not available";
	EXPECT_FALSE(io_port_setup(port_.get()));
	EXPECT_THAT(log_.texts(G_LOG_LEVEL_MESSAGE), ElementsAre(line));
	EXPECT_FALSE(io_port_setup(port_.get()));
	EXPECT_THAT(log_.texts(G_LOG_LEVEL_MESSAGE), ElementsAre(line, line));
	EXPECT_FALSE(port_->is_setup);
	EXPECT_FALSE(data()->available);
}

TEST_F(IoboxWithoutABusTest, ThePortIsDisabledAndItsEventsUndeclared)
{
	port_->events.emplace_front(new IOEvent);
	port_->events.front()->name = "IOPort";
	EXPECT_FALSE(io_port_setup(port_.get()));
	EXPECT_FALSE(port_->enabled);
	io_port_set_watch(port_.get());
	io_port_trigger(port_.get(), 1);
	EXPECT_FALSE(data()->watching);
	EXPECT_THAT(recorder::calls(),
		    ElementsAre("io_event_undeclare_event(IOPort)"));
}

TEST_F(IoboxWithoutABusTest, APortThatWasClosedIsTriedWithANewRecord)
{
	io_port_set_watch(port_.get());
	ASSERT_TRUE(data()->watching);
	io_port_close(port_.get());
	ASSERT_EQ(port_->backend_data, nullptr);
	EXPECT_FALSE(io_port_setup(port_.get()));
	ASSERT_NE(port_->backend_data, nullptr);
	EXPECT_FALSE(data()->watching);
}

} // namespace
