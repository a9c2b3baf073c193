#pragma once

/// The ports' objects for the older configuration system: what they and their
/// interfaces are called, on the bus and in the files that tell it of them.

#include "ioport/ioport.h"

#include <string>

namespace legacy
{

/// What assertions name.
constexpr const char *kLegacyModule = "iocontrol-conf-legacy-dbus.c";

constexpr const char *kService =
	"com.vexa.Configuration.Legacy.IOControl1.IOPort";
constexpr const char *kPortInterface = kService;
constexpr const char *kInputInterface =
	"com.vexa.Configuration.Legacy.IOControl1.Input";
constexpr const char *kOutputInterface =
	"com.vexa.Configuration.Legacy.IOControl1.Output";

constexpr const char *kPathPrefix =
	"/com/vexa/Configuration/Legacy/IOControl/IOPort";
/// The object of what is not about one port; always there.
constexpr int kGlobalObject = 0;

/// The object of the port with that number. No object path when the number is
/// negative.
inline std::string path_of(int number)
{
	return std::string(kPathPrefix) + '/' + std::to_string(number);
}

/// The port that the object at @p path is for. None, with an error, when the
/// path is no such object's (InvalidArgs) or there is no such port
/// (IO_CONTROL_ERROR_NO_PORT). Main thread.
PortRef find_port(const char *path, GError **error);

} // namespace legacy
