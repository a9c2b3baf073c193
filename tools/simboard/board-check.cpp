#include "board-check.h"

#include "error.h"
#include "history.h"
#include "iio-types.h"

#include <algorithm>
#include <cstring>
#include <map>
#include <set>

namespace simboard
{

namespace
{

constexpr const char *NAME_CHARACTERS = "letters, digits, . _ : + -";

/// Names are words of commands, columns of the history and folders.
bool is_name(const std::string &name)
{
	auto fits = [](char c) {
		return g_ascii_isalnum(c) ||
		       std::string_view("._:+-").find(c) !=
			       std::string_view::npos;
	};
	return !name.empty() && name != "." && name != ".." &&
	       std::all_of(name.begin(), name.end(), fits);
}

bool is_number(const std::string &name)
{
	return std::all_of(name.begin(), name.end(),
			   [](char c) { return g_ascii_isdigit(c); });
}

/// Null when none of the parts has that name.
template <typename Part>
const Part *find(const std::vector<Part> &parts, const std::string &name)
{
	auto place = std::find_if(
		parts.begin(), parts.end(),
		[&name](const Part &part) { return part.name == name; });

	return place == parts.end() ? nullptr : &*place;
}

class Checker
{
public:
	Checker(const BoardDescription &board, const char *path, GError **error)
		: board_(board), path_(path), error_(error)
	{
	}
	bool check();

private:
	bool refuse(const std::string &where, const std::string &reason)
	{
		set_usage_error(error_, "%s: %s: %s", path_, where.c_str(),
				reason.c_str());
		return false;
	}
	bool check_name(const std::string &group, const std::string &name);
	bool check_folder(const std::string &where, const std::string &folder);
	bool check_chip(const ChipDescription &chip);
	bool check_line(const LineDescription &line);
	bool check_follows(const LineDescription &line);
	bool is_on_chip(unsigned number) const;
	bool check_converter(const ConverterDescription &converter);
	bool check_iio(const IioDescription &iio);
	bool check_channel(const IioChannelDescription &channel);
	bool check_loop(const LoopDescription &loop);
	bool check_converter_of(const LoopDescription &loop);
	bool check_contact(const LoopDescription &loop,
			   const std::string &where);

