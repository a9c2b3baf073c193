#pragma once

/// Reports the edges of a GPIO line. Main thread.

#include "ioport/ioport.h"
#include "util/scoped-source.h"

#include <ugpio.h>

/// The watch on one line of one port; off until it is started, and with its
/// end.
class EdgeWatch
{
public:
	EdgeWatch() = default;
	EdgeWatch(const EdgeWatch &) = delete;
	EdgeWatch &operator=(const EdgeWatch &) = delete;

	/// Calls libugpio_handle_trig() for each edge from now on. Both @p port
	/// and @p gpio, which is open, outlive the watch. Nothing changes when
	/// the line is watched already.
	///
	/// A line that is gone signals for ever: it is warned of once and not
	/// watched any more. While a line cannot be read, it is looked at once
	/// a second.
	void start(IOPort *port, ugpio_t *gpio);
	/// Nothing more is reported.
	void stop();

	/// The source's id; 0 when the line is not watched.
	guint id() const
	{
		return watch_.id();
	}

private:
	static gboolean on_edge(int fd, GIOCondition condition, gpointer self);
	static gboolean on_unsettled(gpointer self);
	static gboolean on_retry(gpointer self);

	bool acknowledge() const;
	void watch();
	void handle();
	void give_up(const char *reason);
	void release_sources();

	IOPort *port_ = nullptr;
	/// The line; null while the watch is off.
	ugpio_t *gpio_ = nullptr;
	util::ScopedSource watch_;
	/// Goes on with a line that had not settled.
	util::ScopedSource unsettled_;
	util::ScopedSource retry_;
};

/// Reports the line's state until two readings agree, so that the last report
/// equals the line. False when they do not after 64 rounds: a line that toggles
/// as fast as it is read must not hold the main loop.
bool libugpio_handle_trig(IOPort *port);
