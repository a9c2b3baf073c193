#include "params/param.h"

#include "ioport/port-list.h"
#include "params/param-settings.h"
#include "util/assert.h"
#include "util/glib-ptr.h"
#include "util/identity.h"
#include "util/log.h"

#include <confutils.h>
#include <grp.h>
#include <pwd.h>
#include <unistd.h>

#include <cerrno>
#include <mutex>

namespace
{

std::mutex key_mutex;
/// The open file; guarded by key_mutex.
util::KeyFilePtr key_file;

bool file_is_open()
{
	const std::lock_guard guard(key_mutex);
	return key_file != nullptr;
}

/// GLib opens the file before it looks at its kind, and would wait for the
/// writer of a FIFO.
bool load(GKeyFile *file, const char *path, GError **error)
{
	if (!g_file_test(path, G_FILE_TEST_EXISTS))
		return true;
	if (!g_file_test(path, G_FILE_TEST_IS_REGULAR)) {
		g_set_error_literal(error, G_KEY_FILE_ERROR,
				    G_KEY_FILE_ERROR_PARSE,
				    "Not a regular file");
		return false;
	}
	return g_key_file_load_from_file(file, path, G_KEY_FILE_KEEP_COMMENTS,
					 error);
}

/// A port whose settings cannot be kept changes nothing worth a write.
bool save_in_open_file(IOPort *port, const char *path)
{
	return !param_set_conf_vals(port) || param_store_key_file(path);
}

} // namespace

bool param_read_configuration(const char *path)
{
	const std::lock_guard guard(key_mutex);
	key_file.reset(g_key_file_new());
	util::Error error;
	if (load(key_file.get(), path, &error))
		return true;
	util::print_err("Could not read key file: %s\n", error.message());
	key_file.reset();
	return false;
}

void param_close_file()
{
	const std::lock_guard guard(key_mutex);
	key_file.reset();
}

bool param_store_key_file(const char *path)
{
	const std::lock_guard guard(key_mutex);
	if (key_file == nullptr) {
		WARN_FAILED_PRECONDITION("key_file != NULL");
		return false;
	}
	gsize length = 0;
	const util::CharPtr text(
		g_key_file_to_data(key_file.get(), &length, nullptr));
	util::Error error;
	confutils_set_file_contents_with_sync(
		path, text.get(), static_cast<gssize>(length), &error);
	if (error)
		util::print_err("Failed to store key file %s: %s\n", path,
				error.message());
	return !error;
}

bool param_get_conf_vals(IOPort *port)
{
	const std::lock_guard guard(key_mutex);
	if (key_file == nullptr) {
		WARN_FAILED_PRECONDITION("key_file != NULL");
		return false;
	}
	return param_settings_read(port, key_file.get());
}

bool param_set_conf_vals(IOPort *port)
{
	const std::lock_guard guard(key_mutex);
	if (key_file == nullptr) {
		WARN_FAILED_PRECONDITION("key_file != NULL");
		return false;
	}
	return param_settings_write(port, key_file.get());
}

bool param_save_for_port(IOPort *port, const char *path)
{
	MODULE_ASSERT("param.c", port != NULL);
	if (file_is_open())
		return save_in_open_file(port, path);
	if (!param_read_configuration(path)) {
		WARN_FAILED_PRECONDITION("param_read_configuration (file)");
		return false;
	}
	const bool saved = save_in_open_file(port, path);
	param_close_file();
	return saved;
}

bool param_save_all(const char *path)
{
	bool saved = true;
	for (const PortRef &port : io_port_list_get_numbered_ports())
		saved &= param_save_for_port(port.get(), path);
	return saved;
}

void param_set_owner_group(const char *path)
{
	const passwd *user = getpwnam(util::kServiceUser);
	if (user == nullptr) {
		g_warning("Failed to get uid");
		return;
	}
	const group *group = getgrnam(util::kServiceUser);
	if (group == nullptr)
		g_warning("Failed to get gid");
	const gid_t keep_group = static_cast<gid_t>(-1);
	if (lchown(path, user->pw_uid, group ? group->gr_gid : keep_group) < 0)
		g_warning("chown failed on file '%s': (%d) %s", path, errno,
			  g_strerror(errno));
}
