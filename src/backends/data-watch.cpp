#include "backends/data-watch.h"

#include <glib-unix.h>

namespace
{

constexpr guint kRetryMilliseconds = 100;

} // namespace

void DataWatch::start(int fd, const std::string &name, Handler handler)
{
	if (is_on())
		return;
	fd_ = fd;
	name_ = name;
	handler_ = std::move(handler);
	watch();
}

void DataWatch::stop()
{
	watch_.reset();
	retry_.reset();
	handler_ = nullptr;
}

void DataWatch::watch()
{
	watch_.reset(g_unix_fd_add(fd_, G_IO_IN, on_data, this));
}

/// The watch stays on, so that the device is not warned of again.
void DataWatch::give_up()
{
	g_warning("Nothing more can be read from %s", name_.c_str());
}

/// The handler may stop the watch and with it forget itself, hence the copy.
gboolean DataWatch::on_data(int, GIOCondition condition, gpointer self)
{
	auto *data_watch = static_cast<DataWatch *>(self);
	const bool readable = (condition & G_IO_IN) != 0;
	const bool dead = (condition & ~G_IO_IN) != 0;
	const guint id = data_watch->watch_.id();
	const Handler handler = data_watch->handler_;
	const bool read = handler();
	if ((read && readable) || data_watch->watch_.id() != id)
		return G_SOURCE_CONTINUE;
	data_watch->watch_.release();
	if (dead)
		data_watch->give_up();
	else
		data_watch->retry_.reset(g_timeout_add(kRetryMilliseconds,
						       on_retry, data_watch));
	return G_SOURCE_REMOVE;
}

gboolean DataWatch::on_retry(gpointer self)
{
	auto *data_watch = static_cast<DataWatch *>(self);
	data_watch->retry_.release();
	data_watch->watch();
	return G_SOURCE_REMOVE;
}
