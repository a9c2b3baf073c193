#include "backends/spiadc-backend.h"

#include "fakes/fake-spi.h"
#include "fakes/recorder.h"
#include "ioport/port-seam.h"
#include "ioport/port-state.h"
#include "log-capture.h"
#include "temp-dir.h"

#include <gmock/gmock.h>

#include <cerrno>
#include <climits>

namespace
{

using fake_spi::Call;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::SizeIs;

constexpr char kAnyChange[] = "iocontrol_emit_port_changed(4";

class SpiadcBackendTest : public testing::Test
{
protected:
	SpiadcBackendTest()
	{
		fake_spi::reset();
		recorder::reset();
		write_file(path_, "");
		port_->name = "smoke";
		port_->number = 4;
		functions_ = io_port_set_backend(port_.get(), BACKEND_SPIADC);
		parse("device", "device", path_);
		parse("device", "address", "0x1f");
	}
	SpiadcPortData *data()
	{
		return static_cast<SpiadcPortData *>(port_->backend_data);
	}
	void parse(const char *group, const char *key, const std::string &value)
	{
		io_port_parse_backend_data(port_.get(), group, key,
					   value.c_str());
	}
	void parse_band(const char *least, const char *most,
			const char *hysteresis)
	{
		parse("range", "state", "active");
		parse("input", "active_min", least);
		parse("input", "active_max", most);
		parse("input", "hysteresis", hysteresis);
	}
	/// Set up and polled on every round of the main loop.
	void watch()
	{
		ASSERT_TRUE(io_port_setup(port_.get()));
		io_port_set_watch(port_.get());
		recorder::reset();
	}
	/// The line's level after one poll of the converter.
	int poll(guint8 level)
	{
		fake_spi::set_level(0x1f, level);
		g_main_context_iteration(nullptr, FALSE);
		return functions_->get_state(port_.get());
	}

