#pragma once

#include "bus.h"
#include "command.h"
#include "live.h"
#include "presence.h"

#include <functional>
#include <string>

namespace orvadctl
{

/// The lines of a command that shows what happens as it happens, until the
/// user ends it, --count or --for is reached or nobody reads any more. Shows
/// itself when the service that it follows goes away and comes back.
class Feed
{
public:
	/// @param name the service's bus name.
	/// @param title what to call it in sentences.
	Feed(Context &context, GDBusConnection *connection, const char *name,
	     const char *title);

	bool json() const
	{
		return context_.options.json;
	}
	const Output &output() const
	{
		return context_.output;
	}

	/// Shows a line, respectively one that --count counts. Nothing is shown
	/// once the feed has ended.
	void line(const std::string &text);
	void counted_line(const std::string &text);

	/// Deals with the error of a call, which becomes this object's: ends
	/// the command, or says so and goes on, as Live::call_failed() has it.
	void call_failed(GError *error, bool fatal);

	/// Runs the command. The handlers are told, after the line about it,
	/// that the service is there, respectively is not; one is told at once.
	bool run(std::function<void()> appeared, std::function<void()> vanished,
		 GError **error);

private:
	void show_presence(bool running);

	Context &context_;
	GDBusConnection *connection_;
	const char *name_;
	Live live_;
	Presence presence_;
	guint counted_ = 0;
};

} // namespace orvadctl
