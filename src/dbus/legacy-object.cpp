#include "dbus/legacy-object.h"

#include "ioport/io-errors.h"
#include "ioport/port-list.h"

#include <charconv>
#include <string_view>

namespace
{

/// The number at the end of an object's path, or nothing.
std::optional<int> parse_number(std::string_view path)
{
	const std::string prefix = std::string(legacy::kPathPrefix) + '/';
	if (!path.starts_with(prefix))
		return {};
	path.remove_prefix(prefix.size());
	int number = 0;
	const auto [end, error] =
		std::from_chars(path.data(), path.data() + path.size(), number);
	if (error != std::errc() || end == path.data())
		return {};
	return number;
}

} // namespace

PortRef legacy::find_port(const char *path, GError **error)
{
	const auto number = parse_number(path);
	if (!number) {
		g_set_error_literal(error, G_DBUS_ERROR,
				    G_DBUS_ERROR_INVALID_ARGS,
				    "Incorrect port object");
		return {};
	}
	PortRef port = io_port_list_get_port(*number);
	if (!port)
		g_set_error_literal(error, io_control_error_quark(),
				    IO_CONTROL_ERROR_NO_PORT, "No such port.");
	return port;
}
