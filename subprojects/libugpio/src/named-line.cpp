#include "named-line.h"

#include "attribute.h"

#include <gpiod.h>

#include <cerrno>
#include <cstring>
#include <filesystem>
#include <memory>
#include <vector>

namespace ugpio_sysfs
{

namespace
{

namespace fs = std::filesystem;

/// A line as its chip's character device describes it.
struct ChipLine {
	std::string chip_name;
	std::string chip_label;
	unsigned chip_lines;
	unsigned offset;
};

std::optional<ChipLine> find_line(const std::string &name)
{
	const std::unique_ptr<gpiod_line, decltype(&gpiod_line_close_chip)>
		line(gpiod_line_find(name.c_str()), gpiod_line_close_chip);
	if (!line)
		return std::nullopt;
	gpiod_chip *chip = gpiod_line_get_chip(line.get());
	return ChipLine{gpiod_chip_name(chip), gpiod_chip_label(chip),
			gpiod_chip_num_lines(chip),
			gpiod_line_offset(line.get())};
}

/// Both views of a chip hang below the device that it belongs to: as
/// DEVICE/gpiochip<index>, and as DEVICE/gpio/gpiochip<base>. A chip without a
/// device has the second below the first (gpiochip_sysfs_register() in
/// drivers/gpio/gpiolib-sysfs.c).
bool same_chip(const fs::path &numbered, const fs::path &device)
{
	std::error_code gone;
	const fs::path owner =
		fs::canonical(numbered, gone).parent_path().parent_path();
	const fs::path other = fs::canonical(device, gone);
	return !gone && (owner == other || owner == other.parent_path());
}

/// The first numbers of the chips below @p root that may be the line's.
std::vector<unsigned> find_bases(const fs::path &root,
				 const fs::path &chip_devices,
				 const ChipLine &line)
{
	std::vector<unsigned> bases;
	std::error_code gone;
	for (fs::directory_iterator entry(root, gone), end;
	     !gone && entry != end; entry.increment(gone)) {
		const std::string path = entry->path();
		const auto base = read_attribute(path + "/base");
		if (!base ||
		    read_attribute(path + "/label") != line.chip_label ||
		    read_attribute(path + "/ngpio") !=
			    std::to_string(line.chip_lines) ||
		    !same_chip(path, chip_devices / line.chip_name))
			continue;
		bases.push_back(static_cast<unsigned>(
			std::strtoul(base->c_str(), nullptr, 10)));
	}
	return bases;
}

} // namespace

std::optional<unsigned> find_named_line(const std::string &root,
					const std::string &chip_devices,
					const std::string &name)
{
	errno = 0;
	const auto line = find_line(name);
	if (!line) {
		if (errno == 0)
			errno = ENOENT;
		return std::nullopt;
	}
	const auto bases = find_bases(root, chip_devices, *line);
	if (bases.size() != 1) {
		errno = bases.empty() ? ENODEV : ENOTUNIQ;
		return std::nullopt;
	}
	return bases.front() + line->offset;
}

} // namespace ugpio_sysfs
