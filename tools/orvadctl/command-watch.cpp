#include "change.h"
#include "command.h"
#include "feed.h"
#include "timestamp.h"

#include <map>

namespace orvadctl
{

namespace
{

/// Follows the ports. Which ports the arguments mean, and what the ports are
/// called, is asked each time that the daemon appears; changes that come in
/// before that is known are held back until it is.
class Watch
{
public:
	Watch(Context &context, StatePtr daemon);

	bool run(GError **error);

private:
	struct Announced {
		Change change;
		DateTimePtr time;
	};

	void list();
	void on_listed(GAsyncResult *result);
	bool read_listing(GAsyncResult *result, GError **error);
	bool select(const std::vector<Port> &ports, GError **error);
	void on_signal(const char *signal, GVariant *arguments);
	void announce(Change change);
	void release_held();
	bool wanted(gint32 number) const;
	void show(const Announced &announced);
	GDBusConnection *connection() const
	{
		return g_dbus_proxy_get_connection(G_DBUS_PROXY(daemon_.get()));
	}

	const std::vector<std::string> &arguments_;
	StatePtr daemon_;
	Feed feed_;
	bool listing_ = false;     ///< The ports were asked for just now.
	bool ever_listed_ = false; ///< The arguments are known to be ports.
	std::map<gint32, std::string> names_;
	std::map<std::string, gint32> selected_; ///< Argument to number.
	std::vector<Announced> held_;
};

Watch::Watch(Context &context, StatePtr daemon)
	: arguments_(context.options.arguments), daemon_(std::move(daemon)),
	  feed_(context, connection(), STATE_NAME, "the port daemon")
{
}

void Watch::list()
{
	listing_ = true;
	iocontrol_state_call_get_port_props(
		daemon_.get(), nullptr,
		[](GObject *, GAsyncResult *result, gpointer self) {
			static_cast<Watch *>(self)->on_listed(result);
		},
		this);
}

bool Watch::read_listing(GAsyncResult *result, GError **error)
{
	gint number = 0;
	GVariant *listed = nullptr;
	std::vector<Port> ports;

	if (!iocontrol_state_call_get_port_props_finish(daemon_.get(), &number,
							&listed, result, error))
		return false;
	util::VariantPtr owned(listed);
	if (!ports_from_variant(listed, ports, error))
		return false;
	names_.clear();
	for (const Port &port : ports)
		names_[port.number] = port.name;
	return select(ports, error);
}

/// A port that was known before keeps its number when it is missing now: an
/// optional port may come back later.
bool Watch::select(const std::vector<Port> &ports, GError **error)
{
	for (const std::string &argument : arguments_) {
		util::Error unknown;
		const Port *port = select_port(ports, argument, &unknown);
		if (port) {
			selected_[argument] = port->number;
		} else if (!ever_listed_) {
			g_propagate_error(error, unknown.release());
			return false;
		}
	}
	return true;
}

void Watch::on_listed(GAsyncResult *result)
{
	GError *error = nullptr;

	listing_ = false;
	if (read_listing(result, &error))
		ever_listed_ = true;
	else
		feed_.call_failed(error, !ever_listed_);
	release_held();
}

void Watch::release_held()
{
	std::vector<Announced> held = std::exchange(held_, {});

	for (const Announced &announced : held)
		show(announced);
}

bool Watch::wanted(gint32 number) const
{
	if (arguments_.empty())
		return true;
	for (const auto &[argument, selected] : selected_)
		if (selected == number)
			return true;
	return false;
}

void Watch::show(const Announced &announced)
{
	const Change &change = announced.change;
	auto name = names_.find(change.number);
	std::string known = name == names_.end() ? "" : name->second;

	if (!wanted(change.number))
		return;
	feed_.counted_line(
		feed_.json() ? change_json(change, known, announced.time.get())
			     : change_text(change, known, announced.time.get(),
					   feed_.output()));
}

void Watch::announce(Change change)
{
	held_.push_back({change, local_now()});
	if (!listing_)
		release_held();
}

void Watch::on_signal(const char *signal, GVariant *arguments)
{
	if (g_strcmp0(signal, "PortChanged") == 0) {
		if (check_arguments(arguments, PORT_CHANGED_TYPE, signal))
			announce(change_from_port_changed(arguments));
	} else if (g_strcmp0(signal, "ActionSequenceDone") == 0) {
		if (check_arguments(arguments, SEQUENCE_DONE_TYPE, signal))
			announce(change_from_sequence_done(arguments));
	}
}

bool Watch::run(GError **error)
{
	Subscription signals(
		connection(), STATE_NAME, STATE_NAME, STATE_PATH, nullptr,
		[](GDBusConnection *, const char *, const char *, const char *,
		   const char *signal, GVariant *arguments, gpointer self) {
			static_cast<Watch *>(self)->on_signal(signal,
							      arguments);
		},
		this);

	return feed_.run([this] { list(); }, [] {}, error);
}

bool run(Context &context, GError **error)
{
	StatePtr daemon = open_daemon(context.options.timeout_ms, error);

	return daemon && Watch(context, std::move(daemon)).run(error);
}

} // namespace

const Command WATCH_COMMAND = {
	"watch",
	"[PORT...]",
	"show changes of the ports as they happen",
	"Shows every change of the PORTs, or of all, and the end of every\n"
	"sequence, until interrupted; says when the daemon goes away and "
	"comes\n"
	"back. Waits for a daemon that is not there yet. --count counts "
	"changes\n"
	"and ends of sequences.\n"
	"\n"
	"JSON, an object in each line, told apart by \"type\":\n"
	"\"changed\": \"time\" (ISO 8601), \"number\", \"name\": text or "
	"null,\n"
	"  \"active\": bool, \"direction\": \"input\"|\"output\",\n"
	"  \"active_level\": \"open\"|\"closed\", \"simulated\": bool,\n"
	"  \"virtual\": bool, \"hidden\": bool (the port's properties)\n"
	"\"sequence-done\": \"time\", \"number\", \"name\"\n"
	"\"presence\": \"time\", \"running\": bool (the daemon)",
	OPTION_COUNT,
	0,
	ANY_NUMBER,
	run,
};

} // namespace orvadctl
