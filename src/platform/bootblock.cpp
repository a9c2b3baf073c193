#include "platform/bootblock.h"

#include "util/bus-client.h"
#include "util/log.h"

namespace
{

constexpr util::BusObject kReader = {
	.name = "com.vexa.PolicyKitSystem",
	.path = "/com/vexa/PolicyKitSystem",
	.interface = "com.vexa.PolicyKitSystem",
};

} // namespace

void bootblock_read_param(const char *name, std::optional<std::string> *value)
{
	util::Error error;
	const util::PrivateConnection connection(&error);
	const auto proxy =
		connection.get()
			? util::new_proxy(connection.get(), kReader,
					  G_DBUS_PROXY_FLAGS_NONE, &error)
			: nullptr;
	if (!proxy) {
		g_log(nullptr, util::kLogLevelUser, "Failed to setup proxy: %s",
		      error.message());
		return;
	}
	const util::VariantPtr reply =
		util::call(proxy.get(), "ReadBootblockParam",
			   g_variant_new("(s)", name), "(s)", &error);
	if (!reply) {
		g_info("Failed to request policykit system: %s",
		       error.message());
		return;
	}
	const char *text = nullptr;
	g_variant_get(reply.get(), "(&s)", &text);
	*value = text;
}
