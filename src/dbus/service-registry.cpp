#include "dbus/service-registry.h"

#include "dbus/legacy-mapping.h"
#include "ioport/port-list.h"
#include "util/identity.h"
#include "util/paths.h"

#include <cerrno>
#include <cstdio>
#include <string_view>

namespace
{

/// Real I/O ports, in list order.
std::vector<LegacyPort> ports_in_service()
{
	std::vector<LegacyPort> ports;
	const PortListGuard guard;
	for (const PortRef &port : io_port_list_get()) {
		if (io_port_get_property(port.get(), "ioport"))
			ports.push_back({port->number, port->type});
	}
	return ports;
}

bool write_temporary(const std::string &text)
{
	util::Error error;
	if (g_file_set_contents(util::kLegacyTemporaryFile, text.data(),
				static_cast<gssize>(text.size()), &error))
		return true;
	g_info("%s", error.message());
	return false;
}

/// What could not be moved is removed, since its folder is one of port
/// configurations.
bool move_temporary(const char *path)
{
	if (std::rename(util::kLegacyTemporaryFile, path) == 0)
		return true;
	g_info("Cannot move %s to %s: %s", util::kLegacyTemporaryFile, path,
	       g_strerror(errno));
	std::remove(util::kLegacyTemporaryFile);
	return false;
}

/// Replaces @p path by a file with @p text. @p failure is logged when it cannot
/// be written.
void replace(const char *path, const std::string &text, const char *failure)
{
	if (!write_temporary(text)) {
		g_warning("%s", failure);
		return;
	}
	util::give_to_service_user(util::kLegacyTemporaryFile);
	if (!move_temporary(path))
		g_warning("Couldn't move service registry file correctly");
}

/// Whether the file is the one that is written before it is moved into place,
/// or GLib's own on the way to that, which has six letters more.
bool is_leftover(std::string_view path)
{
	constexpr std::string_view name = util::kLegacyTemporaryFile;
	constexpr std::size_t suffix = std::string_view(".XXXXXX").size();
	if (!path.starts_with(name))
		return false;
	path.remove_prefix(name.size());
	return path.empty() || (path.size() == suffix && path.front() == '.');
}

} // namespace

void service_registry_clean_up()
{
	const util::DirPtr folder(
		g_dir_open(util::kDropInDirectory, 0, nullptr));
	const char *name = nullptr;
	while (folder && (name = g_dir_read_name(folder.get())) != nullptr) {
		const std::string path =
			util::kDropInDirectory + std::string(name);
		if (is_leftover(path) && std::remove(path.c_str()) == -1)
			g_warning("Could not remove %s: %s", path.c_str(),
				  g_strerror(errno));
	}
}

void generate_service_registry()
{
	const std::vector<LegacyPort> ports = ports_in_service();
	replace(util::kServiceRegistryFile, service_registry_text(ports),
		"Couldn't write to service registry");
	replace(util::kLegacyMappingFile, legacy_mapping_text(ports),
		"Couldn't write to legacy mappings");
}
