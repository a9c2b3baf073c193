#include "live-declarations.h"

#include "error-holder.h"
#include "test-handles.h"

using namespace vxevent;

namespace
{

class LiveDeclarationsTest : public testing::Test
{
protected:
	LiveDeclarationsTest()
	{
		auto &keys = declaration_.inspectable;
		keys.add_key("port", EVENT_VALUE_INT, nullptr);
		keys.set_value("port", Value(gint32(3)), nullptr);
		keys.add_key("count", EVENT_VALUE_INT, nullptr);
		keys.add_key("state", EVENT_VALUE_BOOL, nullptr);
	}

	// The values that an event is sent with which sets one key.
	std::string send(guint32 id, const char *key, Value value)
	{
		Event event(id, live_.find(id, nullptr)->declaration);
		EXPECT_TRUE(event.inspectable.set_value(key, std::move(value),
							&error_));
		const auto sent = live_.take_event(event, &error_);
		EXPECT_TRUE(sent) << error_.text();
		return sent ? text_of(variant_of(*sent)) : "";
	}
	std::string last_values(guint32 id)
	{
		return text_of(
			variant_of(live_.find(id, nullptr)->last_values));
	}

	EventDeclaration declaration_;
	LiveDeclarations live_;
	ErrorHolder error_;
};

TEST_F(LiveDeclarationsTest, GivesIdsFromOneOn)
{
	EXPECT_EQ(live_.add(declaration_, &error_), 1u);
	EXPECT_EQ(live_.add(declaration_, &error_), 2u);
	EXPECT_FALSE(error_.is_set());
}

TEST_F(LiveDeclarationsTest, GivesNoIdTwice)
{
	EXPECT_EQ(live_.add(declaration_, &error_), 1u);
	EXPECT_TRUE(live_.remove(1, &error_));
	EXPECT_EQ(live_.add(declaration_, &error_), 2u);
	live_.clear();
	EXPECT_EQ(live_.add(declaration_, &error_), 3u);
}

TEST_F(LiveDeclarationsTest, RefusesWhenNoIdIsLeft)
{
	LiveDeclarations live(G_MAXUINT32 - 1);
	EXPECT_EQ(live.add(declaration_, &error_), G_MAXUINT32 - 1);
	EXPECT_EQ(live.add(declaration_, &error_), G_MAXUINT32);
	for (int attempt = 0; attempt < 3; attempt++) {
		EXPECT_EQ(live.add(declaration_, &error_), 0u);
		EXPECT_TRUE(error_.is(EVENT_ERROR_INVALID));
	}
	EXPECT_EQ(live.all().size(), 2u);
}

TEST_F(LiveDeclarationsTest, KeepsItsOwnCopy)
{
	const auto id = live_.add(declaration_, &error_);
	declaration_.inspectable.set_value("port", Value(gint32(9)), nullptr);
	EXPECT_EQ(last_values(id), "{'port': <3>}");
}

TEST_F(LiveDeclarationsTest, KnowsLiveIdsOnly)
{
	EXPECT_FALSE(live_.remove(0, &error_));
	EXPECT_TRUE(error_.is(EVENT_ERROR_NOT_DECLARED));
	EXPECT_EQ(live_.find(1, &error_), nullptr);
	EXPECT_TRUE(error_.is(EVENT_ERROR_NOT_DECLARED));
	ASSERT_EQ(live_.add(declaration_, &error_), 1u);
	EXPECT_TRUE(live_.remove(1, &error_));
	EXPECT_FALSE(live_.remove(1, &error_));
	EXPECT_TRUE(error_.is(EVENT_ERROR_NOT_DECLARED));
}

TEST_F(LiveDeclarationsTest, SendsTheDeclaredValuesOverlaidWithTheEvents)
{
	const auto id = live_.add(declaration_, &error_);
	EXPECT_EQ(send(id, "state", true), "{'port': <3>, 'state': <true>}");
	EXPECT_EQ(send(id, "port", gint32(4)), "{'port': <4>}");
	EXPECT_EQ(send(id, "count", gint32(1)), "{'count': <1>, 'port': <3>}");
}

TEST_F(LiveDeclarationsTest, RemembersTheLastValueOfEachKey)
{
	const auto id = live_.add(declaration_, &error_);
	send(id, "state", true);
	send(id, "port", gint32(4));
	EXPECT_EQ(last_values(id), "{'port': <4>, 'state': <true>}");
	send(id, "count", gint32(1));
	EXPECT_EQ(last_values(id),
		  "{'count': <1>, 'port': <3>, 'state': <true>}");
}

TEST_F(LiveDeclarationsTest, SendsNothingAfterTheWithdrawal)
{
	const auto id = live_.add(declaration_, &error_);
	const Event event(id, live_.find(id, nullptr)->declaration);
	live_.remove(id, nullptr);
	EXPECT_FALSE(live_.take_event(event, &error_));
	EXPECT_TRUE(error_.is(EVENT_ERROR_NOT_DECLARED));
}

TEST_F(LiveDeclarationsTest, RefusesTheEventOfAnotherProducer)
{
	LiveDeclarations other;
	const auto id = other.add(declaration_, &error_);
	ASSERT_EQ(live_.add(declaration_, &error_), id);
	const Event event(id, other.find(id, nullptr)->declaration);
	EXPECT_FALSE(live_.take_event(event, &error_));
	EXPECT_TRUE(error_.is(EVENT_ERROR_NOT_DECLARED));
}

} // namespace
