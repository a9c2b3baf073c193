#include "legacy-mapping-file.h"

#include "error.h"
#include "legacy-mapping-parser.h"
#include "util/glib-ptr.h"
#include "util/unique-fd.h"

#include <cerrno>
#include <fcntl.h>
#include <gio/gunixinputstream.h>
#include <sys/stat.h>

namespace orvadctl
{

namespace
{

/// Opens the file, without waiting for anybody, and takes its size.
util::UniqueFd open_file(const char *path, std::size_t &size, GError **error)
{
	util::UniqueFd fd(
		open(path, O_RDONLY | O_NONBLOCK | O_NOCTTY | O_CLOEXEC));
	struct stat attributes = {};

	if (!fd.valid() || fstat(fd.get(), &attributes) != 0) {
		g_set_error_literal(error, G_FILE_ERROR,
				    g_file_error_from_errno(errno),
				    g_strerror(errno));
		return {};
	}
	if (!S_ISREG(attributes.st_mode)) {
		set_failure(error, "it is not a regular file");
		return {};
	}
	if (static_cast<guint64>(attributes.st_size) > LARGEST_MAPPING) {
		set_failure(error, "it is larger than %zu bytes",
			    LARGEST_MAPPING);
		return {};
	}
	size = static_cast<std::size_t>(attributes.st_size);
	return fd;
}

bool read_text(const char *path, std::string &text, GError **error)
{
	std::size_t size = 0;
	util::UniqueFd fd = open_file(path, size, error);

	if (!fd.valid())
		return false;
	util::ObjectPtr<GInputStream> stream(
		g_unix_input_stream_new(fd.get(), FALSE));
	text.resize(size);
	bool done = g_input_stream_read_all(stream.get(), text.data(), size,
					    &size, nullptr, error);
	text.resize(size);
	return done;
}

/// Makes a sentence for the user of what went wrong with the file.
void explain(const GError *reason, const char *path, GError **error)
{
	if (g_error_matches(reason, G_FILE_ERROR, G_FILE_ERROR_NOENT))
		set_failure(error,
			    "there is no %s, which the port daemon writes: "
			    "start it with \"systemctl start orvad\", without "
			    "--disable_legacy_interface",
			    path);
	else if (g_error_matches(reason, G_FILE_ERROR, G_FILE_ERROR_ACCES))
		set_failure(error, "cannot read %s: %s; run it as root", path,
			    reason->message);
	else
		set_failure(error,
			    "cannot use %s: %s; start the port daemon again, "
			    "which writes it anew",
			    path, reason->message);
}

} // namespace

bool read_legacy_mapping(const char *path,
			 std::vector<LegacyParameter> &parameters,
			 GError **error)
{
	std::string text;
	util::Error reason;

	if (read_text(path, text, &reason) &&
	    parse_legacy_mapping(text, parameters, &reason))
		return true;
	explain(reason.get(), path, error);
	return false;
}

} // namespace orvadctl
