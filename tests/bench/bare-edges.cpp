/// What an edge costs by itself: a service with the daemon's generated
/// interface that waits for the edges of one line, lets it settle, reads it
/// once and says so.
///
///     bare-edges NAME FILE
///             FILE: the value file of an exported line, its edges switched on

#include "bare-bus.h"
#include "util/glib-ptr.h"
#include "util/scoped-source.h"
#include "util/unique-fd.h"

#include <glib-unix.h>

#include <fcntl.h>
#include <unistd.h>

namespace
{

/// As long as the daemon's, in microseconds.
constexpr gulong kSettlingTime = 500;

/// False when the line cannot be read; reading acknowledges its edges.
bool read_level(int fd, bool *level)
{
	char digit = 0;
	if (pread(fd, &digit, 1, 0) != 1)
		return false;
	*level = digit == '1';
	return true;
}

gboolean on_edge(int fd, GIOCondition, gpointer skeleton)
{
	g_usleep(kSettlingTime);
	bool level = false;
	if (!read_level(fd, &level)) {
		g_printerr("bare-edges: cannot read the line\n");
		return G_SOURCE_REMOVE;
	}
	iocontrol_state_emit_port_changed(
		static_cast<IOControlState *>(skeleton), 0, FALSE, FALSE, TRUE,
		FALSE, level, FALSE);
	return G_SOURCE_CONTINUE;
}

} // namespace

int main(int argc, char **argv)
{
	if (argc != 3) {
		g_printerr("usage: %s NAME FILE\n", argv[0]);
		return 2;
	}
	const util::UniqueFd value(
		open(argv[2], O_RDONLY | O_CLOEXEC | O_NONBLOCK));
	bool level = false;
	if (!read_level(value.get(), &level)) {
		g_printerr("bare-edges: cannot read %s\n", argv[2]);
		return 1;
	}
	const util::ObjectPtr<IOControlState> skeleton(
		iocontrol_state_skeleton_new());
	g_unix_fd_add(value.get(), G_IO_ERR, on_edge, skeleton.get());
	serve(skeleton.get(), argv[1]);
	return 0;
}
