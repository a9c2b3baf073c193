// The two settings that supervisable ports have.

#include "comma-locale.h"
#include "fakes/fake-backends.h"
#include "ioport/io-errors.h"
#include "ioport/port-settings.h"
#include "param-fixture.h"

namespace
{

using testing::AllOf;
using testing::ElementsAre;
using testing::EndsWith;
using testing::HasSubstr;
using testing::Not;
using testing::StartsWith;
using testing::internal::CaptureStderr;
using testing::internal::GetCapturedStderr;

constexpr char kError[] = "Error parsing param file: ";
constexpr size_t kMostRanges = 1024;

/// "gate" is a supervisable input with a range of its own, not supervised.
class ParamSupervisionTest : public ParamTest
{
protected:
	ParamSupervisionTest()
	{
		fake_backends::bind_full(gate_.get());
		gate_->type = PORT_INPUT;
		gate_->supervised_ranges = {{.state = SUPERVISED_CUT,
					     .upper_limit = 9,
					     .lower_limit = 8}};
	}
	/// Before the table that it may use.
	~ParamSupervisionTest() override
	{
		gate_ = {};
	}
	/// The text of a whole group, with @p lines for the two settings.
	static std::string group(const std::string &lines)
	{
		return "[gate]\ninput_name=Saved in\ninput_activelow=true\n" +
		       lines + "usage=Saved usage\n";
	}
	bool read(const std::string &text)
	{
		open_text(text);
		return param_get_conf_vals(gate_.get());
	}
	bool read_ranges(const std::string &text)
	{
		return read(group("supervised_input_ranges=" + text +
				  "\nsupervised_input=true\n"));
	}
	/// What is printed about a reading that fails.
	std::string failure(const std::string &text)
	{
		CaptureStderr();
		EXPECT_FALSE(read(text));
		return GetCapturedStderr();
	}
	std::string ranges_failure(const std::string &text)
	{
		return failure(group("supervised_input_ranges=" + text +
				     "\nsupervised_input=true\n"));
	}
	/// "word lower..upper" of each range of the port.
	std::vector<std::string> ranges() const
	{
		std::vector<std::string> result;
		for (const auto &range : gate_->supervised_ranges)
			result.push_back(
				std::string(supervised_range_state2string(
					range.state)) +
				" " + std::to_string(range.lower_limit) + ".." +
				std::to_string(range.upper_limit));
		return result;
	}
	/// The settings in front of the two were read, and no other.
	void expect_ended_at_the_ranges() const
	{
		EXPECT_EQ(gate_->input_name, "Saved in");
		EXPECT_TRUE(gate_->input_activelow);
		EXPECT_THAT(ranges(), ElementsAre("cut 8..9"));
		EXPECT_FALSE(gate_->supervised);
		EXPECT_EQ(gate_->usage, "Usage");
	}
	void use_setter(bool (*setter)(IOPort *, SupervisedRangeList *,
				       GError **))
	{
		table_ = *gate_->functions;
		table_.set_supervised_ranges = setter;
		gate_->functions = &table_;
	}
	static std::string many_ranges(size_t count)
	{
		std::string text = "@a(suu) [";
		for (size_t i = 0; i < count; ++i)
			text += (i == 0 ? "('cut', " : ", ('cut', ") +
				std::to_string(i) + ", 65535)";
		return text + "]";
	}

private:
	IOPortFunctions table_ = {};
};

// ---- reading ----

TEST_F(ParamSupervisionTest, ASupervisablePortReadsItsRangesAndItsFlag)
{
	EXPECT_TRUE(read_ranges(
		"[('open', uint32 0, uint32 100), ('short', 200, 300)]"));
	EXPECT_THAT(ranges(), ElementsAre("open 0..100", "short 200..300"));
	EXPECT_TRUE(gate_->supervised);
	EXPECT_EQ(gate_->usage, "Saved usage");
}

TEST_F(ParamSupervisionTest, TheRangesAreSortedAndNotLookedAt)
{
	EXPECT_TRUE(read_ranges("@a(suu) [('cut', 70000, 1), ('ajar', 3, 4), "
				"('open', 3, 4)]"));
	EXPECT_THAT(ranges(),
		    ElementsAre("open 3..4", "undefined 3..4", "cut 70000..1"));
}

TEST_F(ParamSupervisionTest, ASavedListWithoutRangesLeavesTheConfiguredOnes)
{
	gate_->supervised = true;
	const auto configured = ranges();
	EXPECT_TRUE(read(group("supervised_input_ranges=@a(suu) []\n"
			       "supervised_input=false\n")));
	EXPECT_FALSE(gate_->supervised);
	EXPECT_EQ(ranges(), configured);
	EXPECT_THAT(configured, testing::Not(testing::IsEmpty()));
}

TEST_F(ParamSupervisionTest, TheHardwareIsNotSwitchedYet)
{
	EXPECT_TRUE(read_ranges("@a(suu) [('open', 1, 2)]"));
	EXPECT_EQ(recorder::count("full.set_supervised("), 0U);
}

TEST_F(ParamSupervisionTest, ASupervisablePortOfAnyTypeHasThem)
{
	constexpr auto kAnother = static_cast<IOPortType>(PORT_IO_CTRL + 1);
	for (const auto type : {PORT_OUTPUT, PORT_IO_CTRL, kAnother}) {
		gate_->type = type;
		EXPECT_THAT(saved(gate_),
			    HasSubstr("supervised_input_ranges=[('cut', uint32 "
				      "8, uint32 9)]\nsupervised_input=false\n"
				      "usage=Usage\n"));
		gate_->supervised = true;
		EXPECT_TRUE(read(saved()));
		EXPECT_FALSE(gate_->supervised);
	}
}

TEST_F(ParamSupervisionTest, APortOfAnotherTypeHasNothingElseButUsage)
{
	gate_->type = static_cast<IOPortType>(PORT_IO_CTRL + 1);
	EXPECT_TRUE(read("[gate]\n"
			 "supervised_input_ranges=@a(suu) [('open', 1, 2)]\n"
			 "supervised_input=true\nusage=Saved usage\n"));
	EXPECT_THAT(ranges(), ElementsAre("open 1..2"));
	EXPECT_TRUE(gate_->supervised);
	EXPECT_EQ(gate_->usage, "Saved usage");
}

TEST_F(ParamSupervisionTest, APortThatIsNotSupervisableReadsNeither)
{
	fake_backends::data(gate_.get())->supervisable = false;
	EXPECT_TRUE(read(group("supervised_input_ranges=garbage\n"
			       "supervised_input=garbage\n")));
	EXPECT_THAT(ranges(), ElementsAre("cut 8..9"));
	EXPECT_EQ(gate_->usage, "Saved usage");
}

TEST_F(ParamSupervisionTest, APortWithoutABackendReadsAndWritesNeither)
{
	const PortRef port = PortRef::adopt(io_port_new());
	port->name = "gate";
	port->input_name = "In";
	EXPECT_EQ(saved(port), "[gate]\ninput_name=In\n"
			       "input_activelow=false\nusage=\n");
	open_text(group(""));
	EXPECT_TRUE(param_get_conf_vals(port.get()));
}

TEST_F(ParamSupervisionTest, AnUnknownButtonTypeLeavesThemUnread)
{
	gate_->type = PORT_OUTPUT;
	EXPECT_TRUE(read("[gate]\noutput_name=a\noutput_activelow=false\n"
			 "button_type=toggle\n"
			 "supervised_input_ranges=garbage\n"
			 "supervised_input=true\n"));
	EXPECT_THAT(ranges(), ElementsAre("cut 8..9"));
	EXPECT_FALSE(gate_->supervised);
}

class ParamBadRangesTest : public ParamSupervisionTest,
			   public testing::WithParamInterface<std::string>
{
};

TEST_P(ParamBadRangesTest, EndTheReading)
{
	EXPECT_THAT(ranges_failure(GetParam()),
		    AllOf(StartsWith(kError), EndsWith("\n")));
	expect_ended_at_the_ranges();
}

INSTANTIATE_TEST_SUITE_P(
	WrongTypes, ParamBadRangesTest,
	testing::Values("[('open', 1, 2)]", "[('open', uint32 1, 2)]",
			"[(uint32 1, uint32 2, 'open')]", "@a(sii) []",
			"@au []", "('open', uint32 1, uint32 2)",
			"<[('open', uint32 1, uint32 2)]>", "'open'",
			"@ma(suu) just [('open', 1, 2)]", "{'open': uint32 1}",
			"@a(suu) [('open', 1)]", "@a(suu) [(1, 2, 3)]",
			"@a(suu) [('open', -1, 2)]",
			"@a(suu) [('open', 1, 4294967296)]"));

INSTANTIATE_TEST_SUITE_P(
	NoValues, ParamBadRangesTest,
	testing::Values("", "[]", R"(@a(suu) [('\\ud800', 1, 2)])", "garbage", "[", "[('open', uint32 1, uint32",
			"[('open', uint32 1, uint32 2)",
			"[('open', uint32 1, uint32 2)] more", "[('open",
			"@a(suu", "@", "%@a(suu)", "@a(suu) %s", "\xff\xfe",
			"\\q", std::string(100000, '['),
			std::string(100000, '('),
			"@" + std::string(100000, 'a') + "(suu) []"));

TEST_F(ParamSupervisionTest, AWrongTypeIsToldFromGarbage)
{
	EXPECT_EQ(ranges_failure("[('open', 1, 2)]"),
		  std::string(kError) + "The text of supervised_input_ranges "
					"is not of type a(suu)\n");
}

TEST_F(ParamSupervisionTest, MoreRangesThanADaemonCanUseAreRefused)
{
	EXPECT_TRUE(read_ranges(many_ranges(kMostRanges)));
	EXPECT_EQ(gate_->supervised_ranges.size(), kMostRanges);
	gate_->supervised = false;
	EXPECT_EQ(ranges_failure(many_ranges(kMostRanges + 1)),
		  std::string(kError) + "The text of supervised_input_ranges "
					"has more than 1024 ranges\n");
	EXPECT_EQ(gate_->supervised_ranges.size(), kMostRanges);
	EXPECT_FALSE(gate_->supervised);
}

TEST_F(ParamSupervisionTest, ATextThatIsTooLongIsNotParsed)
{
	EXPECT_EQ(ranges_failure("@a(suu) []" + std::string(kLongestText, ' ') +
				 "!"),
		  std::string(kError) +
			  "The text of supervised_input_ranges is too long\n");
	expect_ended_at_the_ranges();
}

TEST_F(ParamSupervisionTest, WithoutRangesTheReadingEnds)
{
	EXPECT_THAT(failure(group("supervised_input=true\n")),
		    AllOf(StartsWith(kError),
			  HasSubstr("supervised_input_ranges")));
	expect_ended_at_the_ranges();
}

TEST_F(ParamSupervisionTest, WithoutAUsableFlagTheReadingEnds)
{
	for (const char *line : {"", "supervised_input=perhaps\n"}) {
		const std::string lines =
			"supervised_input_ranges=@a(suu) [('open', 1, 2)]\n";
		EXPECT_THAT(failure(group(lines + line)),
			    AllOf(StartsWith(kError),
				  HasSubstr("supervised_input")));
		EXPECT_THAT(ranges(), ElementsAre("open 1..2"));
		EXPECT_FALSE(gate_->supervised);
		EXPECT_EQ(gate_->usage, "Usage");
	}
}

TEST_F(ParamSupervisionTest, ARejectionOfThePortEndsTheReadingWithItsMessage)
{
	use_setter([](IOPort *, SupervisedRangeList *, GError **error) {
		g_set_error_literal(error, io_supervised_error_quark(),
				    IO_SUPERVISED_ERROR_BAD_SUPERVISED_RANGE,
				    "No such levels");
		return false;
	});
	EXPECT_EQ(ranges_failure("@a(suu) [('open', 1, 2)]"),
		  std::string(kError) + "No such levels\n");
	expect_ended_at_the_ranges();
}

TEST_F(ParamSupervisionTest, ARejectionWithoutAReasonEndsTheReadingToo)
{
	use_setter(nullptr);
	EXPECT_EQ(ranges_failure("@a(suu) [('open', 1, 2)]"),
		  std::string(kError) + "The text of supervised_input_ranges "
					"is not for this port\n");
	expect_ended_at_the_ranges();
}

// ---- writing ----

TEST_F(ParamSupervisionTest, TheRangesAreWrittenInTheirOrderWithTheirType)
{
	gate_->supervised = true;
	gate_->supervised_ranges = {{.state = SUPERVISED_SHORT,
				     .upper_limit = G_MAXUINT32,
				     .lower_limit = 500},
				    {.state = SUPERVISED_OPEN,
				     .upper_limit = 100,
				     .lower_limit = 0}};
	EXPECT_EQ(saved(gate_),
		  "[gate]\n"
		  "input_name=In\n"
		  "input_activelow=false\n"
		  "supervised_input_ranges=[('short', uint32 500, uint32 "
		  "4294967295), ('open', 0, 100)]\n"
		  "supervised_input=true\n"
		  "usage=Usage\n");
}

TEST_F(ParamSupervisionTest, NoRangesAreWrittenWithTheirTypeToo)
{
	gate_->supervised_ranges.clear();
	EXPECT_THAT(saved(gate_),
		    HasSubstr("\nsupervised_input_ranges=@a(suu) []\n"));
	EXPECT_TRUE(read(saved()));
}

TEST_F(ParamSupervisionTest, AConfigurablePortWritesThemBetweenDelayAndUsage)
{
	gate_->type = PORT_IO_CTRL;
	EXPECT_THAT(saved(gate_), EndsWith("delay_time=2\n"
					   "supervised_input_ranges=[('cut', "
					   "uint32 8, uint32 9)]\n"
					   "supervised_input=false\n"
					   "usage=Usage\n"));
}

TEST_F(ParamSupervisionTest, APortThatIsNotSupervisableWritesNeither)
{
	fake_backends::data(gate_.get())->supervisable = false;
	EXPECT_THAT(saved(gate_), Not(HasSubstr("supervised")));
}

TEST_F(ParamSupervisionTest, KeysOfAPortThatIsNotSupervisableAnyMoreStay)
{
	const std::string before = saved(gate_);
	fake_backends::data(gate_.get())->supervisable = false;
	gate_->supervised_ranges.clear();
	EXPECT_EQ(saved(gate_), before);
}

TEST_F(ParamSupervisionTest, EveryRangeSurvivesASaveAndARead)
{
	const CommaLocale locale;
	gate_->supervised = true;
	gate_->supervised_ranges = {
		{SUPERVISED_OPEN, 65535, 0},
		{SUPERVISED_SHORT, 0, 65536},
		{SUPERVISED_CLOSED, G_MAXINT32, 1234567},
		{SUPERVISED_UNDEFINED, G_MAXUINT32, 7654321},
	};
	const auto before = ranges();
	saved(gate_);
	gate_->supervised = false;
	gate_->supervised_ranges.clear();
	EXPECT_TRUE(read(saved()));
	EXPECT_EQ(ranges(), before);
	EXPECT_TRUE(gate_->supervised);
}

} // namespace
