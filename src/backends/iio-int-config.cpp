#include "backends/iio-int-config.h"

#include "backends/backend-data.h"
#include "backends/iio-int-backend.h"
#include "backends/parse-number.h"
#include "backends/range-parser.h"
#include "util/optional-text.h"

#include <cstring>
#include <string_view>

namespace
{

/// One for all ports: the configuration has one range after the other.
RangeParser iio_int_ranges;

guint32 parse_unsigned(const char *text)
{
	return backend::parse_uint(text, backend::kDecimal);
}

guint32 parse_signed(const char *text)
{
	return static_cast<guint32>(
		backend::parse_int(text, backend::kDecimal));
}

struct TextItem {
	const char *key;
	std::optional<std::string> IioIntPortData::*field;
};

constexpr TextItem kTextItems[] = {
	{"driver", &IioIntPortData::driver},
	{"channel_name", &IioIntPortData::channel_name},
	{"chan_extend_name", &IioIntPortData::chan_extend_name},
	{"shared_samplefreq", &IioIntPortData::shared_samplefreq},
	{"shared_thresh_either_period",
	 &IioIntPortData::shared_thresh_either_period},
};

/// Negative numbers wrap: -1 is the limit that is not set.
struct NumberItem {
	const char *key;
	guint32 IioIntPortData::*field;
	guint32 (*parse)(const char *text);
};

constexpr NumberItem kNumberItems[] = {
	{"channel", &IioIntPortData::voltage_channel, parse_unsigned},
	{"hysteresis", &IioIntPortData::hysteresis, parse_unsigned},
	{"limit_timeout", &IioIntPortData::limit_timeout, parse_unsigned},
	{"lower_limit", &IioIntPortData::lower_limit, parse_signed},
	{"upper_limit", &IioIntPortData::upper_limit, parse_signed},
	{"bitshift", &IioIntPortData::bitshift, parse_signed},
	{"integration_time", &IioIntPortData::integration_time, parse_signed},
};

void parse_flag(IioIntPortData *data, const std::string_view key,
		const std::string_view value)
{
	if (key == "one_threshold")
		data->one_threshold = value == "true";
	else if (key == "mode" && value == "adc")
		data->mode = IIO_INT_ADC;
	else if (key == "cache_ad_value" && value == "false")
		data->cache_ad_value = false;
	else if (key == "pullup_when_supervised" && value == "true")
		data->pullup_when_supervised = true;
}

void parse_device_item(IioIntPortData *data, const char *key, const char *value)
{
	for (const TextItem &item : kTextItems)
		if (std::strcmp(key, item.key) == 0)
			data->*item.field = value;
	for (const NumberItem &item : kNumberItems)
		if (std::strcmp(key, item.key) == 0)
			data->*item.field = item.parse(value);
	parse_flag(data, key, value);
}

/// The mode comes before the ranges: it says whose they are.
void add_range(IOPort *port, IioIntPortData *data, const ParsedRange &range)
{
	if (data->mode != IIO_INT_ADC) {
		add_parsed_range(port, range);
		return;
	}
	const char *state = util::c_str(range.state);
	data->ranges.push_back({supervised_range_string2state(state),
				static_cast<guint32>(range.upper),
				static_cast<guint32>(range.lower)});
}

} // namespace

bool iio_int_parse_data(IOPort *port, const char *group, const char *key,
			const char *value)
{
	auto *data = backend::ensure_data<IioIntPortData>(port);
	if (data->lines.parse(group, key, value))
		return true;
	if (std::strcmp(group, "device") == 0)
		parse_device_item(data, key, value);
	else if (std::strcmp(group, "range") == 0)
		if (const auto range = iio_int_ranges.parse(key, value))
			add_range(port, data, *range);
	return true;
}
