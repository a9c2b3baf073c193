#include "platform/bootblock.h"

#include "log-capture.h"
#include "private-bus.h"
#include "util/log.h"
#include "wait-until.h"

#include <gmock/gmock.h>

#include <dlfcn.h>

#include <condition_variable>
#include <functional>
#include <thread>

namespace
{

using testing::ElementsAre;
using testing::IsEmpty;
using testing::SizeIs;
using testing::StartsWith;

constexpr const char *kName = "com.vexa.PolicyKitSystem";
constexpr const char *kPath = "/com/vexa/PolicyKitSystem";
constexpr int kNoTimeout = 0;
constexpr int kDefaultTimeout = -1;

/// What the code under test asked for, and what it gets instead.
int asked_timeout = kNoTimeout;
int given_timeout = kDefaultTimeout;
GDBusCallFlags asked_flags = G_DBUS_CALL_FLAGS_NONE;

/// A service that answers as it is told, on a connection of its own. Messages
/// are answered where they come in, so it needs no main loop.
class MockService
{
public:
	/// The answer to a call; none leaves it unanswered.
	using Answer = std::function<GDBusMessage *(GDBusMessage *call)>;

	MockService(const PrivateBus &bus, Answer answer)
		: answer_(std::move(answer)), connection_(bus.connect())
	{
		g_dbus_connection_add_filter(connection_.get(), on_message,
					     this, nullptr);
		util::Error error;
		const util::VariantPtr reply(g_dbus_connection_call_sync(
			connection_.get(), "org.freedesktop.DBus",
			"/org/freedesktop/DBus", "org.freedesktop.DBus",
			"RequestName", g_variant_new("(su)", kName, 0U),
			nullptr, G_DBUS_CALL_FLAGS_NONE, kDefaultTimeout,
			nullptr, &error));
		EXPECT_FALSE(error) << error.message();
	}
	~MockService()
	{
		vanish();
	}
	MockService(const MockService &) = delete;
	MockService &operator=(const MockService &) = delete;

	/// Leaves the bus.
	void vanish()
	{
		g_dbus_connection_close_sync(connection_.get(), nullptr,
					     nullptr);
	}
	/// The calls so far: "path interface member(argument)".
	std::vector<std::string> calls()
	{
		const std::lock_guard guard(mutex_);
		return calls_;
	}
	void wait_for_call()
	{
		std::unique_lock guard(mutex_);
		called_.wait(guard, [this] { return !calls_.empty(); });
	}

private:
	static GDBusMessage *on_message(GDBusConnection *connection,
					GDBusMessage *message,
					gboolean incoming, gpointer user_data)
	{
		if (!incoming || g_dbus_message_get_message_type(message) !=
					 G_DBUS_MESSAGE_TYPE_METHOD_CALL)
			return message;
		const util::ObjectPtr<GDBusMessage> call(message);
		const util::ObjectPtr<GDBusMessage> reply(
			static_cast<MockService *>(user_data)->answer(message));
		if (reply)
			g_dbus_connection_send_message(
				connection, reply.get(),
				G_DBUS_SEND_MESSAGE_FLAGS_NONE, nullptr,
				nullptr);
		return nullptr;
	}
	/// A proxy asks for the properties first: there are none.
	GDBusMessage *answer(GDBusMessage *call)
	{
		if (g_strcmp0(g_dbus_message_get_interface(call), kName) != 0)
			return g_dbus_message_new_method_error(
				call,
				"org.freedesktop.DBus.Error.UnknownInterface",
				"No properties");
		const std::lock_guard guard(mutex_);
		const util::CharPtr arguments(
			g_variant_print(g_dbus_message_get_body(call), FALSE));
		calls_.push_back(std::string(g_dbus_message_get_path(call)) +
				 " " + g_dbus_message_get_member(call) +
				 arguments.get());
		called_.notify_all();
		return answer_(call);
	}

