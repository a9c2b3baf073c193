/// What measuring costs by itself: a service with the daemon's generated
/// interface that asks a converter for a level at the daemon's pace, once for
/// each of its addresses, and does nothing with the answers.
///
///     bare-polls NAME FILE COUNT
///             FILE: the converter's device file

#include "backends/spi-backend.h"
#include "bare-bus.h"
#include "util/glib-ptr.h"

#include <fcntl.h>

#include <cstdlib>
#include <deque>

namespace
{

struct Channel {
	SpiDevice device;
	guint32 address = 0;
};

gboolean on_time(gpointer user_data)
{
	auto *channel = static_cast<Channel *>(user_data);
	guint32 level = 0;
	if (!channel->device.measure(channel->address, &level))
		g_printerr("bare-polls: the converter does not answer\n");
	return G_SOURCE_CONTINUE;
}

} // namespace

int main(int argc, char **argv)
{
	if (argc != 4) {
		g_printerr("usage: %s NAME FILE COUNT\n", argv[0]);
		return 2;
	}
	std::deque<Channel> channels;
	const int count = std::atoi(argv[3]);
	for (int i = 0; i < count; ++i) {
		Channel &channel = channels.emplace_back();
		channel.address = static_cast<guint32>(i);
		if (!channel.device.open(argv[2], O_RDWR)) {
			g_printerr("bare-polls: cannot open %s\n", argv[2]);
			return 1;
		}
		g_timeout_add(kSpiPollInterval, on_time, &channel);
	}
	const util::ObjectPtr<IOControlState> skeleton(
		iocontrol_state_skeleton_new());
	serve(skeleton.get(), argv[1]);
	return 0;
}
