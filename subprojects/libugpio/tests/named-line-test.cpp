/// Finding a line by name, with chips that the tests define.

#include "named-line.h"
#include "temp-folder.h"

#include <gpiod.h>
#include <gtest/gtest.h>

#include <cerrno>
#include <vector>

/// In place of the library's own.
struct gpiod_chip {
	std::string name;
	std::string label;
	unsigned lines;
};
struct gpiod_line {
	gpiod_chip *chip;
	unsigned offset;
	std::string name;
};

namespace
{

std::vector<gpiod_line> lines;
int closed = 0;

} // namespace

extern "C" {

gpiod_line *gpiod_line_find(const char *name)
{
	for (gpiod_line &line : lines) {
		if (line.name == name)
			return &line;
	}
	errno = ENOENT;
	return nullptr;
}

void gpiod_line_close_chip(gpiod_line *)
{
	++closed;
}

gpiod_chip *gpiod_line_get_chip(gpiod_line *line)
{
	return line->chip;
}

unsigned gpiod_line_offset(gpiod_line *line)
{
	return line->offset;
}

const char *gpiod_chip_name(gpiod_chip *chip)
{
	return chip->name.c_str();
}

const char *gpiod_chip_label(gpiod_chip *chip)
{
	return chip->label.c_str();
}

unsigned gpiod_chip_num_lines(gpiod_chip *chip)
{
	return chip->lines;
}

} // extern "C"

namespace
{

namespace fs = std::filesystem;

class NamedLineTest : public testing::Test
{
protected:
	NamedLineTest()
	{
		fs::create_directories(root_ / "class");
		fs::create_directories(root_ / "bus");
		lines = {{&chip_, 5, "siren"}};
		closed = 0;
	}
	/// A chip of 32 lines below the device @p device; its numbered view is
	/// below @p numbered, a folder.
	void add_chip(const std::string &name, unsigned base,
		      const std::string &label, const std::string &device,
		      const std::string &numbered)
	{
		const std::string number = std::to_string(base);
		const fs::path folder =
			root_ / numbered / "gpio" / ("gpiochip" + number);
		write_text(folder / "base", number + "\n");
		write_text(folder / "label", label + "\n");
		write_text(folder / "ngpio", "32\n");
		fs::create_symlink(folder,
				   root_ / "class" / ("gpiochip" + number));
		fs::create_directories(root_ / device / name);
		const fs::path entry = root_ / "bus" / name;
		if (!fs::exists(entry))
			fs::create_symlink(root_ / device / name, entry);
	}
	std::optional<unsigned> find(const std::string &name)
	{
		errno = 0;
		return ugpio_sysfs::find_named_line(root_ / "class",
						    root_ / "bus", name);
	}

	TempFolder root_;
	gpiod_chip chip_ = {"gpiochip1", "bank", 32};
};

TEST_F(NamedLineTest, IsItsChipsBaseAndItsPlaceThere)
{
	add_chip("gpiochip0", 0, "other", "soc", "soc");
	add_chip("gpiochip1", 480, "bank", "expander", "expander");
	EXPECT_EQ(find("siren"), 485);
	EXPECT_EQ(closed, 1);
}

TEST_F(NamedLineTest, AChipWithoutADeviceHasItsNumbersBelowItself)
{
	add_chip("gpiochip1", 64, "bank", "virtual", "virtual/gpiochip1");
	EXPECT_EQ(find("siren"), 69);
}

TEST_F(NamedLineTest, ChipsAlikeAreToldApartByTheirDevice)
{
	add_chip("gpiochip0", 0, "bank", "first", "first");
	add_chip("gpiochip1", 32, "bank", "second", "second");
	EXPECT_EQ(find("siren"), 37);
}

TEST_F(NamedLineTest, ChipsThatCannotBeToldApartAreRefused)
{
	add_chip("gpiochip1", 0, "bank", "soc", "soc");
	add_chip("gpiochip1", 32, "bank", "soc", "soc");
	EXPECT_EQ(find("siren"), std::nullopt);
	EXPECT_EQ(errno, ENOTUNIQ);
}

TEST_F(NamedLineTest, AnUnknownNameIsNotFound)
{
	add_chip("gpiochip1", 0, "bank", "soc", "soc");
	EXPECT_EQ(find("horn"), std::nullopt);
	EXPECT_EQ(errno, ENOENT);
	EXPECT_EQ(closed, 0);
}

TEST_F(NamedLineTest, AChipWithoutNumbersIsNoDevice)
{
	EXPECT_EQ(find("siren"), std::nullopt);
	EXPECT_EQ(errno, ENODEV);
	EXPECT_EQ(closed, 1);
}

} // namespace
