#include "simboard/history.h"

#include <gtest/gtest.h>

#include <vector>

using namespace simboard;

namespace
{

std::vector<guint64> ids_since(const History &history, guint64 since)
{
	std::vector<guint64> ids;

	history.visit_since(
		since, [&](const Change &change) { ids.push_back(change.id); });
	return ids;
}

} // namespace

TEST(History, NumbersChangesFromOne)
{
	History history;

	for (int i = 0; i < 3; ++i)
		history.record(1, "a", What::WRITE, "1", BOARD);
	EXPECT_EQ(ids_since(history, 0), (std::vector<guint64>{1, 2, 3}));
	EXPECT_EQ(ids_since(history, 2), (std::vector<guint64>{3}));
	EXPECT_TRUE(ids_since(history, 3).empty());
	EXPECT_TRUE(ids_since(history, G_MAXUINT64).empty());
}

TEST(History, KeepsTheNewestHundredThousand)
{
	History history;

	for (std::size_t i = 0; i < History::MOST_CHANGES + 5; ++i)
		history.record(1, "a", What::LEVEL, "low", BOARD);
	std::vector<guint64> ids = ids_since(history, 0);
	EXPECT_EQ(ids.size(), 100000u);
	EXPECT_EQ(ids.front(), 6u);
	EXPECT_EQ(ids.back(), 100005u);
}

TEST(History, TimeNeverGoesBack)
{
	History history;
	gint64 last = 0;

	for (int i = 0; i < 100; ++i)
		history.record(1, "a", What::LEVEL, "low", BOARD);
	history.visit_since(0, [&](const Change &change) {
		EXPECT_GE(change.time_ns, last);
		last = change.time_ns;
	});
	EXPECT_GT(last, 0);
}

TEST(History, TellsOfEachChangeAtOnce)
{
	History history;
	std::vector<std::string> seen;

	history.on_change = [&](const Change &change) {
		seen.push_back(change.value);
	};
	history.record(1, "a", What::LEVEL, "low", BOARD);
	history.record(1, "a", What::LEVEL, "high", BOARD);
	EXPECT_EQ(seen, (std::vector<std::string>{"low", "high"}));
}

TEST(History, AChangeIsOneLineOfColumns)
{
	Change change = {7, 1500, 20, "siren", What::WRITE, "1", 4711};

	EXPECT_EQ(change_text(change), "7 1500 20 siren write 1 daemon(4711)");
	change.name = "";
	change.actor = BOARD;
	EXPECT_EQ(change_text(change), "7 1500 20 - write 1 board");
}

TEST(History, WhatIsNoLineHasNoNumber)
{
	Change change = {3, 7, std::nullopt, "front", What::LOOP, "cut", BOARD};

	EXPECT_EQ(change_text(change), "3 7 - front loop cut board");
}
