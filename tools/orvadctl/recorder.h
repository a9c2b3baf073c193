#pragma once

#include "command.h"
#include "live.h"
#include "port-follow.h"
#include "presence.h"
#include "vcd-file.h"
#include "vcd-writer.h"

#include <optional>
#include <set>
#include <string>
#include <utility>
#include <vector>

namespace orvadctl
{

/// Records the states of ports as a value change dump. What there is to say
/// about it meanwhile goes to standard error.
class Recorder
{
public:
	struct Summary {
		std::size_t ports = 0;
		guint64 changes = 0; ///< Of values, unknown ones too.
		gint64 duration_us = 0;
	};

	/// @param arguments what the command line calls the ports; none: all.
	/// @param file must outlive this.
	Recorder(const Options &options, std::vector<std::string> arguments,
		 StatePtr daemon, VcdFile &file);

	/// Goes on until the user ends it, the time is over or nobody reads any
	/// more; waits for a daemon that is not there. Fails when that was
	/// before there was anything to record.
	bool run(GError **error);

	/// After run().
	const Summary &summary() const
	{
		return summary_;
	}

private:
	/// What tells ports apart.
	using Identity = std::pair<gint32, std::string>;
	struct Recorded {
		Identity identity;
		bool listed = false;
		bool listed_active = false; ///< While listed.
	};

	void list(std::vector<Port> ports);
	bool begin(const std::vector<Port> &ports);
	void update(const std::vector<Port> &ports);
	void update_one(std::size_t index, const Port *port, gint64 now_us);
	void tell_of_newcomers(const std::vector<Port> &ports);
	void take(const Announced &announced);
	void lose();
	void change(gint64 time_us, std::size_t index, VcdValue value);
	void stop_if_not_written();
	void show_presence(bool there);
	void call_failed(GError *error, bool fatal);
	void tell(const std::string &sentence);
	bool finish(bool ended_well, GError **error);

	const Options &options_;
	VcdFile &file_;
	StatePtr daemon_;
	PortFollow follow_;
	Live live_;
	Presence presence_{"the port daemon"};
	std::optional<VcdWriter> writer_; ///< Once there are ports to record.
	gint64 begin_us_ = 0;             ///< Of the monotonic clock.
	std::vector<Recorded> recorded_;
	std::set<Identity> newcomers_; ///< That were told of.
	std::string told_;             ///< Of a failure, last.
	Summary summary_;
};

} // namespace orvadctl
