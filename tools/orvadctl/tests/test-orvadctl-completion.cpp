#include "orvadctl/completion.h"

#include "orvadctl/commands.h"

#include <gtest/gtest.h>

#include <algorithm>

using namespace orvadctl;

namespace
{

using Typed = std::vector<std::string>;

Typed offered(const Typed &typed)
{
	Expectation expectation = expectation_of(typed);
	EXPECT_EQ(expectation.place, Place::WORDS);
	return expectation.words;
}

bool has(const Typed &words, const char *word)
{
	return std::find(words.begin(), words.end(), word) != words.end();
}

} // namespace

TEST(Completion, OffersTheCommandsThatTheHelpLists)
{
	EXPECT_EQ(offered({""}), command_names());
	EXPECT_EQ(offered({"--json", ""}), command_names());
	EXPECT_EQ(offered({"help", ""}), command_names());
	EXPECT_FALSE(has(offered({""}), "complete"));
}

TEST(Completion, OffersTheOptionsOfTheCommand)
{
	const Typed common = offered({"-"});
	const Typed of_set = offered({"set", "1", "--"});

	EXPECT_TRUE(has(common, "--json") && has(common, "-t"));
	EXPECT_FALSE(has(common, "--virtual"));
	EXPECT_TRUE(has(of_set, "--json") && has(of_set, "--virtual"));
	EXPECT_FALSE(has(of_set, "--names"));
}

TEST(Completion, KnowsWhichPlaceTakesWhat)
{
	EXPECT_EQ(expectation_of({"get", ""}).place, Place::PORT);
	EXPECT_EQ(expectation_of({"drop", ""}).place, Place::PORT_NAME);
	EXPECT_EQ(expectation_of({"legacy", "set", ""}).place,
		  Place::PARAMETER);
	EXPECT_EQ(offered({"legacy", ""}), (Typed{"set"}));
	EXPECT_EQ(offered({"set", "1", ""}), (Typed{"on", "off"}));
	EXPECT_EQ(offered({"polarity", "1", ""}), (Typed{"input", "output"}));
	EXPECT_EQ(offered({"polarity", "1", "input", "o"}),
		  (Typed{"open", "closed"}));
	EXPECT_EQ(offered({"connectors", ""}), (Typed{"video", "audio"}));
	EXPECT_EQ(offered({"ranges", "1", ""}),
		  (Typed{"open", "closed", "short", "cut"}));
}

TEST(Completion, ExpectsNothingWhereNothingIsKnownOrAllIsThere)
{
	for (const Typed &typed : std::vector<Typed>{{},
						     {"list", ""},
						     {"frob", ""},
						     {"frob", "set", ""},
						     {"get", "1", ""},
						     {"usage", "1", ""},
						     {"set", "1", "on", ""},
						     {"pulse", "1", ""},
						     {"-t", ""},
						     {"--timeout", "=", ""},
						     {"watch", "-n", ""}})
		EXPECT_EQ(expectation_of(typed).place, Place::ANYTHING);
}

TEST(Completion, GoesOnWithArgumentsOfWhichThereCanBeMany)
{
	for (const Typed &typed : std::vector<Typed>{{"watch", ""},
						     {"watch", "1", ""},
						     {"watch", "1", "2", ""}})
		EXPECT_EQ(expectation_of(typed).place, Place::PORT);
	EXPECT_EQ(expectation_of({"drop", "a", "b", ""}).place,
		  Place::PORT_NAME);
}

TEST(Completion, DoesNotCountOptionsAndTheirValuesAsArguments)
{
	EXPECT_EQ(offered({"-t", "3", "set", "--virtual", "1", ""}),
		  (Typed{"on", "off"}));
	EXPECT_EQ(offered({"set", "--timeout", "=", "3", "1", ""}),
		  (Typed{"on", "off"}));
	EXPECT_EQ(offered({"set", "--timeout=3", "1", ""}),
		  (Typed{"on", "off"}));
}

TEST(Completion, TakesWhatIsBehindTwoDashesAsArguments)
{
	const Expectation expectation = expectation_of({"get", "--", "-"});

	EXPECT_EQ(expectation.place, Place::PORT);
	EXPECT_TRUE(expectation.options_ended);
	EXPECT_FALSE(expectation_of({"get", ""}).options_ended);
}