	Answer answer_;
	std::mutex mutex_;
	std::condition_variable called_;
	std::vector<std::string> calls_;
	util::ObjectPtr<GDBusConnection> connection_;
};

/// A reply with the GVariant text @p body.
MockService::Answer reply_with(const std::string &body)
{
	return [body](GDBusMessage *call) {
		GDBusMessage *reply = g_dbus_message_new_method_reply(call);
		g_dbus_message_set_body(reply,
					g_variant_new_parsed(body.c_str()));
		return reply;
	};
}

GDBusMessage *refuse(GDBusMessage *call)
{
	return g_dbus_message_new_method_error(
		call, "org.freedesktop.DBus.Error.Failed", "No such block");
}

GDBusMessage *reply_with_nothing(GDBusMessage *call)
{
	return g_dbus_message_new_method_reply(call);
}

GDBusMessage *never_answer(GDBusMessage *)
{
	return nullptr;
}

class BootblockTest : public testing::Test
{
protected:
	BootblockTest()
	{
		asked_timeout = kNoTimeout;
		given_timeout = kDefaultTimeout;
	}
	/// What the lookup of "HWID" makes of no value.
	static std::optional<std::string> read()
	{
		std::optional<std::string> value;
		bootblock_read_param("HWID", &value);
		return value;
	}
	/// The messages but for what GLib tells of itself.
	std::vector<LogCapture::Message> messages() const
	{
		std::vector<LogCapture::Message> result = log_.messages();
		std::erase_if(result, [](const LogCapture::Message &message) {
			return message.level == G_LOG_LEVEL_DEBUG;
		});
		return result;
	}
	/// A lookup that fails leaves a value alone and logs one line at
	/// @p level that begins with @p text.
	void expect_failure(int level, const std::string &text)
	{
		std::optional<std::string> value = "before";
		bootblock_read_param("HWID", &value);
		EXPECT_EQ(value, "before");
		EXPECT_THAT(messages(), SizeIs(1));
		EXPECT_THAT(log_.texts(level), ElementsAre(StartsWith(text)));
		EXPECT_EQ(read(), std::nullopt);
		log_.clear();
	}
	void expect_call_failure()
	{
		expect_failure(G_LOG_LEVEL_INFO,
			       "Failed to request policykit system: ");
	}
	/// How many connections the bus has.
	size_t connections()
	{
		util::Error error;
		const util::VariantPtr reply(g_dbus_connection_call_sync(
			observer_.get(), "org.freedesktop.DBus",
			"/org/freedesktop/DBus", "org.freedesktop.DBus",
			"ListNames", nullptr, G_VARIANT_TYPE("(as)"),
			G_DBUS_CALL_FLAGS_NONE, kDefaultTimeout, nullptr,
			&error));
		EXPECT_FALSE(error) << error.message();
		const util::VariantPtr names(
			g_variant_get_child_value(reply.get(), 0));
		return g_variant_n_children(names.get());
	}

