#include "orvadctl/change.h"
#include "orvadctl/timestamp.h"

#include <gtest/gtest.h>

using namespace orvadctl;

namespace
{

class ChangeTest : public testing::Test
{
protected:
	Change port_changed(const char *arguments)
	{
		util::VariantPtr variant(
			g_variant_ref_sink(g_variant_new_parsed(arguments)));
		return change_from_port_changed(variant.get());
	}

	DateTimePtr time_{g_date_time_new_utc(2024, 5, 1, 9, 0, 1.5)};
	Output plain_{stdout, false};
	Output coloured_{stdout, true};
};

} // namespace

TEST_F(ChangeTest, TellsStateDirectionAndLevel)
{
	Change change = port_changed("(3, false, false, true, false, true,"
				     " true)");

	EXPECT_EQ(change_text(change, "door", time_.get(), plain_),
		  "2024-05-01 09:00:01.500 port 3 (door): active, input, "
		  "active level open");
	EXPECT_EQ(change_json(change, "door", time_.get()),
		  "{\"type\":\"changed\","
		  "\"time\":\"2024-05-01T09:00:01.500+00:00\","
		  "\"number\":3,\"name\":\"door\",\"active\":true,"
		  "\"direction\":\"input\",\"active_level\":\"open\","
		  "\"simulated\":false,\"virtual\":false,\"hidden\":false}");
}

TEST_F(ChangeTest, TellsWhatIsSpecial)
{
	Change change = port_changed("(3, true, true, false, true, false,"
				     " false)");

	EXPECT_EQ(change_text(change, "", time_.get(), plain_),
		  "2024-05-01 09:00:01.500 port 3: inactive, output, active "
		  "level closed, simulated, virtual port, hidden port");
}

TEST_F(ChangeTest, SequenceDoneHasNothingButThePort)
{
	util::VariantPtr arguments(g_variant_ref_sink(g_variant_new("(i)", 7)));
	Change change = change_from_sequence_done(arguments.get());

	EXPECT_EQ(change_text(change, "lamp", time_.get(), plain_),
		  "2024-05-01 09:00:01.500 port 7 (lamp): sequence done");
	EXPECT_EQ(change_json(change, "", time_.get()),
		  "{\"type\":\"sequence-done\","
		  "\"time\":\"2024-05-01T09:00:01.500+00:00\","
		  "\"number\":7,\"name\":null}");
}

TEST_F(ChangeTest, NameIsMadeSafeForTheTerminal)
{
	Change change = port_changed("(3, false, false, true, false, true,"
				     " true)");

	EXPECT_NE(change_text(change, "a\n\033[2J", time_.get(), plain_)
			  .find("port 3 (a\\n\\x1b[2J): "),
		  std::string::npos);
}

TEST_F(ChangeTest, ActiveIsGreen)
{
	Change change = port_changed("(3, false, false, true, false, true,"
				     " true)");

	EXPECT_NE(change_text(change, "", time_.get(), coloured_)
			  .find("\033[32mactive\033[0m"),
		  std::string::npos);
}
