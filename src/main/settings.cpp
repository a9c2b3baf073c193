#include "main/settings.h"

#include "ioport/port-list.h"
#include "params/param.h"
#include "params/parhand.h"
#include "util/paths.h"

#include <cerrno>
#include <cstdio>
#include <unistd.h>

namespace
{

bool is_file(const char *path)
{
	return g_file_test(path, G_FILE_TEST_EXISTS) &&
	       g_file_test(path, G_FILE_TEST_IS_REGULAR);
}

/// Whether there are parameters of an older version, which the ports have now.
bool read_old_parameters()
{
	if (!is_file(util::kOldParameterFile) ||
	    !param_read_configuration(util::kOldParameterFile))
		return false;
	io_port_list_read_params();
	param_close_file();
	return true;
}

/// Saves what every start saves and, for @p everything, also the ports that a
/// start leaves out: their settings came from another file.
bool save_parameters(bool everything)
{
	bool saved = param_save_all(util::kParameterFile);
	if (!everything)
		return saved;
	const PortListGuard guard;
	for (const PortRef &port : io_port_list_get())
		saved &= param_save_for_port(port.get(), util::kParameterFile);
	return saved;
}

void remove_old_parameters()
{
	if (std::remove(util::kOldParameterFile) == -1)
		g_warning("Could not remove %s: %s", util::kOldParameterFile,
			  g_strerror(errno));
}

bool read_parameters()
{
	if (!param_read_configuration(util::kParameterFile)) {
		g_warning("Could not read configuration file\n");
		return false;
	}
	io_port_list_read_params();
	param_close_file();
	if (access(util::kParameterFile, F_OK) != -1)
		param_set_owner_group(util::kParameterFile);
	return true;
}

/// What the older parameter system has left wins over the parameter file. What
/// is wrong with it is its own affair. Whether there was anything.
bool import_parameters()
{
	if (!is_file(util::kOldSystemFile))
		return false;
	read_parhand_parameters(util::kOldSystemFile, nullptr);
	return true;
}

} // namespace

bool load_settings()
{
	const bool migrating = read_old_parameters();
	if (!read_parameters())
		return false;
	const bool imported = import_parameters();
	io_port_list_update_names();
	if (save_parameters(migrating || imported) && migrating)
		remove_old_parameters();
	return true;
}
