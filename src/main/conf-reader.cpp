#include "main/conf-reader.h"

#include "ioport/port-list.h"
#include "main/conf-elements.h"
#include "platform/bootblock.h"
#include "util/glib-ptr.h"
#include "util/identity.h"
#include "util/unique-fd.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <sys/sysmacros.h>
#include <unistd.h>

#include <string>
#include <string_view>

namespace
{

/// Kept between callbacks and, but for the hardware id, between files: only
/// the matching end tags reset the two flags.
struct ParserState {
	/// Inside a port for other hardware.
	bool ignore_elements = false;
	/// Attributes go to the port's backend, too.
	bool in_backend_element = false;
	/// The board's hardware id; asked for once per file.
	std::optional<std::string> hwid_value;
	bool hwid_asked = false;
};

ParserState parser;

void read_hardware_id()
{
	if (parser.hwid_asked)
		return;
	parser.hwid_asked = true;
	bootblock_read_param("HWID", &parser.hwid_value);
}

/// Whether a port for the hardware ids that start with one of @p prefixes,
/// separated by colons, belongs on this board.
bool hardware_matches(const char *prefixes)
{
	read_hardware_id();
	if (!parser.hwid_value || *prefixes == '\0') {
		g_warning("Could not get the hardware id");
		return true;
	}
	const util::StrvPtr pieces(g_strsplit(prefixes, ":", -1));
	for (char **piece = pieces.get(); *piece != nullptr; ++piece) {
		if (parser.hwid_value->starts_with(*piece))
			return true;
	}
	return false;
}

/// One start tag's attributes, as the markup parser gives them.
struct Attributes {
	const char **names;
	const char **values;

	bool first_is(std::string_view name) const
	{
		return *names != nullptr && name == *names;
	}
	void skip_first()
	{
		++names;
		++values;
	}
};

/// The new port, or none when it is for other hardware. A name that comes
/// first replaces an earlier port of that name.
PortRef start_port(Attributes *attributes)
{
	if (attributes->first_is("hwid")) {
		if (!hardware_matches(*attributes->values)) {
			parser.ignore_elements = true;
			return {};
		}
		attributes->skip_first();
	}
	if (attributes->first_is("name"))
		io_port_list_free_by_name(*attributes->values);
	PortRef port = PortRef::adopt(io_port_new());
	io_port_list_add(port);
	return port;
}

/// The backend's name comes first in its element: it is seen with the flag
/// still unset, and everything after it reaches the backend.
void apply_attribute(IOPort *port, const char *element, const char *attribute,
		     const char *value)
{
	if (parser.in_backend_element)
		io_port_parse_backend_data(port, element, attribute, value);
	if (std::string_view(element) == "backend")
		parser.in_backend_element = true;
	conf_apply_attribute(port, element, attribute, value);
}

void on_start_element(GMarkupParseContext *, const char *element,
		      const char **names, const char **values, gpointer,
		      GError **)
{
	if (parser.ignore_elements)
		return;
	Attributes attributes{names, values};
	const PortRef port = std::string_view(element) == "port"
				     ? start_port(&attributes)
				     : io_port_list_nth_data(0);
	if (!port)
		return;
	conf_create_record(port.get(), element);
	for (; *attributes.names != nullptr; attributes.skip_first())
		apply_attribute(port.get(), element, *attributes.names,
				*attributes.values);
}

void on_end_element(GMarkupParseContext *, const char *element, gpointer,
		    GError **)
{
	const std::string_view name = element;
	if (name == "backend")
		parser.in_backend_element = false;
	else if (name == "port")
		parser.ignore_elements = false;
}

constexpr GMarkupParser kParser = {
	on_start_element, on_end_element, nullptr, nullptr, nullptr,
};

/// Regular files, and /dev/null (Documentation/admin-guide/devices.txt), which
/// masks a file by a link; a pipe has no end, and some devices neither.
bool has_an_end(int fd)
{
	constexpr unsigned kMemoryDevices = 1;
	constexpr unsigned kNull = 3;
	struct stat attributes;
	if (fstat(fd, &attributes) != 0)
		return false;
	return S_ISREG(attributes.st_mode) ||
	       (S_ISCHR(attributes.st_mode) &&
		attributes.st_rdev == makedev(kMemoryDevices, kNull));
}

bool read_all(int fd, std::string *text)
{
	char piece[4096];
	ssize_t length;
	while ((length = read(fd, piece, sizeof piece)) > 0)
		text->append(piece, static_cast<size_t>(length));
	return length == 0;
}

bool read_file(const char *path, std::string *text)
{
	const util::UniqueFd fd(
		open(path, O_RDONLY | O_NONBLOCK | O_NOCTTY | O_CLOEXEC));
	if (fd.valid() && has_an_end(fd.get()) && read_all(fd.get(), text))
		return true;
	g_critical("Couldn't load XML (%s)\n", path);
	return false;
}

/// The parser is not told of the end: a file may stop inside an element.
bool parse(const char *path, const std::string &text)
{
	const util::MarkupParseContextPtr context(g_markup_parse_context_new(
		&kParser, static_cast<GMarkupParseFlags>(0), nullptr, nullptr));
	if (g_markup_parse_context_parse(context.get(), text.data(),
					 static_cast<gssize>(text.size()),
					 nullptr))
		return true;
	g_critical("Couldn't parse markup file (%s)\n", path);
	return false;
}

} // namespace

bool conf_read_configuration(const char *path)
{
	std::string text;
	const bool good = read_file(path, &text) && parse(path, text);
	parser.hwid_value.reset();
	parser.hwid_asked = false;
	return good;
}

bool conf_read_drop_dir(const char *path)
{
	if (!g_file_test(path, G_FILE_TEST_IS_DIR))
		return false;
	const util::DirPtr directory(g_dir_open(path, 0, nullptr));
	if (!directory)
		return false;
	bool good = true;
	while (good) {
		const char *name = g_dir_read_name(directory.get());
		if (name == nullptr)
			break;
		const std::string file = std::string(path) + "/" + name;
		if (util::is_of_service_user(file.c_str()))
			g_warning("Ignoring %s, which belongs to %s",
				  file.c_str(), util::kServiceUser);
		else
			good = conf_read_configuration(file.c_str());
	}
	return good;
}
