#include "bus-client.h"
#include "error-holder.h"

#include <gtest/gtest.h>

namespace
{

using Signals = std::vector<std::string>;

constexpr auto kSource = "com.example.Source";
constexpr auto kSourceObject = "/com/example/source";
constexpr auto kTarget = "com.example.Target";
constexpr auto kTargetObject = "/com/example/target/0";
constexpr auto kPath = "/org/orvad/ConfigurationEvents1/test";

TestBus &the_bus()
{
	static TestBus bus;
	return bus;
}

ChangePtr change_of(const char *name, const char *value)
{
	ChangePtr change(configuration_change_new());
	configuration_change_append_escaped(change.get(), name, value);
	return change;
}

// The signal that sending a change with that text causes. The text form has no
// escapes but for the backslash and the quote.
std::string changed(const std::string &text, const std::string &handle = "test")
{
	return handle +
	       ".Changed('com.example.Source', '/com/example/source', "
	       "'com.example.Target', '/com/example/target/0', 3, '" +
	       text + "')";
}

// A handle "test" that clients see, with the source declared.
class BusTest : public testing::Test
{
protected:
	void SetUp() override
	{
		ASSERT_TRUE(handle_);
		ASSERT_TRUE(client_.wait_for_name(true));
		ASSERT_TRUE(configuration_event_declare(
			handle_.get(), kSource, kSourceObject, nullptr));
	}
	void TearDown() override
	{
		handle_.reset();
		EXPECT_TRUE(client_.wait_for_name(false));
	}
	gboolean send(const ChangePtr &change, GError **error = nullptr)
	{
		return configuration_event_send(
			handle_.get(), kSource, kSourceObject, kTarget,
			kTargetObject, CONFIGURATION_CHANGE_PROPERTY,
			change.get(), error);
	}
	// The text of the change that arrives for that pair.
	std::string sent(const char *name, const char *value)
	{
		EXPECT_TRUE(send(change_of(name, value)));
		EXPECT_TRUE(
			client_.wait_for_signals(client_.signals().size() + 1));
		return client_.signals().back();
	}

