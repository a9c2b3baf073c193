#include "simboard/kernel-text.h"

#include <gtest/gtest.h>

#include <cerrno>

using namespace simboard;

namespace
{

/// "0", "1" or the errno's number after a minus.
int flag(std::string_view text)
{
	bool value = false;
	int error = parse_flag(text, value);

	return error != 0 ? -error : value;
}

long decimal(std::string_view text)
{
	unsigned value = 0;
	int error = parse_decimal(text, value);

	return error != 0 ? -error : long{value};
}

std::string fixpoint(std::string_view text, int scale = 100000)
{
	Fixpoint value;
	int error = parse_fixpoint(text, scale, value);

	return error != 0 ? "refused"
			  : std::to_string(value.integer) + " " +
				    std::to_string(value.fraction);
}

} // namespace

TEST(KernelText, AFlagIsItsFirstCharacters)
{
	for (const char *on : {"1", "1\n", "y", "Yes", "true", "T", "on", "ON"})
		EXPECT_EQ(flag(on), 1) << on;
	for (const char *off : {"0", "0\n", "n", "No", "false", "F", "off"})
		EXPECT_EQ(flag(off), 0) << off;
	for (const char *none : {"", "\n", "2", "o", "ox", " 1", "-1"})
		EXPECT_EQ(flag(none), -EINVAL) << none;
}

TEST(KernelText, ANumberIsNothingElse)
{
	EXPECT_EQ(decimal("16"), 16);
	EXPECT_EQ(decimal("16\n"), 16);
	EXPECT_EQ(decimal("+016"), 16);
	EXPECT_EQ(decimal("4294967295"), 4294967295);
	EXPECT_EQ(decimal("4294967296"), -ERANGE);
	for (const char *none :
	     {"", "\n", "1 ", " 1", "-1", "0x10", "1\n\n", "1.5", "+", "++1"})
		EXPECT_EQ(decimal(none), -EINVAL) << none;
}

TEST(KernelText, AFixpointNumberHasPlaces)
{
	EXPECT_EQ(fixpoint("100"), "100 0");
	EXPECT_EQ(fixpoint("12.5\n", 100), "12 500");
	EXPECT_EQ(fixpoint("0.1234567"), "0 123456");
	EXPECT_EQ(fixpoint("-3.25"), "-3 250000");
	EXPECT_EQ(fixpoint("-0.25"), "0 -250000");
	EXPECT_EQ(fixpoint("+7"), "7 0");
	EXPECT_EQ(fixpoint(""), "0 0");
	EXPECT_EQ(fixpoint("4294967297"), "1 0");
	for (const char *none : {"1.2.3", "1 ", "0x1", "a", "1\n2", "--1"})
		EXPECT_EQ(fixpoint(none), "refused") << none;
}

TEST(KernelText, MillionthsAreShown)
{
	EXPECT_EQ(micro_text({100, 0}), "100.000000");
	EXPECT_EQ(micro_text({0, 250}), "0.000250");
	EXPECT_EQ(micro_text({0, -250000}), "-0.250000");
	EXPECT_EQ(micro_text({-3, 500000}), "-3.500000");
}
