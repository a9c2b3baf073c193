#include "util/bus-client.h"

#include "private-bus.h"

#include <gmock/gmock.h>

namespace
{

using testing::HasSubstr;

/// The bus itself is a service, too.
constexpr util::BusObject kBus = {
	.name = "org.freedesktop.DBus",
	.path = "/org/freedesktop/DBus",
	.interface = "org.freedesktop.DBus",
};
constexpr util::BusObject kAbsent = {
	.name = "com.example.Absent",
	.path = "/com/example/Absent",
	.interface = "com.example.Absent",
};

class BusClientTest : public testing::Test
{
protected:
	util::ProxyPtr proxy_of(const util::BusObject &object)
	{
		return util::new_proxy(
			connection_.get(), object,
			G_DBUS_PROXY_FLAGS_DO_NOT_LOAD_PROPERTIES, &error_);
	}

	PrivateBus bus_;
	util::ObjectPtr<GDBusConnection> connection_ = bus_.connect();
	util::Error error_;
};

TEST_F(BusClientTest, AnAnswerOfTheTypeIsReturned)
{
	const auto proxy = proxy_of(kBus);
	ASSERT_NE(proxy, nullptr);
	const auto reply =
		util::call(proxy.get(), "NameHasOwner",
			   g_variant_new("(s)", kBus.name), "(b)", &error_);
	ASSERT_NE(reply, nullptr);
	gboolean has_owner = FALSE;
	g_variant_get(reply.get(), "(b)", &has_owner);
	EXPECT_TRUE(has_owner);
	EXPECT_FALSE(error_);
}

TEST_F(BusClientTest, AnAnswerOfAnotherTypeIsAnError)
{
	const auto proxy = proxy_of(kBus);
	for (const char *type : {"(b)", "(o)", "()", "(ss)", "(v)"}) {
		EXPECT_EQ(util::call(proxy.get(), "GetId", nullptr, type,
				     &error_),
			  nullptr);
		EXPECT_TRUE(g_error_matches(error_.get(), G_DBUS_ERROR,
					    G_DBUS_ERROR_INVALID_SIGNATURE));
		EXPECT_STREQ(error_.message(), "Unexpected reply of type (s)");
	}
}

TEST_F(BusClientTest, AnyTypeMayBeExpected)
{
	const auto proxy = proxy_of(kBus);
	for (const char *method : {"GetId", "ListNames"})
		EXPECT_NE(
			util::call(proxy.get(), method, nullptr, "r", &error_),
			nullptr);
	EXPECT_FALSE(error_);
}

TEST_F(BusClientTest, TheServicesErrorIsReturned)
{
	const auto proxy = proxy_of(kBus);
	EXPECT_EQ(
		util::call(proxy.get(), "NoSuchMethod", nullptr, "r", &error_),
		nullptr);
	EXPECT_TRUE(g_error_matches(error_.get(), G_DBUS_ERROR,
				    G_DBUS_ERROR_UNKNOWN_METHOD));
}

TEST_F(BusClientTest, AnErrorNeedNotBeWanted)
{
	const auto proxy = proxy_of(kBus);
	EXPECT_EQ(util::call(proxy.get(), "GetId", nullptr, "(b)", nullptr),
		  nullptr);
}

TEST_F(BusClientTest, AnAbsentServiceShowsWhenItIsCalled)
{
	const auto proxy = proxy_of(kAbsent);
	ASSERT_NE(proxy, nullptr) << error_.message();
	EXPECT_EQ(util::call(proxy.get(), "Method", nullptr, "r", &error_),
		  nullptr);
	EXPECT_THAT(error_.message(), HasSubstr(kAbsent.name));
}

TEST_F(BusClientTest, APrivateConnectionIsNobodyElsesAndClosed)
{
	util::ObjectPtr<GDBusConnection> kept;
	{
		const util::PrivateConnection first(&error_);
		const util::PrivateConnection second(&error_);
		ASSERT_NE(first.get(), nullptr) << error_.message();
		EXPECT_NE(first.get(), second.get());
		kept.reset(G_DBUS_CONNECTION(g_object_ref(first.get())));
		EXPECT_FALSE(g_dbus_connection_is_closed(kept.get()));
	}
	EXPECT_TRUE(g_dbus_connection_is_closed(kept.get()));
}

TEST(BusClient, WithoutABusThereIsNoConnection)
{
	g_setenv("DBUS_SYSTEM_BUS_ADDRESS", "unix:path=/nowhere/bus", TRUE);
	util::Error error;
	EXPECT_EQ(util::PrivateConnection(&error).get(), nullptr);
	EXPECT_TRUE(error);
	EXPECT_EQ(util::system_bus(&error), nullptr);
	EXPECT_TRUE(error);
	EXPECT_EQ(util::new_proxy(kAbsent, G_DBUS_PROXY_FLAGS_NONE, &error),
		  nullptr);
	EXPECT_TRUE(error);
	g_unsetenv("DBUS_SYSTEM_BUS_ADDRESS");
}

} // namespace
