#pragma once

/// Points in time as text, to the millisecond, the same in every locale.

#include "util/glib-ptr.h"

#include <string>

namespace orvadctl
{

using DateTimePtr = util::Handle<GDateTime, g_date_time_unref>;

/// Now, in the local time zone.
DateTimePtr local_now();

/// For people: "2024-05-01 12:00:01.123", in time's own zone.
std::string time_text(GDateTime *time);

/// The time of day of it: "12:00:01.123".
std::string clock_text(GDateTime *time);

/// For programs, ISO 8601: "2024-05-01T12:00:01.123+02:00".
std::string iso_time_text(GDateTime *time);

} // namespace orvadctl
