#pragma once

/// One channel of a converter as its attribute files show it: what it measures
/// now, and the two thresholds whose crossing is an event (Documentation/ABI/
/// testing/sysfs-bus-iio). What fails is warned of. Main thread, but for
/// reading the value.

#include "util/rate-limit.h"
#include "util/unique-fd.h"

#include <glib.h>

#include <optional>
#include <string>

/// Where a channel's attribute files are.
struct IioChannelName {
	/// The number of the converter.
	int device = 0;
	/// Such as "voltage0".
	std::string channel;
	/// Set between the channel's name and the attribute's.
	std::optional<std::string> extension;

	/// The path of an attribute, at most 199 bytes of it.
	std::string path(const char *attribute) const;
	/// The same of an attribute of the channel's events.
	std::string event_path(const char *attribute) const;
};

/// A channel's thresholds, as open files.
class IioThresholds
{
public:
	/// Opens the files; a converter has either one flag for both
	/// thresholds or one for each. What was open is closed first.
	bool open(const IioChannelName &name);
	void close();
	bool are_open() const
	{
		return either_enable_.valid() || falling_enable_.valid();
	}

	bool set_rising(guint32 value) const;
	bool set_falling(guint32 value) const;
	/// Switches the events of both thresholds.
	bool enable(bool on) const;
	/// Switches on the events of one threshold.
	bool enable_rising() const;
	bool enable_falling() const;

private:
	bool open_flags(const IioChannelName &name);
	bool write_number(const util::UniqueFd &fd, guint32 number) const;
	bool write_flag(const util::UniqueFd &fd, bool on) const;

	util::UniqueFd rising_value_;
	util::UniqueFd falling_value_;
	util::UniqueFd rising_enable_;
	util::UniqueFd falling_enable_;
	util::UniqueFd either_enable_;
	/// A driver may refuse each new threshold.
	mutable util::RateLimit write_error_;
};

/// The channel's raw value, its low 32 bits; 0 when it cannot be read. Any
/// thread, one at a time with the same @p limit.
guint32 iio_read_raw(const IioChannelName &name, util::RateLimit *limit);

/// Writes the text as a whole to an open attribute.
bool iio_write_attribute(int fd, const std::string &text,
			 util::RateLimit *limit = nullptr);
