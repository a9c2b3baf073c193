/// What samples cost by themselves: a service with the daemon's generated
/// interface that reads the samples of some converters as they come, and says
/// so when the first one's pass the middle of the scale.
///
///     bare-samples NAME FILE...
///             FILE: a converter's device file, its buffer running, 16 bits a
///             sample in the machine's byte order

#include "bare-bus.h"
#include "util/glib-ptr.h"
#include "util/unique-fd.h"

#include <glib-unix.h>

#include <fcntl.h>
#include <unistd.h>

#include <vector>

namespace
{

constexpr guint16 kMiddle = 2048;

struct Watched {
	IOControlState *skeleton;
	bool is_high = false;
};

gboolean on_data(int fd, GIOCondition, gpointer user_data)
{
	auto *watched = static_cast<Watched *>(user_data);
	guint16 sample = 0;
	if (read(fd, &sample, sizeof sample) != sizeof sample)
		g_printerr("bare-samples: cannot read a sample\n");
	const bool is_high = sample >= kMiddle;
	if (watched == nullptr || is_high == watched->is_high)
		return G_SOURCE_CONTINUE;
	watched->is_high = is_high;
	iocontrol_state_emit_port_changed(watched->skeleton, 0, FALSE, FALSE,
					  TRUE, FALSE, is_high, FALSE);
	return G_SOURCE_CONTINUE;
}

gboolean on_unwatched_data(int fd, GIOCondition condition, gpointer)
{
	return on_data(fd, condition, nullptr);
}

} // namespace

int main(int argc, char **argv)
{
	if (argc < 3) {
		g_printerr("usage: %s NAME FILE...\n", argv[0]);
		return 2;
	}
	const util::ObjectPtr<IOControlState> skeleton(
		iocontrol_state_skeleton_new());
	Watched watched = {skeleton.get()};
	std::vector<util::UniqueFd> devices;
	for (int i = 2; i < argc; ++i) {
		devices.emplace_back(
			open(argv[i], O_RDONLY | O_CLOEXEC | O_NONBLOCK));
		if (!devices.back().valid()) {
			g_printerr("bare-samples: cannot open %s\n", argv[i]);
			return 1;
		}
		g_unix_fd_add(devices.back().get(), G_IO_IN,
			      i == 2 ? on_data : on_unwatched_data, &watched);
	}
	serve(skeleton.get(), argv[1]);
	return 0;
}
