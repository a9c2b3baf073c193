#include "supervised-bus.h"

namespace orvadctl
{

namespace
{

constexpr const char *SUPERVISED_NAME = "com.vexa.IOSupervised.Supervised";
constexpr const char *SUPERVISED_PATH = "/com/vexa/IOSupervised/Supervised";
constexpr const char *NO_SUPERVISED_PORT_ERROR =
	"com.vexa.IOSupervised.Error.No_port";

bool says_nothing_to_tell(const GError *error)
{
	return says_not_served(error) ||
	       says(error, NO_SUPERVISED_PORT_ERROR) ||
	       g_error_matches(error, G_DBUS_ERROR, G_DBUS_ERROR_ACCESS_DENIED);
}

bool fetch_switches(IOSupervisedSupervised *supervised, const Port &port,
		    Supervision &supervision, GError **error)
{
	auto number = static_cast<guint>(port.number);
	gboolean input, output, on;

	if (!iosupervised_supervised_call_is_supervisable_sync(
		    supervised, number, &input, &output, nullptr, error) ||
	    !iosupervised_supervised_call_get_supervised_sync(
		    supervised, number, &on, nullptr, error))
		return false;
	supervision.supervisable = input;
	supervision.supervised = on;
	return true;
}

/// A daemon that answers that it cannot measure has answered.
bool fetch_line(IOSupervisedSupervised *supervised, const Port &port,
		Supervision &supervision, GError **error)
{
	Readout readout;
	GError *refusal = nullptr;

	if (fetch_readout(supervised, port, readout, &refusal)) {
		supervision.readout = readout;
		return true;
	}
	if (!g_dbus_error_is_remote_error(refusal)) {
		g_propagate_error(error, refusal);
		return false;
	}
	explain_supervised_error(&refusal);
	supervision.problem = refusal->message;
	g_error_free(refusal);
	return true;
}

bool fetch_all(IOSupervisedSupervised *supervised, const Port &port,
	       Supervision &supervision, GError **error)
{
	return fetch_switches(supervised, port, supervision, error) &&
	       (!supervision.supervisable ||
		fetch_line(supervised, port, supervision, error));
}

} // namespace

SupervisedPtr open_supervised(IOControlState *daemon, GError **error)
{
	GDBusProxy *proxy = G_DBUS_PROXY(daemon);
	SupervisedPtr supervised(iosupervised_supervised_proxy_new_sync(
		g_dbus_proxy_get_connection(proxy),
		g_dbus_proxy_get_flags(proxy), SUPERVISED_NAME, SUPERVISED_PATH,
		nullptr, error));

	if (!supervised) {
		explain_supervised_error(error);
		return nullptr;
	}
	g_dbus_proxy_set_default_timeout(
		G_DBUS_PROXY(supervised.get()),
		g_dbus_proxy_get_default_timeout(proxy));
	return supervised;
}

void explain_supervised_error(GError **error)
{
	explain_interface_error(error, "supervised inputs");
}

void explain_supervised_error(GError **error, const Port &port)
{
	explain_supervised_error(error);
	g_prefix_error(error,
		       "%s: ", port_label(port.number, port.name).c_str());
}

bool fetch_ranges(IOSupervisedSupervised *supervised, const Port &port,
		  std::vector<Range> &ranges, GError **error)
{
	GVariant *listed = nullptr;

	if (!iosupervised_supervised_call_get_supervised_ranges_sync(
		    supervised, static_cast<guint>(port.number), &listed,
		    nullptr, error))
		return false;
	util::VariantPtr owned(listed);
	return ranges_from_variant(listed, ranges, error);
}

bool fetch_states(IOSupervisedSupervised *supervised, const Port &port,
		  std::vector<std::string> &states, GError **error)
{
	guint count = 0;
	GVariant *listed = nullptr;
	const char *state = nullptr;

	if (!iosupervised_supervised_call_get_supervised_states_sync(
		    supervised, static_cast<guint>(port.number), &count,
		    &listed, nullptr, error))
		return false;
	util::VariantPtr owned(listed);
	states.clear();
	for (gsize i = 0; i < g_variant_n_children(listed); ++i) {
		g_variant_get_child(listed, i, "(&s)", &state);
		states.emplace_back(state);
	}
	return true;
}

bool fetch_supervisable(IOSupervisedSupervised *supervised,
			std::vector<guint32> &numbers, GError **error)
{
	GVariant *listed = nullptr;

	if (!iosupervised_supervised_call_get_supervised_port_numbers_sync(
		    supervised, &listed, nullptr, error))
		return false;
	util::VariantPtr owned(listed);
	gsize count = 0;
	auto first = static_cast<const guint32 *>(
		g_variant_get_fixed_array(listed, &count, sizeof(guint32)));
	numbers.assign(first, first + count);
	return true;
}

bool fetch_supervised(IOSupervisedSupervised *supervised, guint32 number,
		      std::optional<bool> &on, GError **error)
{
	gboolean answer = FALSE;
	util::Error call_error;

	on.reset();
	if (iosupervised_supervised_call_get_supervised_sync(
		    supervised, number, &answer, nullptr, &call_error)) {
		on = answer != FALSE;
		return true;
	}
	if (says(call_error.get(), NO_SUPERVISED_PORT_ERROR))
		return true;
	g_propagate_error(error, call_error.release());
	return false;
}

bool fetch_readout(IOSupervisedSupervised *supervised, const Port &port,
		   Readout &readout, GError **error)
{
	char *state = nullptr;
	guint level = 0;

	if (!iosupervised_supervised_call_get_supervised_readout_sync(
		    supervised, static_cast<guint>(port.number), &state, &level,
		    nullptr, error))
		return false;
	util::CharPtr owned(state);
	readout = {state, level};
	return true;
}

bool fetch_supervision(IOControlState *daemon, const Port &port,
		       std::optional<Supervision> &supervision, GError **error)
{
	Supervision found;
	util::Error call_error;

	supervision.reset();
	if (!port.real())
		return true;
	SupervisedPtr supervised = open_supervised(daemon, error);
	if (!supervised)
		return false;
	if (fetch_all(supervised.get(), port, found, &call_error)) {
		supervision = found;
		return true;
	}
	if (says_nothing_to_tell(call_error.get()))
		return true;
	g_propagate_error(error, call_error.release());
	explain_supervised_error(error, port);
	return false;
}

} // namespace orvadctl
