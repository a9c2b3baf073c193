#pragma once

/// Tells when a device has data to read. Main thread.

#include "util/scoped-source.h"

#include <functional>
#include <string>

/// The watch on one descriptor; off until it is started, and with its end.
class DataWatch
{
public:
	/// Reads the data; false when that did not work.
	using Handler = std::function<bool()>;

	DataWatch() = default;
	DataWatch(const DataWatch &) = delete;
	DataWatch &operator=(const DataWatch &) = delete;

	/// Calls @p handler whenever @p fd, which outlives the watch, has data.
	/// Nothing changes when the watch is on already.
	///
	/// A descriptor may have data for ever that cannot be read: after a
	/// failure the next look is a little later. One that signals that it is
	/// dead, and would for ever, is handled once more, warned of and not
	/// watched any more.
	/// @param name Of the device, for that warning.
	void start(int fd, const std::string &name, Handler handler);
	/// The handler, which may be the caller, is not called any more.
	void stop();
	bool is_on() const
	{
		return static_cast<bool>(handler_);
	}

private:
	static gboolean on_data(int fd, GIOCondition condition, gpointer self);
	static gboolean on_retry(gpointer self);

	void watch();
	void give_up();

	int fd_ = -1;
	std::string name_;
	Handler handler_;
	util::ScopedSource watch_;
	util::ScopedSource retry_;
};
