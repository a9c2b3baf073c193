#include "event-service.h"

#include "report.h"

namespace orvadctl
{

namespace
{

constexpr const char *INTROSPECTABLE = "org.freedesktop.DBus.Introspectable";

std::string producer_path(const std::string &producer)
{
	return std::string(EVENTS_ROOT) + "/" + producer;
}

/// The answer, or null with error set.
/// @param arguments floating; null: none.
util::VariantPtr ask(GDBusConnection *connection, gint timeout_ms,
		     const EventServiceCall &call, GError **error,
		     GVariant *arguments = nullptr)
{
	return util::VariantPtr(g_dbus_connection_call_sync(
		connection, EVENTS_NAME, call.path.c_str(), call.interface,
		call.method, arguments, G_VARIANT_TYPE(call.answer_type),
		G_DBUS_CALL_FLAGS_NO_AUTO_START, timeout_ms, nullptr, error));
}

} // namespace

EventServiceCall producers_call()
{
	return {EVENTS_ROOT, INTROSPECTABLE, "Introspect", "(s)"};
}

EventServiceCall declarations_call(const std::string &producer)
{
	return {producer_path(producer), PRODUCER_INTERFACE, "ListDeclarations",
		"(a(ua{sv}))"};
}

bool producers_from_answer(GVariant *answer,
			   std::vector<std::string> &producers, GError **error)
{
	using NodeInfoPtr = util::Handle<GDBusNodeInfo, g_dbus_node_info_unref>;
	const char *xml = nullptr;

	g_variant_get(answer, "(&s)", &xml);
	NodeInfoPtr root(g_dbus_node_info_new_for_xml(xml, error));
	if (!root)
		return false;
	for (GDBusNodeInfo **node = root->nodes; node && *node; ++node) {
		const char *name = (*node)->path;
		if (name &&
		    g_variant_is_object_path(producer_path(name).c_str()))
			producers.emplace_back(name);
	}
	return true;
}

std::vector<std::pair<guint32, Declaration>>
declarations_from_answer(GVariant *answer)
{
	util::VariantPtr list(g_variant_get_child_value(answer, 0));
	std::vector<std::pair<guint32, Declaration>> declarations;

	for (gsize i = 0; i < g_variant_n_children(list.get()); ++i) {
		guint32 id = 0;
		GVariant *child = nullptr;
		g_variant_get_child(list.get(), i, "(u@a{sv})", &id, &child);
		util::VariantPtr description(child);
		if (auto declaration = read_declaration(description.get()))
			declarations.emplace_back(id, std::move(*declaration));
	}
	return declarations;
}

std::optional<Declaration> read_declaration(GVariant *description)
{
	util::Error error;
	Declaration declaration;

	if (declaration_from_variant(description, declaration, &error))
		return declaration;
	report_line(error.message());
	return std::nullopt;
}

bool fetch_declarations(GDBusConnection *connection, gint timeout_ms,
			std::vector<LiveDeclaration> &declarations,
			GError **error)
{
	auto answer = ask(connection, timeout_ms, producers_call(), error);
	std::vector<std::string> producers;

	if (!answer || !producers_from_answer(answer.get(), producers, error))
		return false;
	for (const std::string &producer : producers) {
		answer = ask(connection, timeout_ms,
			     declarations_call(producer), error);
		if (!answer)
			return false;
		for (auto &[id, declaration] :
		     declarations_from_answer(answer.get()))
			declarations.push_back(
				{producer, id, std::move(declaration)});
	}
	return true;
}

bool fetch_values(GDBusConnection *connection, gint timeout_ms,
		  const LiveDeclaration &declaration,
		  std::optional<Values> &values, GError **error)
{
	const EventServiceCall call = {producer_path(declaration.producer),
				       PRODUCER_INTERFACE, "GetState",
				       "(a{sv})"};
	util::Error call_error;
	auto answer = ask(connection, timeout_ms, call, &call_error,
			  g_variant_new("(u)", declaration.id));

	values.reset();
	if (answer) {
		util::VariantPtr dictionary(
			g_variant_get_child_value(answer.get(), 0));
		values = values_from_variant(dictionary.get());
		return true;
	}
	if (g_error_matches(call_error.get(), G_DBUS_ERROR,
			    G_DBUS_ERROR_INVALID_ARGS))
		return true;
	g_propagate_error(error, call_error.release());
	return false;
}

} // namespace orvadctl
