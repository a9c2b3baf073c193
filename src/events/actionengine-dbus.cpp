#include "events/actionengine-dbus.h"

#include "ioport/port-seam.h"
#include "util/bus-client.h"

#include <array>
#include <cstring>
#include <mutex>
#include <utility>

namespace
{

constexpr util::BusObject kEngine = {
	.name = "com.vexa.Event.ActionEngine.User",
	.path = "/com/vexa/Event/ActionEngine",
	.interface = "com.vexa.Event.ActionEngine.User",
};
/// Nothing but calls is wanted of it.
constexpr auto kEngineFlags =
	static_cast<GDBusProxyFlags>(G_DBUS_PROXY_FLAGS_DO_NOT_LOAD_PROPERTIES |
				     G_DBUS_PROXY_FLAGS_DO_NOT_CONNECT_SIGNALS);

constexpr const char *kList = "com.vexa.Event.ActionEngine.ActionTemplate.List";
constexpr const char *kAdd =
	"com.vexa.Event.ActionEngine.ActionTemplate.AddFromFile";
constexpr const char *kRemove =
	"com.vexa.Event.ActionEngine.ActionTemplate.Remove";

/// The templates, of which the first child of the answer to kList is an array.
constexpr const char *kTemplates = "a(sssa{ss})";

/// The actions that need a port to drive.
struct ActionTemplate {
	const char *id;
	/// The engine reads it.
	const char *file;
};

constexpr std::array<ActionTemplate, 2> kActions = {{
	{"com.vexa.action.fixed.io.toggle",
	 "/etc/orvad/actions/com.vexa.action.fixed.io.toggle.xml"},
	{"com.vexa.action.unlimited.io.toggle",
	 "/etc/orvad/actions/com.vexa.action.unlimited.io.toggle.xml"},
}};

/// Which of kActions the engine has.
using Presence = std::array<bool, kActions.size()>;

/// Guards what is below, and is held while the engine is called. Taken with or
/// without the port list's lock; no lock is taken with it held.
std::mutex engine_mutex;
util::ProxyPtr engine;
/// What the port list asked for last.
bool registration_wanted = false;

guint watch_id = 0;

void note_template(Presence *presence, const char *id)
{
	for (std::size_t i = 0; i < kActions.size(); ++i) {
		if (std::strcmp(kActions[i].id, id) == 0)
			(*presence)[i] = true;
	}
}

/// The array of the engine's templates in its @p reply; null, with an error,
/// when there is none.
util::VariantPtr templates_in(GVariant *reply, GError **error)
{
	util::VariantPtr templates;
	if (g_variant_n_children(reply) > 0)
		templates.reset(g_variant_get_child_value(reply, 0));
	if (templates &&
	    g_variant_is_of_type(templates.get(), G_VARIANT_TYPE(kTemplates)))
		return templates;
	g_set_error(error, G_DBUS_ERROR, G_DBUS_ERROR_INVALID_SIGNATURE,
		    "Unexpected reply of type %s",
		    g_variant_get_type_string(reply));
	return nullptr;
}

bool list_templates(Presence *presence, GError **error)
{
	const auto reply = util::call(engine.get(), kList, nullptr,
				      util::kAnyReply, error);
	const auto templates =
		reply ? templates_in(reply.get(), error) : nullptr;
	if (!templates)
		return false;
	GVariantIter iter;
	const char *id = nullptr;
	g_variant_iter_init(&iter, templates.get());
	while (g_variant_iter_loop(&iter, "(&s&s&s@a{ss})", &id, nullptr,
				   nullptr, nullptr))
		note_template(presence, id);
	return true;
}

bool add_template(const ActionTemplate &action)
{
	util::Error error;
	if (util::call(engine.get(), kAdd, g_variant_new("(s)", action.file),
		       util::kAnyReply, &error))
		return true;
	g_warning("Failed to add template %s: %s", action.id, error.message());
	return false;
}

bool remove_template(const ActionTemplate &action)
{
	util::Error error;
	if (util::call(engine.get(), kRemove, g_variant_new("(s)", action.id),
		       util::kAnyReply, &error))
		return true;
	g_warning("Failed to remove template %s: %s", action.id,
		  error.message());
	return false;
}

/// Has the engine add or remove what it has not got, respectively has, and
/// stops at the first failure. `engine_mutex` is held.
void actionengine_update_templates(bool wanted)
{
	util::Error error;
	Presence presence = {};
	if (!list_templates(&presence, &error)) {
		g_warning("Could not retrieve the template list: %s",
			  error.message());
		return;
	}
	for (std::size_t i = 0; i < kActions.size(); ++i) {
		if (presence[i] == wanted)
			continue;
		if (!(wanted ? add_template(kActions[i])
			     : remove_template(kActions[i])))
			return;
	}
}

void on_name_appeared(GDBusConnection *connection, const char *, const char *,
		      gpointer)
{
	const std::lock_guard guard(engine_mutex);
	engine = util::new_proxy(connection, kEngine, kEngineFlags, nullptr);
	if (engine)
		actionengine_update_templates(registration_wanted);
}

void on_name_vanished(GDBusConnection *, const char *, gpointer)
{
	const std::lock_guard guard(engine_mutex);
	engine.reset();
}

} // namespace

void actionengine_dbus_init()
{
	watch_id = g_bus_watch_name(
		G_BUS_TYPE_SYSTEM, kEngine.name, G_BUS_NAME_WATCHER_FLAGS_NONE,
		on_name_appeared, on_name_vanished, nullptr, nullptr);
}

void actionengine_dbus_finalize()
{
	if (watch_id != 0)
		g_bus_unwatch_name(std::exchange(watch_id, 0));
	const std::lock_guard guard(engine_mutex);
	engine.reset();
}

void actionengine_dbus_update_action_registration(bool wanted)
{
	const std::lock_guard guard(engine_mutex);
	registration_wanted = wanted;
	if (engine)
		actionengine_update_templates(wanted);
}