	TempDir dir_;
	const std::string path_ = dir_.file("spidev");
	LogCapture log_;
	PortRef port_ = PortRef::adopt(io_port_new());
	const IOPortFunctions *functions_;
};

using SpiadcBackendDeathTest = SpiadcBackendTest;

// ---- configuration ----

TEST_F(SpiadcBackendTest, NumbersAreDecimalHexadecimalOrOctal)
{
	for (const auto &[text, number] : {std::pair("100", 100),
					   {"0x64", 100},
					   {"0144", 100},
					   {"-7", -7},
					   {"none", 0}}) {
		parse("device", "address", text);
		EXPECT_EQ(data()->address, number) << text;
		parse("device", "timeout", text);
		EXPECT_EQ(data()->timeout, number) << text;
		parse_band(text, text, text);
		EXPECT_EQ(data()->bands.front().active_min, number) << text;
		EXPECT_EQ(data()->bands.front().active_max, number) << text;
		EXPECT_EQ(data()->bands.front().hysteresis, number) << text;
	}
}

TEST_F(SpiadcBackendTest, OnlyTheWordTrueInverts)
{
	for (const auto &[text, inverted] : {std::pair("true", true),
					     {"TRUE", false},
					     {"1", false},
					     {"false", false}}) {
		parse("device", "inverted", text);
		EXPECT_EQ(data()->inverted, inverted) << text;
	}
}

TEST_F(SpiadcBackendTest, BoundsGoToTheNewestBandOnly)
{
	parse("range", "x", "y");
	parse("range", "x", "y");
	parse("input", "active_min", "10");
	parse("input", "active_max", "20");
	ASSERT_THAT(data()->bands, SizeIs(2));
	EXPECT_EQ(data()->bands[0].active_min, 10);
	EXPECT_EQ(data()->bands[0].active_max, 20);
	EXPECT_EQ(data()->bands[1].active_min, 0);
	EXPECT_EQ(data()->bands[1].active_max, 0);
}

TEST_F(SpiadcBackendTest, ABoundBeforeAnyBandIsWarnedOf)
{
	parse("input", "active_min", "10");
	EXPECT_THAT(log_.warnings(),
		    ElementsAre("Spi ADC backend configured incorrectly"));
	EXPECT_THAT(data()->bands, IsEmpty());
}

TEST_F(SpiadcBackendTest, UnknownKeysOfInputAndDeviceAreIgnored)
{
	parse_band("1", "2", "3");
	parse("input", "active_mean", "10");
	parse("device", "path", "/dev/other");
	EXPECT_EQ(data()->path, path_);
	EXPECT_THAT(log_.messages(), IsEmpty());
}

TEST_F(SpiadcBackendTest, AnUnknownElementIsWarnedOf)
{
	parse("output", "pin", "1");
	EXPECT_THAT(log_.warnings(),
		    ElementsAre("Could not parse backend data!\n"));
}

TEST_F(SpiadcBackendTest, AnIntervalThatIsOutOfRangeIsWarnedOf)
{
	parse("device", "timeout", "-1");
	parse("device", "timeout", "3000000000");
	EXPECT_EQ(data()->timeout, INT_MAX);
	EXPECT_THAT(
		log_.warnings(),
		ElementsAre("Poll interval -1 of port smoke is out of range",
			    "Poll interval 3000000000 of port smoke is out "
			    "of range"));
}

// ---- set-up ----

TEST_F(SpiadcBackendTest, ADeviceThatCannotBeOpenedFailsTheSetUp)
{
	const std::string missing = dir_.file("missing");
	parse("device", "device", missing);
	EXPECT_FALSE(io_port_setup(port_.get()));
	EXPECT_THAT(log_.warnings(),
		    ElementsAre("Failed to open " + missing +
				": No such file or directory"));
}

TEST_F(SpiadcBackendTest, NoSettingOfTheDeviceIsTouched)
{
	EXPECT_TRUE(io_port_setup(port_.get()));
	EXPECT_THAT(recorder::calls(), IsEmpty());
}

TEST_F(SpiadcBackendDeathTest, OnlyInputsAreServed)
{
	port_->type = PORT_IO_CTRL;
	EXPECT_DEATH(functions_->setup(port_.get(), 0),
		     "port->type == PORT_INPUT");
}

TEST_F(SpiadcBackendDeathTest, ASetUpWithoutARecordIsAnError)
{
	functions_->free(port_.get());
	EXPECT_DEATH(functions_->setup(port_.get(), 0), "data != NULL");
}

TEST_F(SpiadcBackendTest, ThePortIsPolledAtItsInterval)
{
	parse("device", "timeout", "40");
	const gint64 before = g_get_monotonic_time();
	watch();
	GSource *source =
		g_main_context_find_source_by_id(nullptr, data()->poll_id.id());
	ASSERT_NE(source, nullptr);
	EXPECT_GE(g_source_get_ready_time(source), before + 40000);
	EXPECT_LE(g_source_get_ready_time(source),
		  g_get_monotonic_time() + 40000);
}

TEST_F(SpiadcBackendTest, WatchingTwiceLeavesOnePoll)
{
	watch();
	const guint poll = data()->poll_id.id();
	io_port_set_watch(port_.get());
	EXPECT_EQ(data()->poll_id.id(), poll);
}

TEST_F(SpiadcBackendTest, NothingIsLeftOfAClosedPort)
{
	watch();
	const guint poll = data()->poll_id.id();
	io_port_close(port_.get());
	EXPECT_EQ(port_->backend_data, nullptr);
	EXPECT_EQ(g_main_context_find_source_by_id(nullptr, poll), nullptr);
	EXPECT_EQ(functions_->get_state(port_.get()), 0);
	functions_->set_watch(port_.get());
}

// ---- polling ----

TEST_F(SpiadcBackendTest, APollAsksForThePortsAddress)
{
	watch();
	poll(0);
	EXPECT_THAT(recorder::calls(), ElementsAre("message(tx 00 1f, rx 2)"));
}

TEST_F(SpiadcBackendTest, TheEdgesOfABandKeepTheStateFromChattering)
{
	parse_band("100", "150", "10");
	watch();
	EXPECT_EQ(poll(105), 0); // 110 to 140
	EXPECT_EQ(poll(109), 0);
	EXPECT_EQ(poll(110), 1);
	EXPECT_EQ(poll(145), 1); // 90 to 160
	EXPECT_EQ(poll(160), 1);
	EXPECT_EQ(poll(161), 0);
	EXPECT_EQ(poll(145), 0);
	EXPECT_EQ(poll(140), 1);
	EXPECT_EQ(poll(90), 1);
	EXPECT_EQ(poll(89), 0);
}

TEST_F(SpiadcBackendTest, ANegativeHysteresisIsNarrowerWhileActive)
{
	parse_band("100", "150", "-10");
	watch();
	EXPECT_EQ(poll(95), 1);  // 90 to 160
	EXPECT_EQ(poll(105), 0); // 110 to 140
	EXPECT_EQ(poll(105), 1);
	EXPECT_EQ(poll(120), 1);
}

TEST_F(SpiadcBackendTest, WithoutBandsTheInputIsNeverActive)
{
	watch();
	EXPECT_EQ(poll(0), 0);
	EXPECT_EQ(poll(255), 0);
	EXPECT_EQ(recorder::count(kAnyChange), 0U);
}

TEST_F(SpiadcBackendTest, WithoutBandsAnInvertedInputIsAlwaysActive)
{
	parse("device", "inverted", "true");
	watch();
	EXPECT_EQ(poll(0), 1);
	EXPECT_EQ(poll(255), 1);
	EXPECT_EQ(recorder::count(kAnyChange), 1U);
}

TEST_F(SpiadcBackendTest, EachChangeIsReportedOnceWithTheLogicalState)
{
	port_->input_activelow = true;
	parse_band("100", "150", "0");
	watch();
	poll(120);
	poll(121);
	EXPECT_EQ(recorder::count("iocontrol_emit_port_changed(4, virtual=0, "
				  "hidden=0, input=1, virtual_trig=0, state=0, "
				  "activelow=1)"),
		  1U);
	poll(10);
	EXPECT_EQ(recorder::count(kAnyChange), 2U);
}

TEST_F(SpiadcBackendTest, AFailedTransferReadsAs0AndIsClassified)
{
	parse_band("0", "10", "0");
	watch();
	EXPECT_EQ(poll(200), 0);
	fake_spi::fail(Call::MESSAGE, EIO);
	EXPECT_EQ(poll(200), 1);
	EXPECT_THAT(log_.warnings(),
		    ElementsAre("SPI_IOC_MESSAGE failed! : Input/output "
				"error"));
	fake_spi::fail(Call::MESSAGE, 0);
	EXPECT_EQ(poll(200), 0);
}

TEST_F(SpiadcBackendTest, AFaultThatLastsDoesNotFloodTheLog)
{
	watch();
	fake_spi::fail(Call::MESSAGE, EIO);
	for (int round = 0; round < 1000; ++round)
		poll(0);
	EXPECT_THAT(log_.warnings(), SizeIs(testing::Le(3U)));
}

// ---- the rule, over the whole scale ----

/// The rule in other words: an active input stays active up to the hysteresis
/// outside of a band's edges, an inactive one becomes active from the
/// hysteresis inside of them.
bool expected_match(const SpiadcBands &bands, int level, bool matched)
{
	for (const SpiadcBand &band : bands) {
		const int below = band.active_min - level;
		const int above = level - band.active_max;
		const int outside = std::max(below, above);
		if (matched ? outside <= band.hysteresis
			    : outside + band.hysteresis <= 0)
			return true;
	}
	return false;
}

TEST_F(SpiadcBackendTest, EveryLevelIsJudgedByItsDistanceFromTheBands)
{
	const SpiadcBands shapes[] = {
		{},
		{{100, 150, 10}},
		{{100, 150, -10}},
		{{100, 150, 0}},
		{{0, 255, 0}},
		{{0, 255, 300}},
		{{0, 0, 1}},
		{{255, 255, 1}},
		{{150, 100, 0}},  // reversed
		{{150, 100, 30}}, // reversed, yet wide enough while active
		{{100, 150, 26}}, // too narrow while inactive
		{{0, 50, 5}, {200, 255, 5}},
		{{0, 100, 10}, {100, 255, 10}},
		{{-20, 20, 5}},
		{{250, 300, 5}},
	};
	for (const SpiadcBands &bands : shapes)
		for (const bool matched : {false, true})
			for (int level = 0; level <= 255; ++level)
				ASSERT_EQ(spiadc_match(bands, level, matched),
					  expected_match(bands, level, matched))
					<< level << " of " << bands.size();
}

TEST_F(SpiadcBackendTest, EveryLevelAndInversionIsPolledByTheSameRule)
{
	const SpiadcBands bands = {{100, 150, 10}, {180, 200, -5}};
	for (const bool inverted : {false, true}) {
		watch();
		data()->bands = bands;
		data()->inverted = inverted;
		for (int level = 0; level <= 255; ++level)
			for (const int before : {0, 1}) {
				data()->state = before;
				const bool matched = before != int{inverted};
				const bool match =
					expected_match(bands, level, matched);
				ASSERT_EQ(poll(static_cast<guint8>(level)),
					  match != inverted)
					<< level << " after " << before;
			}
	}
}

TEST_F(SpiadcBackendTest, NumbersBeyond32BitsWrap)
{
	const SpiadcBands least = {{INT_MIN, INT_MAX, 1}};
	// INT_MIN - 1 is INT_MAX, INT_MAX + 1 is INT_MIN.
	EXPECT_FALSE(spiadc_match(least, 100, true));
	// INT_MIN + 1 to INT_MAX - 1.
	EXPECT_TRUE(spiadc_match(least, 100, false));
	const SpiadcBands widest = {{0, 0, INT_MIN}};
	// INT_MIN is its own negative.
	EXPECT_FALSE(spiadc_match(widest, 100, true));
	EXPECT_FALSE(spiadc_match(widest, 100, false));
}

} // namespace
