#include "serve.h"

#include "control.h"
#include "error.h"
#include "event-file.h"
#include "fuse-layer.h"
#include "gpio-files.h"
#include "iio-files.h"
#include "iio-trigger-files.h"
#include "spi-files.h"

#include <glib-unix.h>
#include <systemd/sd-daemon.h>

#include <csignal>
#include <cstdio>

namespace simboard
{

namespace
{

gboolean on_signal(gpointer loop)
{
	g_main_loop_quit(static_cast<GMainLoop *>(loop));
	return G_SOURCE_CONTINUE;
}

/// Nothing, and no folders, for a board that has no such devices.
std::unique_ptr<IioFiles> show_iio(Iio &iio,
				   const BoardDescription &description,
				   const std::shared_ptr<Folder> &root,
				   const std::string &mount_point)
{
	if (iio.all().empty())
		return nullptr;
	util::CharPtr mount(
		g_canonicalize_filename(mount_point.c_str(), nullptr));
	auto devices = make_folders(root, "sys/bus/iio/devices");
	make_folders(root, "sys/kernel/config/iio/triggers")
		->add("hrtimer", make_trigger_folder(iio.triggers(),
						     description, devices));
	return std::make_unique<IioFiles>(
		iio, description,
		IioFolders{devices, make_folders(root, "dev"),
			   make_folders(root, EVENT_FOLDER),
			   std::string(mount.get()) + "/" + EVENT_FOLDER});
}

} // namespace

bool serve(const std::string &board_file, const std::string &mount_point,
	   const std::string &socket, GError **error)
{
	BoardDescription description;

	if (!read_board_file(board_file.c_str(), description, error))
		return false;

	util::MainLoopPtr loop(g_main_loop_new(nullptr, FALSE));
	util::ScopedSource terminate(
		g_unix_signal_add(SIGTERM, on_signal, loop.get()));
	util::ScopedSource interrupt(
		g_unix_signal_add(SIGINT, on_signal, loop.get()));
	auto root = std::make_shared<Folder>();
	Board board(description);
	Converters converters(description, board.history());
	Iio iio(description, board.history());
	Loops loops(description, converters, iio, board);
	GpioFiles gpio(board, make_folders(root, "sys/class/gpio"));
	SpiFiles spi(converters, description, make_folders(root, "dev"));
	std::unique_ptr<IioFiles> iio_files =
		show_iio(iio, description, root, mount_point);
	Hand hand(board);
	Ramps ramps(loops);
	Control control({board, converters, iio, loops, hand, ramps, nullptr});
	FuseLayer layer(root);
	bool unmounted = false;

	auto on_unmount = [&] {
		unmounted = true;
		g_main_loop_quit(loop.get());
	};
	if (!control.listen(socket, error) ||
	    !layer.mount(mount_point.c_str(), on_unmount, error))
		return false;
	printf("ready\n");
	fflush(stdout);
	sd_notify(0, "READY=1");
	g_main_loop_run(loop.get());
	if (unmounted)
		set_failure(error, "%s was unmounted", mount_point.c_str());
	return !unmounted;
}

} // namespace simboard
