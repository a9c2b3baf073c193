#pragma once

/// What the tests of the sysfs backend share.

#include "backends/sysfs-backend.h"
#include "fakes/recorder.h"
#include "ioport/port-seam.h"
#include "ioport/port-state.h"
#include "log-capture.h"
#include "temp-dir.h"

#include <gmock/gmock.h>

/// The clock of the limits on messages, in microseconds.
inline gint64 sysfs_now;

/// The poll runs on every round of the main loop, as no interval is set.
inline void tick()
{
	g_main_context_iteration(nullptr, FALSE);
}

/// An attribute file of its own, an input that is bound to the backend, and
/// the log.
class SysfsBackendTest : public testing::Test
{
protected:
	SysfsBackendTest()
	{
		sysfs_now = 0;
		recorder::reset();
		port_->name = "smoke";
		port_->number = 4;
		functions_ = io_port_set_backend(port_.get(), BACKEND_SYSFS);
		const util::RateLimit limit([] { return sysfs_now; });
		data()->limits = {limit, limit, limit, limit};
	}
	SysfsPortData *data()
	{
		return static_cast<SysfsPortData *>(port_->backend_data);
	}
	void parse(const char *key, const std::string &value)
	{
		io_port_parse_backend_data(port_.get(), "device", key,
					   value.c_str());
	}
	/// Sets the port up on @p path and has it polled.
	void watch(const std::string &path)
	{
		parse("path", path);
		ASSERT_TRUE(io_port_setup(port_.get()));
		io_port_set_watch(port_.get());
	}
	/// As watch(), on a file that holds @p text.
	void watch_text(const std::string &text)
	{
		write_file(path_, text);
		watch(path_);
	}
	/// The level after one poll.
	int poll()
	{
		tick();
		return functions_->get_state(port_.get());
	}

	TempDir dir_;
	const std::string path_ = dir_.file("attribute");
	LogCapture log_;
	PortRef port_ = PortRef::adopt(io_port_new());
	const IOPortFunctions *functions_;
};
