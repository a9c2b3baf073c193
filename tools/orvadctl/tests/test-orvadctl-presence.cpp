#include "orvadctl/presence.h"

#include <gtest/gtest.h>

using namespace orvadctl;

TEST(Presence, ServiceThatIsThereFromTheBeginningIsNoNews)
{
	Presence presence("the daemon");

	EXPECT_EQ(presence.update(true), "");
	EXPECT_EQ(presence.update(true), "");
	EXPECT_EQ(presence.update(false), "the daemon went away");
	EXPECT_EQ(presence.update(false), "");
	EXPECT_EQ(presence.update(true), "the daemon is there");
}

TEST(Presence, MissingServiceIsWaitedFor)
{
	Presence presence("the daemon");

	EXPECT_EQ(presence.update(false),
		  "the daemon is not running; waiting for it");
	EXPECT_EQ(presence.update(true), "the daemon is there");
}
