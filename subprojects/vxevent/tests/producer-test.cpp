#include "error-holder.h"
#include "test-handles.h"

namespace
{

// The main loop does not run here, so nothing reaches a bus.
class ProducerTest : public testing::Test
{
protected:
	ProducerTest()
	{
		event_declaration_add_key(declaration_.get(), "state",
					  EVENT_VALUE_BOOL, nullptr);
	}

	guint32 declare()
	{
		return event_producer_declare(producer_.get(),
					      declaration_.get(), &error_);
	}
	EventPtr prepare(guint32 id)
	{
		return EventPtr(event_producer_prepare_event(producer_.get(),
							     id, &error_));
	}

	ProducerPtr producer_{event_producer_new("test")};
	const DeclarationPtr declaration_{event_declaration_new()};
	ErrorHolder error_;
};

TEST_F(ProducerTest, DeclaresSendsAndWithdraws)
{
	const auto id = declare();
	EXPECT_EQ(id, 1u);
	const auto event = prepare(id);
	ASSERT_TRUE(event) << error_.text();
	EXPECT_TRUE(event_producer_send_event(producer_.get(), event.get(),
					      &error_));
	EXPECT_TRUE(event_producer_undeclare(producer_.get(), id, &error_));
	EXPECT_EQ(declare(), 2u);
	EXPECT_FALSE(error_.is_set());
}

TEST_F(ProducerTest, LeavesTheDeclarationToItsCaller)
{
	EXPECT_EQ(declare(), 1u);
	EXPECT_TRUE(event_declaration_add_key(declaration_.get(), "later",
					      EVENT_VALUE_INT, &error_));
	const gint32 number = 1;
	EXPECT_FALSE(event_set_value(prepare(1).get(), "later", EVENT_VALUE_INT,
				     &number, &error_));
	EXPECT_TRUE(error_.is(EVENT_ERROR_NO_KEY));
	EXPECT_EQ(declare(), 2u);
	EXPECT_TRUE(event_set_value(prepare(2).get(), "later", EVENT_VALUE_INT,
				    &number, &error_));
}

TEST_F(ProducerTest, LeavesTheEventToItsCaller)
{
	const auto event = prepare(declare());
	for (int times = 0; times < 3; times++)
		EXPECT_TRUE(event_producer_send_event(producer_.get(),
						      event.get(), &error_));
}

TEST_F(ProducerTest, RefusesWhatIsNotDeclared)
{
	EXPECT_EQ(prepare(1), nullptr);
	EXPECT_TRUE(error_.is(EVENT_ERROR_NOT_DECLARED));
	EXPECT_FALSE(event_producer_undeclare(producer_.get(), 1, &error_));
	EXPECT_TRUE(error_.is(EVENT_ERROR_NOT_DECLARED));

	const auto event = prepare(declare());
	EXPECT_TRUE(event_producer_undeclare(producer_.get(), 1, &error_));
	EXPECT_FALSE(event_producer_send_event(producer_.get(), event.get(),
					       &error_));
	EXPECT_TRUE(error_.is(EVENT_ERROR_NOT_DECLARED));
}

TEST_F(ProducerTest, KeepsAnEventUsableAfterItsProducerHasGone)
{
	const auto event = prepare(declare());
	producer_.reset();
	const gboolean yes = TRUE;
	EXPECT_TRUE(event_set_value(event.get(), "state", EVENT_VALUE_BOOL,
				    &yes, &error_));
}

TEST_F(ProducerTest, RefusesToWorkOnNothing)
{
	EXPECT_EQ(event_producer_declare(nullptr, declaration_.get(), &error_),
		  0u);
	EXPECT_TRUE(error_.is(EVENT_ERROR_INVALID));
	EXPECT_EQ(event_producer_declare(producer_.get(), nullptr, &error_),
		  0u);
	EXPECT_TRUE(error_.is(EVENT_ERROR_INVALID));
	EXPECT_FALSE(event_producer_undeclare(nullptr, 1, &error_));
	EXPECT_TRUE(error_.is(EVENT_ERROR_INVALID));
	EXPECT_EQ(event_producer_prepare_event(nullptr, 1, &error_), nullptr);
	EXPECT_TRUE(error_.is(EVENT_ERROR_INVALID));
	EXPECT_FALSE(
		event_producer_send_event(producer_.get(), nullptr, &error_));
	EXPECT_TRUE(error_.is(EVENT_ERROR_INVALID));
	EXPECT_EQ(event_get_inspectable(nullptr), nullptr);
	event_producer_free(nullptr);
	event_free(nullptr);
}

class ProducerName : public testing::TestWithParam<const char *>
{
};

TEST_P(ProducerName, MustBeAnElementOfAnObjectPath)
{
	const auto ignore = [](const gchar *, GLogLevelFlags, const gchar *,
			       gpointer) {};
	const auto handler = g_log_set_default_handler(ignore, nullptr);
	const ProducerPtr producer(event_producer_new(GetParam()));
	g_log_set_default_handler(handler, nullptr);
	EXPECT_FALSE(producer);
}

INSTANTIATE_TEST_SUITE_P(Bad, ProducerName,
			 testing::Values(nullptr, "", "a/b", "/", "a-b", "a.b",
					 "a b", "caf\xe9"));

} // namespace
