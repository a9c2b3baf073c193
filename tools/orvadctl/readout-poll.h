#pragma once

#include "supervised-bus.h"
#include "util/scoped-source.h"

#include <functional>
#include <optional>
#include <string>

namespace orvadctl
{

/// What is known of a line just now. Texts are not escaped.
struct LineReport {
	Port port;
	std::vector<Range> ranges;  ///< In the daemon's order.
	std::string ranges_problem; ///< Why there are none; empty: that is so.
	std::optional<Readout> readout;
	std::string problem; ///< Why there is no readout.
};

/// Has a port's line measured again and again, in the default main context, one
/// call at a time. Asks for the port whenever it is started, for the ranges
/// each second. Must not be destroyed while the main loop may run on.
class ReadoutPoll
{
public:
	using Report = std::function<void(const LineReport &)>;
	using Failed = std::function<void(GError *)>;

	/// @param argument what the command line calls the port.
	/// @param report is told after each measurement, and of an answer that
	///        fails to come.
	/// @param failed is given the error when it cannot be found out which
	///        port is meant, as long as that has not been known. It is
	///        asked again until stop().
	/// @param daemon, supervised must outlive this.
	ReadoutPoll(std::string argument, IOControlState *daemon,
		    IOSupervisedSupervised *supervised, Report report,
		    Failed failed);

	/// The daemon is there, respectively has gone.
	void start();
	void stop();

private:
	void tick();
	void ask_ports();
	void ask_ranges();
	void ask_readout();
	void on_ports(GAsyncResult *result);
	void on_ranges(GAsyncResult *result);
	void on_readout(GAsyncResult *result);
	bool take_ports(GAsyncResult *result, std::vector<Port> &ports,
			GError **error);
	bool take_port(const std::vector<Port> &ports, GError **error);
	bool take_ranges(GAsyncResult *result, GError **error);
	bool take_readout(GAsyncResult *result, GError **error);
	void listing_failed(GError *error);
	void tell_overdue();
	void tell_problem(std::string problem);
	void begin_call();
	bool running() const
	{
		return ticking_.id() != 0;
	}
	guint number() const
	{
		return static_cast<guint>(report_.port.number);
	}
	template <void (ReadoutPoll::*Method)(GAsyncResult *)>
	static void answer(GObject *, GAsyncResult *result, gpointer self)
	{
		(static_cast<ReadoutPoll *>(self)->*Method)(result);
	}

	std::string argument_;
	IOControlState *daemon_;
	IOSupervisedSupervised *supervised_;
	Report tell_;
	Failed failed_;

	util::ScopedSource ticking_;
	bool asking_ = false;      ///< A call is under way ...
	gint64 asked_us_ = 0;      ///< ... since then.
	bool found_ = false;       ///< The port, since the start.
	bool ever_found_ = false;  ///< report_.port is set.
	bool complained_ = false;  ///< That it is not found, since the start.
	gint64 ranges_due_us_ = 0; ///< When to ask for them again.
	LineReport report_;
};

} // namespace orvadctl
