#pragma once

#include "command.h"
#include "drawing.h"
#include "live.h"
#include "port-follow.h"
#include "port-table.h"
#include "presence.h"

namespace orvadctl
{

/// A table of ports on a terminal, kept up to date in place.
class LivePorts
{
public:
	LivePorts(Context &context, StatePtr daemon);

	/// Goes on until the user ends it, --count changes were shown, the time
	/// is over or nobody reads any more; waits for a daemon that is not
	/// there.
	bool run(GError **error);

private:
	void show_presence(bool there);
	void take(const Announced &announced, const std::string &name);
	void list(const std::vector<Port> &ports);
	void call_failed(GError *error, bool fatal);
	void draw_soon();
	void draw();
	void write(const std::string &frame, std::size_t columns);
	std::string frame(std::size_t columns) const;
	void draw_again_for_marks();
	void draw_last();

	Context &context_;
	StatePtr daemon_;
	PortFollow follow_;
	Live live_;
	Presence presence_{"the port daemon"};
	std::string status_;
	PortTable table_;
	Drawing drawing_;
	util::ScopedSource drawing_soon_;
	util::ScopedSource marks_;
	util::ScopedSource resized_;
	guint counted_ = 0;
};

} // namespace orvadctl
