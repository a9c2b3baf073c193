#include "iio-section.h"

#include "numbers.h"
#include "util/glib-ptr.h"

namespace simboard
{

namespace
{

constexpr unsigned HIGHEST_CHANNEL = 255;

ScanType read_scan_type(Section &section)
{
	ScanType scan;
	std::string sign = section.text("Sign", "u");

	scan.big_endian = section.choice("Endianness", Endianness::LITTLE,
					 endianness_from_word,
					 endianness_words()) == Endianness::BIG;
	scan.bits = section.number("Bits", 1, ScanType::MOST_BITS, scan.bits);
	scan.storage = section.number("Storage", ScanType::BYTE,
				      ScanType::MOST_STORAGE, scan.storage);
	scan.shift = section.number("Shift", 0, ScanType::MOST_STORAGE, 0);
	scan.ones_around = section.flag("OnesAround", false);
	scan.is_signed = sign == "s";
	if (sign != "s" && sign != "u")
		section.refuse("Sign", "\"" + sign + "\" is not s or u");
	if (scan.storage % ScanType::BYTE != 0)
		section.refuse("Storage", "is not in whole bytes");
	if (section.ok() && scan.bits + scan.shift > scan.storage)
		section.refuse("Bits", "do not fit into the storage");
	return scan;
}

gint64 read_value(Section &section, const char *key)
{
	std::string text = section.text(key, "0");
	gint64 value = 0;
	util::Error error;

	if (section.ok() &&
	    !parse_signed(text, G_MININT64, G_MAXINT64, value, &error))
		section.refuse(key, error.message());
	return value;
}

std::vector<std::string> read_list(Section &section, const char *key)
{
	std::string text = section.text(key);
	util::StrvPtr parts(g_strsplit(text.c_str(), ";", 0));
	std::vector<std::string> list;

	for (char **part = parts.get(); *part; ++part)
		if (**part != '\0')
			list.emplace_back(*part);
	return list;
}

} // namespace

bool read_iio_section(Section section, const std::string &name,
		      BoardDescription &board)
{
	static constexpr const char *KEYS[] = {
		"Name",   "Endianness", "Bits",       "Storage",
		"Shift",  "Sign",       "OnesAround", "Type",
		"Buffer", "Thresholds", "FullScale",  "Attributes"};
	IioDescription iio;

	section.allow_only(KEYS);
	iio.name = name;
	iio.iio_name = section.text("Name", name);
	iio.scan = read_scan_type(section);
	iio.type = section.text("Type", scan_type_text(iio.scan));
	iio.has_buffer = section.flag("Buffer", true);
	iio.thresholds = section.choice("Thresholds", ThresholdKind::NONE,
					threshold_kind_from_word,
					threshold_kind_words());
	auto highest = static_cast<unsigned>(
		std::min(iio.scan.highest(), gint64{MOST_FULL_SCALE}));
	iio.full_scale = section.number("FullScale", 0, highest, highest);
	iio.attributes = read_list(section, "Attributes");
	board.iio.push_back(iio);
	return section.ok();
}

bool read_channel_section(Section section, const std::string &name,
			  BoardDescription &board)
{
	static constexpr const char *KEYS[] = {"Name", "Extension", "Value"};
	IioChannelDescription channel;
	std::size_t slash = std::min(name.find('/'), name.size());
	guint64 number = 0;
	util::Error error;

	section.allow_only(KEYS);
	channel.name = name;
	channel.device = name.substr(0, slash);
	if (slash == name.size() ||
	    !parse_unsigned(name.substr(slash + 1), 0, HIGHEST_CHANNEL, number,
			    &error))
		section.refuse("Name", "the group is not named DEVICE/NUMBER");
	channel.number = static_cast<unsigned>(number);
	channel.attribute = section.text(
		"Name", "voltage" + std::to_string(channel.number));
	channel.extension = section.text("Extension");
	channel.value = read_value(section, "Value");
	board.channels.push_back(channel);
	return section.ok();
}

} // namespace simboard
