#pragma once

/// The daemon's files. The paths are fixed; tests give the daemon a file
/// system of its own.

namespace util
{

/// The shipped port configuration, and the directory of further ones.
constexpr const char *kPortConfiguration = "/usr/share/orvad/conf.xml";
constexpr const char *kDropInDirectory = "/etc/orvad.d/";
/// Where the files for the older configuration system are written before they
/// are moved into place. It is no port configuration.
constexpr const char *kLegacyTemporaryFile = "/etc/orvad.d/legacy.tmp";
/// The users' settings, and where an older version kept them.
constexpr const char *kParameterFile = "/etc/orvad/orvad.conf";
constexpr const char *kOldParameterFile = "/etc/dynamic/orvad/params.conf";

/// What an older parameter system has left to be imported.
constexpr const char *kOldSystemFile = "/tmp/orvad_ioport.conf";
/// What tells the older configuration system about the ports.
constexpr const char *kServiceRegistryFile =
	"/etc/service_registry/services.d/orvad_service_registry.conf";
constexpr const char *kLegacyMappingFile =
	"/etc/legacyconfig/legacymappings.d/orvad.xml";

} // namespace util
