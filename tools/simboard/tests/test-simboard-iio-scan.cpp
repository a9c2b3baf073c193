#include "simboard/iio-scan.h"

#include <gtest/gtest.h>

#include <random>

using namespace simboard;

namespace
{

std::string bytes(std::initializer_list<int> values)
{
	std::string text;

	for (int value : values)
		text += static_cast<char>(value);
	return text;
}

/// Reads bit by bit what a sample holds.
gint64 decode(const ScanType &type, const std::string &sample)
{
	gint64 value = 0;

	for (unsigned bit = 0; bit < type.bits; ++bit) {
		unsigned place = bit + type.shift;
		std::size_t byte = place / 8;
		if (type.big_endian)
			byte = sample.size() - 1 - byte;
		bool set = (sample[byte] >> (place % 8)) & 1;
		gint64 weight = gint64{1} << bit;
		bool is_sign = type.is_signed && bit + 1 == type.bits;
		value += set ? (is_sign ? -weight : weight) : 0;
	}
	return value;
}

} // namespace

TEST(IioScan, TellsItsTypeAsTheKernelDoes)
{
	EXPECT_EQ(scan_type_text({}), "le:u12/16>>0");
	EXPECT_EQ(scan_type_text({true, true, 24, 32, 8}), "be:s24/32>>8");
}

TEST(IioScan, PutsTheValueWhereItsTypeSays)
{
	EXPECT_EQ(encode_sample({false, false, 12, 16, 4}, 0xabc),
		  bytes({0xc0, 0xab}));
	EXPECT_EQ(encode_sample({true, false, 12, 16, 4}, 0xabc),
		  bytes({0xab, 0xc0}));
	EXPECT_EQ(encode_sample({true, false, 24, 24, 0}, 0x010203),
		  bytes({1, 2, 3}));
	EXPECT_EQ(encode_sample({false, false, 8, 8, 0}, 0xfe), bytes({0xfe}));
	EXPECT_EQ(encode_sample({false, true, 12, 16, 0}, -1),
		  bytes({0xff, 0x0f}));
	EXPECT_EQ(encode_sample({false, false, 12, 16, 4, true}, 0),
		  bytes({0x0f, 0x00}));
	EXPECT_EQ(encode_sample({true, false, 4, 32, 8, true}, 5),
		  bytes({0xff, 0xff, 0xf5, 0xff}));
}

TEST(IioScan, KnowsWhatFits)
{
	ScanType type{false, false, 32, 32, 0};

	EXPECT_EQ(type.lowest(), 0);
	EXPECT_EQ(type.highest(), 4294967295);
	type.is_signed = true;
	EXPECT_EQ(type.lowest(), -2147483648);
	EXPECT_EQ(type.highest(), 2147483647);
	type.bits = 1;
	EXPECT_EQ(type.lowest(), -1);
	EXPECT_EQ(type.highest(), 0);
}

TEST(IioScan, EveryValueComesBackFromItsSample)
{
	std::mt19937_64 random(1);
	auto pick = [&random](gint64 least, gint64 most) {
		return std::uniform_int_distribution<gint64>(least,
							     most)(random);
	};

	for (int round = 0; round < 20000; ++round) {
		ScanType type;
		type.big_endian = pick(0, 1);
		type.is_signed = pick(0, 1);
		type.ones_around = pick(0, 1);
		type.storage = 8 * static_cast<unsigned>(pick(1, 8));
		type.bits = static_cast<unsigned>(
			pick(1, std::min(type.storage, 32u)));
		type.shift = static_cast<unsigned>(
			pick(0, type.storage - type.bits));
		gint64 value = pick(type.lowest(), type.highest());
		std::string sample = encode_sample(type, value);
		ASSERT_EQ(sample.size(), type.storage / 8);
		ASSERT_EQ(decode(type, sample), value) << scan_type_text(type);
	}
}