	BusClient client_{the_bus().address()};
	const ProducerPtr producer_{event_producer_new("test")};
	HandlePtr handle_{configuration_event_new(producer_.get(), "test")};
};

TEST_F(BusTest, PublishesAnObjectOfTheHandlesName)
{
	EXPECT_TRUE(client_.sees_object(kPath));
	EXPECT_FALSE(
		client_.sees_object("/org/orvad/ConfigurationEvents1/other"));
}

TEST_F(BusTest, SendsAChange)
{
	EXPECT_EQ(sent("NbrOfInputs", "3"), changed("NbrOfInputs 3"));
}

TEST_F(BusTest, SendsEveryChangeInItsOrder)
{
	for (const char *value : {"1", "2", "2", "3"})
		EXPECT_TRUE(send(change_of("Level", value)));
	ASSERT_TRUE(client_.wait_for_signals(4));
	EXPECT_EQ(client_.signals(),
		  Signals({changed("Level 1"), changed("Level 2"),
			   changed("Level 2"), changed("Level 3")}));
}

TEST_F(BusTest, SendsNumberAsItIs)
{
	const auto change = change_of("a", "b");
	EXPECT_TRUE(configuration_event_send(
		handle_.get(), kSource, kSourceObject, kTarget, kTargetObject,
		static_cast<ConfigurationChangeKind>(-7), change.get(),
		nullptr));
	ASSERT_TRUE(client_.wait_for_signals(1));
	EXPECT_EQ(client_.signals()[0],
		  "test.Changed('com.example.Source', '/com/example/source', "
		  "'com.example.Target', '/com/example/target/0', -7, 'a b')");
}

TEST_F(BusTest, SendsAnEmptyChange)
{
	EXPECT_TRUE(send(ChangePtr(configuration_change_new())));
	ASSERT_TRUE(client_.wait_for_signals(1));
	EXPECT_EQ(client_.signals()[0], changed(""));
}

TEST_F(BusTest, PutsEachPairOnALine)
{
	const auto change = change_of("first", "1");
	configuration_change_append_escaped(change.get(), "second",
					    "two words");
	configuration_change_append_escaped(change.get(), "third", "");
	EXPECT_TRUE(send(change));
	ASSERT_TRUE(client_.wait_for_signals(1));
	EXPECT_EQ(client_.signals()[0],
		  changed("first 1\\nsecond two words\\nthird "));
}

TEST_F(BusTest, LeavesTheChangeToTheCaller)
{
	const auto change = change_of("first", "1");
	EXPECT_TRUE(send(change));
	configuration_change_append_escaped(change.get(), "second", "2");
	EXPECT_TRUE(send(change));
	ASSERT_TRUE(client_.wait_for_signals(2));
	EXPECT_EQ(client_.signals(),
		  Signals({changed("first 1"), changed("first 1\\nsecond 2")}));
}

TEST_F(BusTest, EscapesWhatWouldBreakTheLineOrTheName)
{
	EXPECT_EQ(sent("a b", " c d "), changed("a\\\\040b  c d "));
	EXPECT_EQ(sent("a\nb", "c\nd"), changed("a\\\\nb c\\\\nd"));
	EXPECT_EQ(sent("", "\t\\\x01\x7f"),
		  changed(" \\\\t\\\\\\\\\\\\001\\\\177"));
}

TEST_F(BusTest, LeavesWhatIsBeyondAsciiAsItIs)
{
	EXPECT_EQ(sent("Tür", "门"), changed("Tür 门"));
}

TEST_F(BusTest, SendsALongValue)
{
	const std::string value(1000000, 'x');
	EXPECT_EQ(sent("text", value.c_str()), changed("text " + value));
}

TEST_F(BusTest, RefusesASourceThatIsNotDeclared)
{
	ErrorHolder error;
	const auto change = change_of("a", "b");
	const auto refused = [&](const char *interface, const char *object) {
		return !configuration_event_send(handle_.get(), interface,
						 object, kTarget, kTargetObject,
						 CONFIGURATION_CHANGE_PROPERTY,
						 change.get(), &error) &&
		       error.is(CONFIGURATION_ERROR_NOT_DECLARED,
				std::string(interface) + " of " + object +
					" is not declared");
	};
	EXPECT_TRUE(refused(kTarget, kTargetObject));
	EXPECT_TRUE(refused(kSource, kTargetObject));
	EXPECT_TRUE(refused(kTarget, kSourceObject));
	EXPECT_TRUE(refused("", ""));
	EXPECT_EQ(sent("first", "1"), changed("first 1"));
	EXPECT_EQ(client_.signals().size(), 1u);
}

TEST_F(BusTest, RefusesToDeclareASourceTwice)
{
	ErrorHolder error;
	EXPECT_FALSE(configuration_event_declare(handle_.get(), kSource,
						 kSourceObject, &error));
	EXPECT_TRUE(error.is(
		CONFIGURATION_ERROR_DECLARED,
		"com.example.Source of /com/example/source is declared "
		"already"));
	EXPECT_EQ(sent("still", "1"), changed("still 1"));
}

TEST_F(BusTest, RefusesToWithdrawWhatIsNotDeclared)
{
	ErrorHolder error;
	for (int i = 0; i < 2; ++i) {
		EXPECT_FALSE(configuration_event_undeclare(
			handle_.get(), kTarget, kTargetObject, &error));
		EXPECT_TRUE(error.is(
			CONFIGURATION_ERROR_NOT_DECLARED,
			"com.example.Target of /com/example/target/0 is not "
			"declared"));
	}
}

TEST_F(BusTest, SendsNothingAboutWhatWasWithdrawnUntilItIsDeclaredAgain)
{
	const auto change = change_of("a", "b");
	EXPECT_TRUE(configuration_event_undeclare(handle_.get(), kSource,
						  kSourceObject, nullptr));
	EXPECT_FALSE(send(change));
	EXPECT_TRUE(configuration_event_declare(handle_.get(), kSource,
						kSourceObject, nullptr));
	EXPECT_EQ(sent("c", "d"), changed("c d"));
	EXPECT_EQ(client_.signals().size(), 1u);
}

TEST_F(BusTest, ErrorsNeedNotBeTaken)
{
	EXPECT_FALSE(configuration_event_declare(handle_.get(), kSource,
						 kSourceObject, nullptr));
	EXPECT_FALSE(configuration_event_undeclare(handle_.get(), kTarget,
						   kTargetObject, nullptr));
}

TEST_F(BusTest, KeepsHandlesApart)
{
	const HandlePtr other(
		configuration_event_new(producer_.get(), "other"));
	EXPECT_TRUE(
		client_.sees_object("/org/orvad/ConfigurationEvents1/other"));
	EXPECT_FALSE(configuration_event_send(
		other.get(), kSource, kSourceObject, kTarget, kTargetObject,
		CONFIGURATION_CHANGE_PROPERTY, change_of("a", "b").get(),
		nullptr));
	EXPECT_TRUE(configuration_event_declare(other.get(), kSource,
						kSourceObject, nullptr));
	EXPECT_TRUE(configuration_event_send(
		other.get(), kSource, kSourceObject, kTarget, kTargetObject,
		CONFIGURATION_CHANGE_PROPERTY, change_of("a", "b").get(),
		nullptr));
	ASSERT_TRUE(client_.wait_for_signals(1));
	EXPECT_EQ(client_.signals(), Signals({changed("a b", "other")}));
}

TEST_F(BusTest, KeepsTheNameWhileThereIsAHandle)
{
	HandlePtr other(configuration_event_new(producer_.get(), "other"));
	handle_.reset();
	EXPECT_FALSE(client_.sees_object(kPath));
	EXPECT_TRUE(client_.sees_name());
	other.reset();
	EXPECT_TRUE(client_.wait_for_name(false));
}

TEST_F(BusTest, TakesTheNameAgainForALaterHandle)
{
	handle_.reset();
	EXPECT_TRUE(client_.wait_for_name(false));
	handle_.reset(configuration_event_new(producer_.get(), "test"));
	EXPECT_TRUE(client_.wait_for_name(true));
	EXPECT_TRUE(client_.sees_object(kPath));
}

TEST_F(BusTest, LeavesNothingBehindAfterThousandHandles)
{
	const auto before = client_.connections();
	for (int i = 0; i < 1000; ++i) {
		const HandlePtr other(
			configuration_event_new(producer_.get(), "other"));
		ASSERT_TRUE(configuration_event_declare(
			other.get(), kSource, kSourceObject, nullptr));
	}
	EXPECT_FALSE(
		client_.sees_object("/org/orvad/ConfigurationEvents1/other"));
	EXPECT_EQ(client_.connections(), before);
	EXPECT_TRUE(client_.sees_name());
}

TEST_F(BusTest, RefusesANameThatIsNoPathElement)
{
	for (const char *name : {"", "/", "a/b", "a b", "a-b", "a.b", "ü"}) {
		g_test_expect_message(nullptr, G_LOG_LEVEL_CRITICAL,
				      "*assertion "
				      "'is_element(name)' failed*");
		EXPECT_FALSE(configuration_event_new(producer_.get(), name));
		g_test_assert_expected_messages();
	}
}

TEST_F(BusTest, RefusesToBeWithoutNameOrProducer)
{
	g_test_expect_message(nullptr, G_LOG_LEVEL_CRITICAL,
			      "*assertion 'is_element(name)' failed*");
	EXPECT_FALSE(configuration_event_new(producer_.get(), nullptr));
	g_test_expect_message(nullptr, G_LOG_LEVEL_CRITICAL,
			      "*assertion 'producer != nullptr' failed*");
	EXPECT_FALSE(configuration_event_new(nullptr, "other"));
	g_test_assert_expected_messages();
}

TEST(Change, NothingIsFreedWithoutComplaint)
{
	configuration_change_free(nullptr);
	configuration_event_free(nullptr);
}

} // namespace
