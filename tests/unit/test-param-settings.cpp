#include "comma-locale.h"
#include "param-fixture.h"

#include <algorithm>

namespace
{

using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::Not;
using testing::StartsWith;
using testing::internal::CaptureStderr;
using testing::internal::CaptureStdout;
using testing::internal::GetCapturedStderr;
using testing::internal::GetCapturedStdout;

// ---- reading ----

TEST_F(ParamTest, ACompleteGroupGivesThePortEverySetting)
{
	open_text(kSavedGroup);
	EXPECT_TRUE(param_get_conf_vals(gate_.get()));
	EXPECT_THAT(settings(gate_),
		    ElementsAre("input=0", "input_name=Saved in",
				"input_activelow=1", "output_name=Saved out",
				"output_activelow=1", "button_type=2",
				"pulse_time=1200", "port_mode=1",
				"delay_time=340", "usage=Saved usage"));
}

TEST_F(ParamTest, AnInputReadsTheInputKeysAndUsageOnly)
{
	gate_->type = PORT_INPUT;
	open_text(kSavedGroup);
	EXPECT_TRUE(param_get_conf_vals(gate_.get()));
	EXPECT_THAT(settings(gate_),
		    ElementsAre("input=1", "input_name=Saved in",
				"input_activelow=1", "output_name=Out",
				"output_activelow=0", "button_type=1",
				"pulse_time=1", "port_mode=2", "delay_time=2",
				"usage=Saved usage"));
}

TEST_F(ParamTest, AnOutputReadsTheOutputKeysAndUsageOnly)
{
	gate_->type = PORT_OUTPUT;
	open_text(kSavedGroup);
	EXPECT_TRUE(param_get_conf_vals(gate_.get()));
	EXPECT_THAT(settings(gate_),
		    ElementsAre("input=1", "input_name=In", "input_activelow=0",
				"output_name=Saved out", "output_activelow=1",
				"button_type=2", "pulse_time=1200",
				"port_mode=1", "delay_time=340",
				"usage=Saved usage"));
}

TEST_F(ParamTest, APortOfAnotherTypeReadsUsageOnly)
{
	gate_->type = static_cast<IOPortType>(PORT_IO_CTRL + 1);
	open_text("[gate]\nusage=Saved usage\n");
	EXPECT_TRUE(param_get_conf_vals(gate_.get()));
	EXPECT_EQ(gate_->usage, "Saved usage");
	EXPECT_EQ(gate_->input_name, "In");
}

TEST_F(ParamTest, APortWithoutANameIsReportedAndRefused)
{
	gate_->name.reset();
	open_text(kSavedGroup);
	CaptureStderr();
	EXPECT_FALSE(param_get_conf_vals(gate_.get()));
	EXPECT_EQ(GetCapturedStderr(), "Port does not have a name!\n");
}

TEST_F(ParamTest, APortWithoutAGroupKeepsItsValuesSilently)
{
	open_text("[door]\nusage=x\n");
	const auto before = settings(gate_);
	CaptureStderr();
	CaptureStdout();
	EXPECT_FALSE(param_get_conf_vals(gate_.get()));
	EXPECT_EQ(GetCapturedStderr(), "");
	EXPECT_EQ(GetCapturedStdout(), "");
	EXPECT_EQ(settings(gate_), before);
}

/// A key that ends the reading, and its line when it cannot be understood.
struct BrokenKey {
	const char *key;
	const char *malformed;
};

class ParamBrokenKeyTest : public ParamTest,
			   public testing::WithParamInterface<BrokenKey>
{
protected:
	/// The saved group with @p replacement for the line of the key.
	std::string group_with(const std::string &replacement) const
	{
		std::string text = kSavedGroup;
		const size_t begin =
			text.find(std::string("\n") + GetParam().key + "=") + 1;
		const size_t end = text.find('\n', begin) + 1;
		return text.replace(begin, end - begin, replacement);
	}
	/// What the port has when the reading ended at the key: the saved
	/// values before it, its own from it on.
	std::vector<std::string> partly_read() const
	{
		const PortRef complete = make_port("gate", 3, PORT_IO_CTRL);
		complete->direction = false;
		complete->input_name = "Saved in";
		complete->input_activelow = true;
		complete->output_name = "Saved out";
		complete->output_activelow = true;
		complete->button_type = BUTTON_ACTINACT;
		complete->pulse_time = 1200;
		complete->mode = PORT_MODE_MONOSTABLE;
		complete->delay_time = 340;
		complete->usage = "Saved usage";

		std::vector<std::string> result = settings(complete);
		const std::vector<std::string> own =
			settings(make_port("gate", 3, PORT_IO_CTRL));
		std::copy(own.begin() + static_cast<long>(position()),
			  own.end(),
			  result.begin() + static_cast<long>(position()));
		return result;
	}
	/// The key's place in the order of reading.
	size_t position() const
	{
		const std::vector<std::string> lines = settings(gate_);
		const std::string prefix = std::string(GetParam().key) + "=";
		return static_cast<size_t>(
			std::ranges::find_if(lines,
					     [&](const std::string &line) {
						     return line.starts_with(
							     prefix);
					     }) -
			lines.begin());
	}
	void expect_reading_fails()
	{
		CaptureStderr();
		EXPECT_FALSE(param_get_conf_vals(gate_.get()));
		const std::string message = GetCapturedStderr();
		EXPECT_THAT(message, StartsWith("Error parsing param file: "));
		EXPECT_THAT(message, HasSubstr(GetParam().key));
		EXPECT_EQ(message.back(), '\n');
	}
};

TEST_P(ParamBrokenKeyTest, MalformedEndsTheReading)
{
	open_text(group_with(std::string(GetParam().malformed) + "\n"));
	expect_reading_fails();
	EXPECT_EQ(settings(gate_), partly_read());
}

class ParamMissingKeyTest : public ParamBrokenKeyTest
{
};

TEST_P(ParamMissingKeyTest, MissingEndsTheReading)
{
	open_text(group_with(""));
	expect_reading_fails();
	EXPECT_EQ(settings(gate_), partly_read());
}

class ParamMissingNameTest : public ParamBrokenKeyTest
{
};

TEST_P(ParamMissingNameTest, MissingUnsetsTheNameAndEndsTheReading)
{
	open_text(group_with(""));
	CaptureStdout();
	expect_reading_fails();
	const std::string key = GetParam().key;
	const std::string side = key.substr(0, key.find('_'));
	EXPECT_EQ(GetCapturedStdout(),
		  "No " + side + " name for port gate:3\n");

	std::vector<std::string> expected = partly_read();
	expected[position()] = key + "=(none)";
	EXPECT_EQ(settings(gate_), expected);
}

constexpr BrokenKey kNumbersFlagsAndWords[] = {
	{"input", "input=perhaps"},
	{"input_activelow", "input_activelow=2"},
	{"output_activelow", "output_activelow="},
	{"button_type", "button_type=\\q"},
	{"pulse_time", "pulse_time=1,5"},
	{"port_mode", "port_mode=\xff"},
	{"delay_time", "delay_time=long"},
};

constexpr BrokenKey kNames[] = {
	{"input_name", "input_name=a\\q"},
	{"output_name", "output_name=\xc3"},
};

constexpr BrokenKey kUsage[] = {{"usage", "usage=\xff\xfe"}};

std::string key_of(const testing::TestParamInfo<BrokenKey> &info)
{
	return info.param.key;
}

INSTANTIATE_TEST_SUITE_P(Values, ParamBrokenKeyTest,
			 testing::ValuesIn(kNumbersFlagsAndWords), key_of);
INSTANTIATE_TEST_SUITE_P(Names, ParamBrokenKeyTest, testing::ValuesIn(kNames),
			 key_of);
INSTANTIATE_TEST_SUITE_P(Usage, ParamBrokenKeyTest, testing::ValuesIn(kUsage),
			 key_of);
INSTANTIATE_TEST_SUITE_P(Values, ParamMissingKeyTest,
			 testing::ValuesIn(kNumbersFlagsAndWords), key_of);
INSTANTIATE_TEST_SUITE_P(Names, ParamMissingNameTest, testing::ValuesIn(kNames),
			 key_of);

TEST_F(ParamTest, AnUnknownButtonTypeEndsTheReadingAsASuccess)
{
	open_text("[gate]\ninput=false\ninput_name=a\ninput_activelow=true\n"
		  "output_name=b\noutput_activelow=true\nbutton_type=toggle\n"
		  "pulse_time=1200\nport_mode=monostable\ndelay_time=340\n"
		  "usage=Saved usage\n");
	CaptureStderr();
	EXPECT_TRUE(param_get_conf_vals(gate_.get()));
	EXPECT_EQ(GetCapturedStderr(), "");
	EXPECT_THAT(settings(gate_),
		    ElementsAre("input=0", "input_name=a", "input_activelow=1",
				"output_name=b", "output_activelow=1",
				"button_type=1", "pulse_time=1", "port_mode=2",
				"delay_time=2", "usage=Usage"));
}

TEST_F(ParamTest, EveryButtonTypeIsKnownByItsWord)
{
	const std::pair<const char *, int> words[] = {
		{"none", BUTTON_NONE},
		{"pulse", BUTTON_PULSE},
		{"actinact", BUTTON_ACTINACT}};
	gate_->type = PORT_OUTPUT;
	for (const auto &[word, type] : words) {
		open_text("[gate]\noutput_name=b\noutput_activelow=true\n"
			  "button_type=" +
			  std::string(word) +
			  "\npulse_time=1\nport_mode=\ndelay_time=1\n"
			  "usage=\n");
		gate_->button_type = 77;
		EXPECT_TRUE(param_get_conf_vals(gate_.get()));
		EXPECT_EQ(gate_->button_type, type);
	}
}

TEST_F(ParamTest, OnlyTheWordBistableGivesThatMode)
{
	const std::pair<const char *, int> words[] = {
		{"bistable", PORT_MODE_BISTABLE},
		{"monostable", PORT_MODE_MONOSTABLE},
		{"", PORT_MODE_MONOSTABLE},
		{"Bistable", PORT_MODE_MONOSTABLE}};
	gate_->type = PORT_OUTPUT;
	for (const auto &[word, mode] : words) {
		open_text("[gate]\noutput_name=b\noutput_activelow=true\n"
			  "button_type=none\npulse_time=1\nport_mode=" +
			  std::string(word) + "\ndelay_time=1\nusage=\n");
		EXPECT_TRUE(param_get_conf_vals(gate_.get()));
		EXPECT_EQ(gate_->mode, mode) << word;
	}
}

TEST_F(ParamTest, OnlyTheLow32BitsOfANumberCount)
{
	gate_->type = PORT_OUTPUT;
	open_text("[gate]\noutput_name=b\noutput_activelow=true\n"
		  "button_type=none\npulse_time=4294967303\nport_mode=\n"
		  "delay_time=6442450944\nusage=\n");
	EXPECT_TRUE(param_get_conf_vals(gate_.get()));
	EXPECT_EQ(gate_->pulse_time, 7U);
	EXPECT_EQ(gate_->delay_time, G_MININT32);
}

TEST_F(ParamTest, AGroupWithoutUsageLeavesThePortWithAnEmptyOne)
{
	gate_->type = PORT_INPUT;
	open_text("[gate]\ninput_name=a\ninput_activelow=true\n");
	CaptureStderr();
	EXPECT_TRUE(param_get_conf_vals(gate_.get()));
	EXPECT_EQ(GetCapturedStderr(), "");
	EXPECT_EQ(gate_->usage, "");
	EXPECT_THAT(
		recorder::calls(),
		testing::Contains("property_changed(Usage, \"\", 3, port)"));
}

// ---- writing ----

TEST_F(ParamTest, AConfigurablePortWritesEveryKeyInOrder)
{
	EXPECT_EQ(saved(gate_), "[gate]\n"
				"input=true\n"
				"input_name=In\n"
				"input_activelow=false\n"
				"output_name=Out\n"
				"output_activelow=false\n"
				"button_type=pulse\n"
				"pulse_time=1\n"
				"port_mode=bistable\n"
				"delay_time=2\n"
				"usage=Usage\n");
}

TEST_F(ParamTest, AnInputWritesTheInputKeysAndUsage)
{
	gate_->type = PORT_INPUT;
	EXPECT_EQ(saved(gate_), "[gate]\n"
				"input_name=In\n"
				"input_activelow=false\n"
				"usage=Usage\n");
}

TEST_F(ParamTest, AnOutputWritesTheOutputKeysAndUsage)
{
	gate_->type = PORT_OUTPUT;
	EXPECT_EQ(saved(gate_), "[gate]\n"
				"output_name=Out\n"
				"output_activelow=false\n"
				"button_type=pulse\n"
				"pulse_time=1\n"
				"port_mode=bistable\n"
				"delay_time=2\n"
				"usage=Usage\n");
}

TEST_F(ParamTest, APortOfAnotherTypeWritesUsageOnly)
{
	gate_->type = static_cast<IOPortType>(PORT_IO_CTRL + 1);
	EXPECT_EQ(saved(gate_), "[gate]\nusage=Usage\n");
}

TEST_F(ParamTest, UnsetTextsAreWrittenAsEmptyOnes)
{
	gate_->type = PORT_INPUT;
	gate_->input_name.reset();
	gate_->usage.reset();
	EXPECT_EQ(saved(gate_), "[gate]\n"
				"input_name=\n"
				"input_activelow=false\n"
				"usage=\n");
}

TEST_F(ParamTest, AButtonTypeOutOfRangeIsNotWritten)
{
	for (const int type : {3, -1}) {
		gate_->button_type = type;
		EXPECT_THAT(saved(gate_), Not(HasSubstr("button_type")));
	}
}

TEST_F(ParamTest, ModeNoneIsWrittenAsAnEmptyText)
{
	gate_->mode = PORT_MODE_NONE;
	EXPECT_THAT(saved(gate_), HasSubstr("\nport_mode=\n"));
}

TEST_F(ParamTest, ANegativeDelayIsWrittenWithItsSign)
{
	gate_->delay_time = -1;
	EXPECT_THAT(saved(gate_),
		    HasSubstr("\ndelay_time=18446744073709551615\n"));
}

TEST_F(ParamTest, ALargePulseTimeIsWrittenWithoutASign)
{
	gate_->pulse_time = G_MAXUINT32;
	EXPECT_THAT(saved(gate_), HasSubstr("\npulse_time=4294967295\n"));
}

TEST_F(ParamTest, EverySettingSurvivesASaveAndARead)
{
	gate_->direction = false;
	gate_->input_name = " \"Dörr\"\n[x] = a;b\\ #";
	gate_->output_name = "\tL\r\xe5\x87\xba ";
	gate_->input_activelow = true;
	gate_->output_activelow = true;
	gate_->button_type = BUTTON_ACTINACT;
	gate_->pulse_time = G_MAXUINT32;
	gate_->mode = PORT_MODE_MONOSTABLE;
	gate_->delay_time = -1;
	gate_->usage = "";
	EXPECT_EQ(read_back(gate_), settings(gate_));
}

TEST_F(ParamTest, NumbersAreWrittenAndReadAlikeUnderACommaLocale)
{
	const CommaLocale locale;
	gate_->pulse_time = 1234567;
	gate_->delay_time = -7654321;
	EXPECT_THAT(saved(gate_), HasSubstr("\npulse_time=1234567\n"));
	EXPECT_EQ(read_back(gate_), settings(gate_));
}

// ---- names of ports ----

TEST_F(ParamTest, APortWithoutANameIsSavedNowhere)
{
	write_file(path_, "[door]\nusage=x\n");
	gate_->name.reset();
	EXPECT_EQ(saved(gate_), "[door]\nusage=x\n");
	EXPECT_THAT(log_.messages(), IsEmpty());
}

TEST_F(ParamTest, ANameThatCannotBeAGroupsIsSkippedWithOneWarning)
{
	write_file(path_, "[door]\nusage=x\n");
	for (const char *name :
	     {"", "a[b", "a]b", "a\nb", "a\tb", "a\x7f", "a\xff"}) {
		log_.clear();
		gate_->name = name;
		EXPECT_EQ(saved(gate_), "[door]\nusage=x\n");
		EXPECT_THAT(
			log_.messages(),
			ElementsAre(testing::Field(&LogCapture::Message::level,
						   G_LOG_LEVEL_WARNING)));
		ASSERT_TRUE(param_read_configuration(path_.c_str()));
		EXPECT_FALSE(param_get_conf_vals(gate_.get()));
		param_close_file();
	}
}

TEST_F(ParamTest, OtherUnusualNamesKeepTheirSettings)
{
	for (const char *name : {" a", "a ", " ", "#a", ";a", "a=b", "\"a\"",
				 "\xc3\xa4", "a/b", "%s"}) {
		gate_->name = name;
		gate_->input_name = std::string("port ") + name;
		EXPECT_EQ(read_back(gate_), settings(gate_)) << name;
	}
}

} // namespace
