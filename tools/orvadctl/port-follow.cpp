#include "port-follow.h"

#include <algorithm>
#include <utility>

namespace orvadctl
{

namespace
{

constexpr guint LISTING_INTERVAL_MS = 500;

} // namespace

PortFollow::PortFollow(std::vector<std::string> arguments,
		       IOControlState *daemon, Listing listing,
		       Handlers handlers)
	: arguments_(std::move(arguments)), daemon_(daemon), mode_(listing),
	  handlers_(std::move(handlers)),
	  signals_(
		  connection(), STATE_NAME, STATE_NAME, STATE_PATH, nullptr,
		  [](GDBusConnection *, const char *, const char *,
		     const char *, const char *signal, GVariant *values,
		     gpointer self) {
			  static_cast<PortFollow *>(self)->on_signal(signal,
								     values);
		  },
		  this)
{
}

void PortFollow::appeared()
{
	there_ = true;
	answered_ = false;
	list();
	if (mode_ == Listing::AGAIN)
		ticking_.reset(g_timeout_add(
			LISTING_INTERVAL_MS,
			[](gpointer self) -> gboolean {
				auto *follow = static_cast<PortFollow *>(self);
				if (!follow->listing_)
					follow->list();
				return G_SOURCE_CONTINUE;
			},
			this));
}

void PortFollow::vanished()
{
	there_ = false;
	ticking_.reset();
}

NameWatch
PortFollow::watch_daemon(std::function<void(bool there)> show_presence)
{
	return NameWatch(
		connection(), STATE_NAME,
		[this, show_presence] {
			show_presence(true);
			appeared();
		},
		[this, show_presence] {
			vanished();
			show_presence(false);
		});
}

void PortFollow::list()
{
	listing_ = true;
	iocontrol_state_call_get_port_props(
		daemon_, nullptr,
		[](GObject *, GAsyncResult *result, gpointer self) {
			static_cast<PortFollow *>(self)->on_listed(result);
		},
		this);
}

bool PortFollow::read_listing(GAsyncResult *result, std::vector<Port> &ports,
			      GError **error)
{
	gint number = 0;
	GVariant *listed = nullptr;

	if (!iocontrol_state_call_get_port_props_finish(daemon_, &number,
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
bool PortFollow::select(const std::vector<Port> &ports, GError **error)
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

void PortFollow::on_listed(GAsyncResult *result)
{
	GError *error = nullptr;
	std::vector<Port> ports;
	const bool read = read_listing(result, ports, &error);

	listing_ = false;
	answered_ = true;
	if (read)
		ever_listed_ = true;
	else
		handlers_.failed(error, !ever_listed_);
	release_held();
	// Of a daemon that has gone, only that it has matters.
	if (read && there_)
		tell_listed(ports);
}

void PortFollow::release_held()
{
	for (const Announced &announced : std::exchange(held_, {}))
		tell(announced);
}

bool PortFollow::wanted(gint32 number) const
{
	if (arguments_.empty())
		return true;
	return std::any_of(
		selected_.begin(), selected_.end(),
		[number](const auto &pair) { return pair.second == number; });
}

void PortFollow::tell(const Announced &announced) const
{
	const gint32 number = announced.change.number;
	auto name = names_.find(number);

	if (wanted(number))
		handlers_.announced(announced,
				    name == names_.end() ? "" : name->second);
}

void PortFollow::tell_listed(const std::vector<Port> &ports) const
{
	std::vector<Port> chosen;

	std::copy_if(ports.begin(), ports.end(), std::back_inserter(chosen),
		     [this](const Port &port) { return wanted(port.number); });
	handlers_.listed(chosen);
}

void PortFollow::announce(Change change)
{
	held_.push_back({change, local_now(), g_get_monotonic_time()});
	if (!listing_ || answered_)
		release_held();
}

void PortFollow::on_signal(const char *signal, GVariant *arguments)
{
	if (g_strcmp0(signal, "PortChanged") == 0) {
		if (check_arguments(arguments, PORT_CHANGED_TYPE, signal))
			announce(change_from_port_changed(arguments));
	} else if (g_strcmp0(signal, "ActionSequenceDone") == 0) {
		if (check_arguments(arguments, SEQUENCE_DONE_TYPE, signal))
			announce(change_from_sequence_done(arguments));
	}
}

} // namespace orvadctl