	const BoardDescription &board_;
	const char *path_;
	GError **error_;
	std::set<std::string> names_;
	std::set<std::string> folders_{"export", "unexport"};
	std::map<unsigned, std::string> numbers_;
	std::vector<const ChipDescription *> chips_;
	std::set<std::string> devices_;
	std::map<std::pair<std::string, unsigned>, std::string> channels_;
	std::map<std::string, std::string> contacts_;
	std::set<std::pair<std::string, std::string>> channel_files_;
	std::set<std::pair<std::string, unsigned>> channel_numbers_;
};

bool Checker::check_name(const std::string &group, const std::string &name)
{
	if (!is_name(name) || is_number(name))
		return refuse(group, std::string("the name must be of ") +
					     NAME_CHARACTERS +
					     ", and not a number");
	if (!names_.insert(name).second)
		return refuse(group, "the name is used twice");
	return true;
}

bool Checker::check_folder(const std::string &where, const std::string &folder)
{
	if (!is_name(folder))
		return refuse(where, "\"" + folder + "\" is not of " +
					     NAME_CHARACTERS);
	if (!folders_.insert(folder).second)
		return refuse(where, "\"" + folder + "\" is used twice");
	return true;
}

bool Checker::check_chip(const ChipDescription &chip)
{
	std::string group = "[Chip " + chip.name + "]";

	if (!check_name(group, chip.name))
		return false;
	for (const ChipDescription *other : chips_)
		if (chip.base < other->base + other->lines &&
		    other->base < chip.base + chip.lines)
			return refuse(group + " Base",
				      "the chip overlaps " + other->name);
	chips_.push_back(&chip);
	folders_.insert("gpiochip" + std::to_string(chip.base));
	return true;
}

bool Checker::is_on_chip(unsigned number) const
{
	return std::any_of(chips_.begin(), chips_.end(), [number](auto *chip) {
		return number >= chip->base &&
		       number < chip->base + chip->lines;
	});
}

/// A folder name that the kernel would give to another line.
bool is_other_line(const std::string &folder, unsigned number)
{
	return folder.starts_with("gpio") && folder.size() > strlen("gpio") &&
	       is_number(folder.substr(strlen("gpio"))) &&
	       folder != "gpio" + std::to_string(number);
}

bool Checker::check_line(const LineDescription &line)
{
	std::string group = "[Line " + line.name + "]";

	if (!check_name(group, line.name))
		return false;
	if (!is_on_chip(line.number))
		return refuse(group + " Number",
			      "no chip has line " +
				      std::to_string(line.number));
	auto [place, fresh] = numbers_.emplace(line.number, line.name);
	if (!fresh)
		return refuse(group + " Number", "is that of " + place->second);
	if (line.folder.empty())
		return true;
	if (is_other_line(line.folder, line.number))
		return refuse(group + " Exported",
			      "\"" + line.folder + "\" is another line's");
	return check_folder(group + " Exported", line.folder);
}

bool Checker::check_follows(const LineDescription &line)
{
	std::string where = "[Line " + line.name + "] Follows";
	const LineDescription *target = find(board_.lines, line.follows);

	if (line.follows.empty())
		return true;
	if (!target)
		return refuse(where, "there is no line " + line.follows);
	if (target->wiring != Wiring::RELAY &&
	    target->wiring != Wiring::CONTROL)
		return refuse(where,
			      line.follows + " is neither relay nor control");
	if (line.wiring != Wiring::WIRE)
		return refuse(where, "only a wire can follow");
	if (line.direction != Direction::IN)
		return refuse(where, "only an input can follow");
	return true;
}

/// spidevBUS.CHIPSELECT
bool is_spi_device(const std::string &device)
{
	return g_regex_match_simple("^spidev[0-9]{1,5}\\.[0-9]{1,5}$",
				    device.c_str(), G_REGEX_DOLLAR_ENDONLY,
				    GRegexMatchFlags{});
}

bool Checker::check_converter(const ConverterDescription &converter)
{
	std::string group = "[Converter " + converter.name + "]";

	if (!check_name(group, converter.name))
		return false;
	if (!is_spi_device(converter.device))
		return refuse(group + " Device",
			      "\"" + converter.device + "\" is no spidevX.Y");
	if (!devices_.insert(converter.device).second)
		return refuse(group + " Device",
			      "\"" + converter.device + "\" is used twice");
	return true;
}

/// A file of a device's own that is not there anyway.
bool is_attribute(const std::string &path)
{
	return g_regex_match_simple("^(events/)?[a-z][a-z0-9_]*$", path.c_str(),
				    G_REGEX_DOLLAR_ENDONLY,
				    GRegexMatchFlags{}) &&
	       !g_regex_match_simple("(^name|_raw|_value|_en)$", path.c_str(),
				     GRegexCompileFlags{}, GRegexMatchFlags{});
}

bool Checker::check_iio(const IioDescription &iio)
{
	std::string group = "[IIO " + iio.name + "]";
	auto is_its = [&iio](const IioChannelDescription &channel) {
		return channel.device == iio.name;
	};

	if (!check_name(group, iio.name))
		return false;
	if (iio.iio_name.empty() || one_word(iio.iio_name) != iio.iio_name)
		return refuse(group + " Name", "is not one printable word");
	if (std::none_of(board_.channels.begin(), board_.channels.end(),
			 is_its))
		return refuse(group, "has no channel");
	for (const std::string &path : iio.attributes)
		if (!is_attribute(path))
			return refuse(group + " Attributes",
				      "there can be no " + path);
	return true;
}

bool Checker::check_channel(const IioChannelDescription &channel)
{
	std::string group = "[Channel " + channel.name + "]";
	std::string file = channel.attribute + "_" + channel.extension;

	const IioDescription *iio = find(board_.iio, channel.device);

	if (!iio)
		return refuse(group, "there is no IIO " + channel.device);
	if (channel.value < iio->scan.lowest() ||
	    channel.value > iio->scan.highest())
		return refuse(group + " Value", "does not fit");
	if (!channel_type(channel.attribute))
		return refuse(group + " Name",
			      "the kernel has no channel " + channel.attribute);
	if (!channel.extension.empty() && !is_name(channel.extension))
		return refuse(group + " Extension",
			      std::string("is not of ") + NAME_CHARACTERS);
	if (!channel_files_.emplace(channel.device, file).second)
		return refuse(group + " Name", "is that of another channel");
	if (!channel_numbers_.emplace(channel.device, channel.number).second)
		return refuse(group, "is there twice");
	return true;
}

/// Whether there is what measures the loop.
bool Checker::check_converter_of(const LoopDescription &loop)
{
	std::string group = "[Loop " + loop.name + "]";

	if (find(board_.converters, loop.converter))
		return true;
	if (!find(board_.iio, loop.converter))
		return refuse(group + " Converter",
			      "there is no converter " + loop.converter);
	return channel_numbers_.contains({loop.converter, loop.address}) ||
	       refuse(group + " Address", loop.converter + " has no channel " +
						  std::to_string(loop.address));
}

bool Checker::check_loop(const LoopDescription &loop)
{
	std::string group = "[Loop " + loop.name + "]";

	if (!check_name(group, loop.name) || !check_converter_of(loop))
		return false;
	auto [place, fresh] = channels_.emplace(
		std::make_pair(loop.converter, loop.address), loop.name);
	if (!fresh)
		return refuse(group + " Address",
			      "is that of " + place->second);
	return loop.line.empty() || check_contact(loop, group + " Line");
}

/// Whether the line can read the loop's contact.
bool Checker::check_contact(const LoopDescription &loop,
			    const std::string &where)
{
	const LineDescription *line = find(board_.lines, loop.line);

	if (!line)
		return refuse(where, "there is no line " + loop.line);
	if (line->wiring != Wiring::DOOR_CONTACT)
		return refuse(where, loop.line + " is no door contact");
	auto [place, fresh] = contacts_.emplace(loop.line, loop.name);
	if (!fresh)
		return refuse(where, "is that of " + place->second);
	return true;
}

bool Checker::check()
{
	for (const ChipDescription &chip : board_.chips)
		if (!check_chip(chip))
			return false;
	for (const LineDescription &line : board_.lines)
		if (!check_line(line) || !check_follows(line))
			return false;
	for (const ConverterDescription &converter : board_.converters)
		if (!check_converter(converter))
			return false;
	for (const IioDescription &iio : board_.iio)
		if (!check_iio(iio))
			return false;
	for (const IioChannelDescription &channel : board_.channels)
		if (!check_channel(channel))
			return false;
	for (const LoopDescription &loop : board_.loops)
		if (!check_loop(loop))
			return false;
	return true;
}

} // namespace

bool check_board(const BoardDescription &board, const char *path,
		 GError **error)
{
	return Checker(board, path, error).check();
}

} // namespace simboard
