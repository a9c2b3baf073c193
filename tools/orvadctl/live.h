#pragma once

#include "output.h"
#include "util/glib-ptr.h"
#include "util/scoped-source.h"

#include <gio/gio.h>

#include <string>

namespace orvadctl
{

/// The main loop of a command that waits for the bus. It ends with failure
/// when the bus goes away.
class Live
{
public:
	explicit Live(GDBusConnection *connection);
	~Live();
	Live(const Live &) = delete;
	Live &operator=(const Live &) = delete;

	/// From now on SIGINT and SIGTERM end the loop with success.
	void end_with_user();
	/// So does a reader of output that has gone.
	void end_with_reader(const Output &output);

	/// Ends the loop with success once that time has passed.
	void end_after(gint ms);
	/// Whether that is what has ended it.
	bool timed_out() const
	{
		return timed_out_;
	}

	/// Runs until one of the two below was called, also if that was before.
	bool run(GError **error);

	/// Ends the loop with success.
	void stop();
	/// Whether the loop has been ended. Sources that were ready at the same
	/// time are still dispatched once.
	bool ended() const
	{
		return ended_;
	}
	/// Ends the loop with failure.
	/// @param error becomes this object's; the first one counts.
	void fail(GError *error);

	/// Deals with the error of a call to the service that is followed,
	/// which becomes this object's.
	/// @param fatal whether it ends the loop with failure. One of a service
	///        that is just starting or ending never does.
	/// @returns what to tell the user while the loop goes on; empty:
	///        nothing, since a service that has gone shows by itself.
	std::string call_failed(GError *error, bool fatal);

private:
	util::MainLoopPtr loop_;
	GDBusConnection *connection_;
	gulong closed_handler_;
	util::ScopedSource interrupt_;
	util::ScopedSource terminate_;
	util::ScopedSource reader_;
	util::ScopedSource deadline_;
	bool ended_ = false;
	bool timed_out_ = false;
	GError *error_ = nullptr;
};

} // namespace orvadctl