	PrivateBus bus_;
	util::ObjectPtr<GDBusConnection> observer_ = bus_.connect();
	LogCapture log_;
};

TEST_F(BootblockTest, TheValueIsTheServicesAnswer)
{
	MockService service(bus_, reply_with("('7A2.1',)"));
	EXPECT_EQ(read(), "7A2.1");
	EXPECT_THAT(service.calls(),
		    ElementsAre(std::string(kPath) +
				" ReadBootblockParam('HWID',)"));
	EXPECT_THAT(messages(), IsEmpty());
}

TEST_F(BootblockTest, TheServiceIsAskedForTheGivenName)
{
	MockService service(bus_, reply_with("('x',)"));
	std::optional<std::string> value;
	bootblock_read_param("PROD \"NBR\"", &value);
	EXPECT_THAT(service.calls(),
		    ElementsAre(std::string(kPath) +
				" ReadBootblockParam('PROD \"NBR\"',)"));
}

TEST_F(BootblockTest, AnEmptyAnswerIsAValue)
{
	const MockService service(bus_, reply_with("('',)"));
	EXPECT_EQ(read(), "");
}

TEST_F(BootblockTest, AHugeAnswerIsAValue)
{
	const std::string huge(65536, 'x');
	const MockService service(bus_, reply_with("('" + huge + "',)"));
	EXPECT_EQ(read(), huge);
}

TEST_F(BootblockTest, AnAnswerReplacesAnEarlierValue)
{
	const MockService service(bus_, reply_with("('new',)"));
	std::optional<std::string> value = "old";
	bootblock_read_param("HWID", &value);
	EXPECT_EQ(value, "new");
}

TEST_F(BootblockTest, AnAbsentServiceIsNoticedAtTheCall)
{
	expect_call_failure();
}

TEST_F(BootblockTest, AnErrorReplyIsAFailedCall)
{
	const MockService service(bus_, refuse);
	expect_failure(G_LOG_LEVEL_INFO,
		       "Failed to request policykit system: "
		       "GDBus.Error:org.freedesktop.DBus.Error.Failed: No such "
		       "block");
}

TEST_F(BootblockTest, AReplyOfAnotherTypeIsAFailedCall)
{
	for (const char *body :
	     {"(uint32 7,)", "('a', 'b')", "(<'a'>,)", "(['a', 'b'],)",
	      "(b'bytes',)", "(objectpath '/a',)"}) {
		SCOPED_TRACE(body);
		const MockService service(bus_, reply_with(body));
		expect_call_failure();
	}
}

TEST_F(BootblockTest, AReplyWithoutABodyIsAFailedCall)
{
	const MockService service(bus_, reply_with_nothing);
	expect_call_failure();
}

TEST_F(BootblockTest, AServiceThatVanishesInMidCallIsAFailedCall)
{
	MockService service(bus_, never_answer);
	const std::jthread vanishing([&service] {
		service.wait_for_call();
		service.vanish();
	});
	expect_call_failure();
}

TEST_F(BootblockTest, AServiceThatNeverAnswersIsGivenUp)
{
	given_timeout = 50;
	const MockService service(bus_, never_answer);
	expect_failure(G_LOG_LEVEL_INFO,
		       "Failed to request policykit system: Timeout was "
		       "reached");
}

TEST_F(BootblockTest, TheCallHasTheDefaultTimeoutAndNoFlags)
{
	const MockService service(bus_, reply_with("('x',)"));
	read();
	EXPECT_EQ(asked_timeout, kDefaultTimeout);
	EXPECT_EQ(asked_flags, G_DBUS_CALL_FLAGS_NONE);
}

TEST_F(BootblockTest, NoConnectionIsLeftBehind)
{
	const MockService service(bus_, reply_with("('x',)"));
	const size_t before = connections();
	for (int i = 0; i < 3; ++i)
		EXPECT_EQ(read(), "x");
	EXPECT_TRUE(wait_until([&] { return connections() == before; }));
}

TEST_F(BootblockTest, EachLookupAsksTheServiceAnew)
{
	MockService service(bus_, reply_with("('x',)"));
	read();
	read();
	EXPECT_THAT(service.calls(), SizeIs(2));
}

class BootblockWithoutBusTest : public BootblockTest,
				public testing::WithParamInterface<const char *>
{
protected:
	BootblockWithoutBusTest()
	{
		g_setenv("DBUS_SYSTEM_BUS_ADDRESS", GetParam(), TRUE);
	}
};

TEST_P(BootblockWithoutBusTest, IsAFailedSetupAtTheUserLevel)
{
	expect_failure(util::kLogLevelUser, "Failed to setup proxy: ");
}

INSTANTIATE_TEST_SUITE_P(Addresses, BootblockWithoutBusTest,
			 testing::Values("unix:path=/nonexistent/bus",
					 "no address", ""));

} // namespace

/// Every test would wait for the default time-out otherwise.
GVariant *g_dbus_proxy_call_sync(GDBusProxy *proxy, const gchar *method,
				 GVariant *parameters, GDBusCallFlags flags,
				 gint timeout, GCancellable *cancellable,
				 GError **error)
{
	const auto original =
		reinterpret_cast<decltype(&g_dbus_proxy_call_sync)>(
			dlsym(RTLD_NEXT, "g_dbus_proxy_call_sync"));
	asked_timeout = timeout;
	asked_flags = flags;
	return original(proxy, method, parameters, flags,
			given_timeout != kDefaultTimeout ? given_timeout
							 : timeout,
			cancellable, error);
}
