#include "iio-types.h"

#include <linux/iio/types.h>

#include <algorithm>
#include <iterator>

namespace simboard
{

namespace
{

/// By iio_chan_type; null: not one that is measured.
constexpr const char *TYPES[] = {
	"voltage",
	"current",
	"power",
	"accel",
	"anglvel",
	"magn",
	"illuminance",
	"intensity",
	"proximity",
	"temp",
	"incli",
	"rot",
	"angl",
	nullptr,
	"capacitance",
	"altvoltage",
	"cct",
	"pressure",
	"humidityrelative",
	"activity",
	"steps",
	"energy",
	"distance",
	"velocity",
	"concentration",
	"resistance",
	"ph",
	"uvindex",
	"electricalconductivity",
	"count",
	"index",
	"gravity",
	"positionrelative",
	"phase",
	"massconcentration",
};
static_assert(std::size(TYPES) == IIO_MASSCONCENTRATION + 1);

bool is_digit(char c)
{
	return c >= '0' && c <= '9';
}

} // namespace

std::optional<unsigned> channel_type(const std::string &attribute)
{
	auto digits =
		std::find_if(attribute.begin(), attribute.end(), is_digit);
	std::string type(attribute.begin(), digits);

	if (!std::all_of(digits, attribute.end(), is_digit))
		return std::nullopt;
	for (unsigned i = 0; i < std::size(TYPES); ++i)
		if (TYPES[i] && type == TYPES[i])
			return i;
	return std::nullopt;
}

} // namespace simboard
