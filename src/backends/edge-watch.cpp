#include "backends/edge-watch.h"

#include "ioport/port-state.h"

#include <glib-unix.h>
#include <unistd.h>

#include <cerrno>

namespace
{

/// How long a line may bounce after an edge, in microseconds.
constexpr gulong kSettlingTime = 500;
constexpr int kRoundsAtOnce = 64;
constexpr guint kRetrySeconds = 1;
/// The kernel's word for a line that is not exported any more.
constexpr int kGone = ENODEV;

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
	if (gpio_ == gpio || ugpio_fd(gpio) < 0)
		return;
	stop();
	port_ = port;
	gpio_ = gpio;
	watch();
}

void EdgeWatch::stop()
{
	release_sources();
	gpio_ = nullptr;
}

void EdgeWatch::release_sources()
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

/// Takes note of the edges so far. Whoever asks for the port's state must not
/// do that, or an edge could go unreported; so the library reads from another
/// open file. False: errno.
bool EdgeWatch::acknowledge() const
{
	char digit;
	return pread(ugpio_fd(gpio_), &digit, sizeof digit, 0) >= 0;
}

gboolean EdgeWatch::on_edge(int, GIOCondition condition, gpointer self)
{
	auto *edge_watch = static_cast<EdgeWatch *>(self);
	if ((condition & (G_IO_NVAL | G_IO_HUP)) != 0) {
		edge_watch->give_up("its descriptor is dead");
	} else if (edge_watch->unsettled_.id() == 0) {
		g_usleep(kSettlingTime);
		edge_watch->handle();
	} // else what goes on with an unsettled line is next
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
	if (!edge_watch->acknowledge() && errno != kGone)
		return G_SOURCE_CONTINUE;
	edge_watch->retry_.release();
	edge_watch->watch();
	edge_watch->handle();
	return G_SOURCE_REMOVE;
}

void EdgeWatch::handle()
{
	if (!acknowledge()) {
		const int reason = errno;
		give_up(g_strerror(reason));
		if (reason != kGone)
			retry_.reset(g_timeout_add_seconds(kRetrySeconds,
							   on_retry, this));
		return;
	}
	if (!libugpio_handle_trig(port_) && gpio_ != nullptr)
		unsettled_.reset(g_idle_add_full(G_PRIORITY_DEFAULT,
						 on_unsettled, this, nullptr));
}

/// The line's descriptor would signal for ever. The watch stays started, so
/// that the line is not warned of again.
void EdgeWatch::give_up(const char *reason)
{
	g_warning("Cannot read the line of port %d: %s", port_->number, reason);
	release_sources();
}
