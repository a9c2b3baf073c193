#include "orvadctl/port-table.h"

#include <gtest/gtest.h>

using namespace orvadctl;

namespace
{

constexpr gint64 NOW_US = 1000 * G_USEC_PER_SEC;

Port listed_port(gint32 number, const char *name, bool active)
{
	Port port;

	port.number = number;
	port.name = name;
	port.active = active;
	port.input = true;
	return port;
}

class PortTableTest : public testing::Test
{
protected:
	void change(gint32 number, bool active, bool simulated = false,
		    gint64 time_us = NOW_US)
	{
		Announced announced;
		announced.change.number = number;
		announced.change.active = active;
		announced.change.input = true;
		announced.change.simulated = simulated;
		take(std::move(announced), time_us);
	}
	void end_sequence(gint32 number)
	{
		Announced announced;
		announced.change.kind = Change::Kind::SEQUENCE_DONE;
		announced.change.number = number;
		take(std::move(announced), NOW_US);
	}
	std::string text(std::size_t columns = 80, std::size_t rows = 24)
	{
		return table_.text({columns, rows, now_us_, false, status_});
	}
	std::string last_row()
	{
		const std::string whole = text();
		return whole.substr(whole.rfind('\n') + 1);
	}

	PortTable table_;
	gint64 now_us_ = NOW_US + PortTable::MARK_US;
	std::string status_;

private:
	void take(Announced announced, gint64 time_us)
	{
		announced.time.reset(
			g_date_time_new_utc(2024, 5, 1, 9, 0, 1.5));
		announced.time_us = time_us;
		table_.take(announced, "");
	}
};

constexpr const char *HEADINGS = "   NUMBER  NAME  DIRECTION  STATE     "
				 "LEVEL   CHANGES  LAST-CHANGE\n";

} // namespace

TEST_F(PortTableTest, ShowsPortsByNumber)
{
	table_.list({listed_port(10, "lamp", true), listed_port(2, "", false),
		     listed_port(NO_NUMBER, "x", false)});
	EXPECT_EQ(text(), std::string(HEADINGS) +
				  "   -       x     input      inactive  "
				  "closed  0        -\n"
				  "   2       -     input      inactive  "
				  "closed  0        -\n"
				  "   10      lamp  input      active    "
				  "closed  0        -");
}

TEST_F(PortTableTest, ChangeIsCountedAndMarkedForAWhile)
{
	table_.list({listed_port(2, "lamp", false)});
	change(2, true, false, NOW_US - 1);
	change(2, false);
	change(2, true);
	now_us_ = NOW_US + PortTable::MARK_US - 1;
	EXPECT_EQ(last_row(), "*  2       lamp  input      active  closed  3  "
			      "      09:00:01.500");
	EXPECT_EQ(table_.next_change_us(now_us_), NOW_US + PortTable::MARK_US);
	++now_us_;
	EXPECT_EQ(last_row(), "   2       lamp  input      active  closed  3  "
			      "      09:00:01.500");
	EXPECT_EQ(table_.next_change_us(now_us_), std::nullopt);
}

TEST_F(PortTableTest, FirstMarkToGoIsTheOldest)
{
	change(1, true, false, NOW_US + 5);
	change(2, true, false, NOW_US + 3);
	EXPECT_EQ(table_.next_change_us(NOW_US),
		  NOW_US + 3 + PortTable::MARK_US);
}

TEST_F(PortTableTest, SimulatedChangeHoldsUntilThePortIsListedOtherwise)
{
	table_.list({listed_port(2, "lamp", false)});
	change(2, true, true);
	table_.list({listed_port(2, "lamp", false)});
	EXPECT_EQ(last_row(), "   2       lamp  input      active  closed  1  "
			      "      09:00:01.500  simulated");
	table_.list({listed_port(2, "lamp", true)});
	EXPECT_EQ(last_row(), "   2       lamp  input      active  closed  1  "
			      "      09:00:01.500");
}

TEST_F(PortTableTest, EndOfASequenceIsAChangeThatLeavesTheState)
{
	table_.list({listed_port(2, "lamp", true)});
	end_sequence(2);
	EXPECT_EQ(last_row(), "   2       lamp  input      active  closed  1  "
			      "      09:00:01.500  sequence done");
}

TEST_F(PortTableTest, PortThatIsListedNoMoreIsAbsent)
{
	table_.list({listed_port(2, "lamp", true)});
	table_.list({});
	EXPECT_EQ(last_row(),
		  "   2       lamp  -          absent  -      0        -");
	table_.list({listed_port(2, "lamp", false)});
	EXPECT_EQ(last_row(),
		  "   2       lamp  input      inactive  closed  0        -");
}

TEST_F(PortTableTest, NothingIsKnownOfPortsWithoutTheDaemon)
{
	table_.list({listed_port(2, "lamp", true)});
	table_.lose();
	EXPECT_EQ(last_row(),
		  "   2       lamp  -          -      -      0        -");
	status_ = "gone\n";
	EXPECT_EQ(last_row(), "gone\\n");
}

TEST_F(PortTableTest, ListingAgainAddsNoRows)
{
	const std::vector<Port> twins = {listed_port(2, "twin", true),
					 listed_port(2, "twin", false)};

	table_.list(twins);
	const std::string before = text();
	table_.list(twins);
	EXPECT_EQ(text(), before);
	EXPECT_EQ(std::count(before.begin(), before.end(), '\n'), 2);
}

TEST_F(PortTableTest, ChangeOfAnUnlistedPortIsShown)
{
	change(77, true);
	EXPECT_NE(text().find("\n   77      -     input      active"),
		  std::string::npos)
		<< text();
}

TEST_F(PortTableTest, WindowThatIsTooLowTellsWhatItLeavesOut)
{
	table_.list({listed_port(1, "a", true), listed_port(2, "b", true),
		     listed_port(3, "c", true)});
	EXPECT_NE(text(80, 5).find("\n   3 "), std::string::npos);
	const std::string cut = text(80, 4);
	EXPECT_NE(cut.find("\n   1 "), std::string::npos);
	EXPECT_EQ(cut.find("\n   2 "), std::string::npos);
	EXPECT_TRUE(cut.ends_with("\n2 more ports, no room")) << cut;
	status_ = "gone";
	EXPECT_TRUE(text(80, 4).ends_with("\n3 more ports, no room\ngone"));
}

TEST_F(PortTableTest, WindowThatIsTooNarrowCutsRows)
{
	table_.list({listed_port(1, "\u9580\u9580", true)});
	status_ = "the daemon is away";
	EXPECT_EQ(text(14), "   NUMBER  NAM\n"
			    "   1       \u9580\n"
			    "the daemon is ");
}

TEST_F(PortTableTest, LongNameIsCut)
{
	table_.list({listed_port(1, std::string(60, 'n').c_str(), true)});
	EXPECT_NE(text().find("1       " + std::string(24, 'n') + "  input"),
		  std::string::npos)
		<< text();
}

TEST_F(PortTableTest, NameCannotSteerTheTerminal)
{
	table_.list({listed_port(1, "a\033[2J", true)});
	EXPECT_EQ(text().find('\033'), std::string::npos);
}
