#pragma once

#include "bus.h"
#include "change.h"
#include "timestamp.h"
#include "util/scoped-source.h"

#include <functional>
#include <map>
#include <string>
#include <vector>

namespace orvadctl
{

/// A change, and when it came in.
struct Announced {
	Change change;
	DateTimePtr time;
	gint64 time_us; ///< Of the monotonic clock.
};

/// Follows ports, in the default main context: what they announce, and what
/// the daemon lists. Which ports the arguments mean, and what the ports are
/// called, is asked each time that the daemon appears; changes that come in
/// before that is known are held back until it is. Must not be destroyed while
/// the main loop may run on.
class PortFollow
{
public:
	struct Handlers {
		/// @param name the port's configuration name; empty when it is
		///        not known.
		std::function<void(const Announced &, const std::string &name)>
			announced;
		/// Those of the ports that are in service, in the daemon's
		/// order. After the changes announced before them.
		std::function<void(const std::vector<Port> &)> listed;
		/// Is given the error of a listing, and whether it leaves the
		/// arguments without a meaning.
		std::function<void(GError *, bool fatal)> failed;
	};

	enum class Listing {
		ONCE, ///< Each time that the daemon appears.
		/// Twice a second, too: of a port that was dropped or came
		/// back, nothing is announced.
		AGAIN
	};

	/// @param arguments what the command line calls the ports; none: all.
	/// @param daemon must outlive this.
	PortFollow(std::vector<std::string> arguments, IOControlState *daemon,
		   Listing listing, Handlers handlers);

	/// The daemon is there, respectively has gone.
	void appeared();
	void vanished();
	/// Finds that out by itself for as long as the answer lives, which must
	/// not be longer than this.
	/// @param show_presence is told, too, whether the daemon is there.
	NameWatch watch_daemon(std::function<void(bool)> show_presence);

	GDBusConnection *connection() const
	{
		return g_dbus_proxy_get_connection(G_DBUS_PROXY(daemon_));
	}

private:
	void list();
	void on_listed(GAsyncResult *result);
	bool read_listing(GAsyncResult *result, std::vector<Port> &ports,
			  GError **error);
	bool select(const std::vector<Port> &ports, GError **error);
	void on_signal(const char *signal, GVariant *arguments);
	void announce(Change change);
	void release_held();
	bool wanted(gint32 number) const;
	void tell(const Announced &announced) const;
	void tell_listed(const std::vector<Port> &ports) const;

	std::vector<std::string> arguments_;
	IOControlState *daemon_;
	Listing mode_;
	Handlers handlers_;
	Subscription signals_;

	util::ScopedSource ticking_;
	bool there_ = false;
	bool listing_ = false;     ///< The ports were asked for just now.
	bool answered_ = false;    ///< They were, since the daemon appeared.
	bool ever_listed_ = false; ///< The arguments are known to be ports.
	std::map<gint32, std::string> names_;
	std::map<std::string, gint32> selected_; ///< Argument to number.
	std::vector<Announced> held_;
};

} // namespace orvadctl
