#include "backends/edge-watch.h"

#include "ioport/port-state.h"

#include <glib-unix.h>

#include <cerrno>

namespace
{

/// How long a line may bounce after an edge, in microseconds.
constexpr gulong kSettlingTime = 500;
constexpr int kRoundsAtOnce = 64;
constexpr guint kRetrySeconds = 1;

} // namespace

bool libugpio_handle_trig(IOPort *port)
{
	for (int round = 0; round < kRoundsAtOnce; ++round) {
		const int state = io_port_get_state(port);
		io_port_trigger(port, state);
		if (io_port_get_state(port) == state)
			return true;
	}
	return false;
}

void EdgeWatch::start(IOPort *port, ugpio_t *gpio)
{
	stop();
	port_ = port;
	gpio_ = gpio;
	if (ugpio_fd(gpio) >= 0)
		watch();
}

void EdgeWatch::stop()
{
	watch_.reset();
	unsettled_.reset();
	retry_.reset();
}

/// The kernel shows an edge as an error (Documentation/admin-guide/gpio/
/// sysfs.rst).
void EdgeWatch::watch()
{
	watch_.reset(g_unix_fd_add(ugpio_fd(gpio_), G_IO_ERR, on_edge, this));
}

/// GLib removes the source of a callback that says so, and this one may have
/// been removed in the callback.
gboolean EdgeWatch::on_edge(int, GIOCondition condition, gpointer self)
{
	auto *edge_watch = static_cast<EdgeWatch *>(self);
	if ((condition & (G_IO_NVAL | G_IO_HUP)) != 0) {
		edge_watch->give_up("its descriptor is dead");
		return G_SOURCE_CONTINUE;
	}
	// What goes on with an unsettled line looks at it soon enough.
	if (edge_watch->unsettled_.id() == 0) {
		g_usleep(kSettlingTime);
		edge_watch->handle();
	}
	return G_SOURCE_CONTINUE;
}

gboolean EdgeWatch::on_unsettled(gpointer self)
{
	auto *edge_watch = static_cast<EdgeWatch *>(self);
	edge_watch->unsettled_.release();
	edge_watch->handle();
	return G_SOURCE_REMOVE;
}

gboolean EdgeWatch::on_retry(gpointer self)
{
	auto *edge_watch = static_cast<EdgeWatch *>(self);
	if (ugpio_get_value(edge_watch->gpio_) < 0)
		return G_SOURCE_CONTINUE;
	edge_watch->retry_.release();
	g_info("The line of port %d can be read again",
	       edge_watch->port_->number);
	edge_watch->watch();
	edge_watch->handle();
	return G_SOURCE_REMOVE;
}

void EdgeWatch::handle()
{
	if (ugpio_get_value(gpio_) < 0) {
		const int reason = errno;
		give_up(g_strerror(reason));
		// The kernel's word for a line that is not exported any more.
		if (reason != ENODEV)
			retry_.reset(g_timeout_add_seconds(kRetrySeconds,
							   on_retry, this));
		return;
	}
	if (!libugpio_handle_trig(port_))
		unsettled_.reset(g_idle_add_full(G_PRIORITY_DEFAULT,
						 on_unsettled, this, nullptr));
}

/// Its descriptor would signal for ever.
void EdgeWatch::give_up(const char *reason)
{
	g_warning("Cannot read the line of port %d: %s", port_->number, reason);
	stop();
}
