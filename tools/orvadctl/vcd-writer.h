#pragma once

#include "output.h"

#include <glib.h>

#include <string>
#include <vector>

namespace orvadctl
{

enum class VcdValue : char { ZERO = '0', ONE = '1', UNKNOWN = 'x' };

struct VcdVariable {
	std::string name; ///< As vcd_reference_names() makes them.
	VcdValue value;
};

/// Writes a value change dump (IEEE 1364, section 18) of one-bit wires, so that
/// it can be read up to the last change at any time.
class VcdWriter
{
public:
	/// @param output must outlive this; it remembers failures to write.
	explicit VcdWriter(Output &output);

	/// Writes the declarations and the first values, at the time 0.
	/// @param date any text without a "$".
	void begin(const std::string &date, std::vector<VcdVariable> variables);

	/// Writes that a variable has that value now. Writes nothing when it
	/// had it already.
	/// @param time_us µs from the beginning; an earlier time than the last
	///        one counts as that.
	/// @returns whether it is another value.
	bool change(gint64 time_us, std::size_t variable, VcdValue value);

	/// Writes up to when the values held.
	void end(gint64 time_us);

private:
	std::string time_text(gint64 time_us);

	Output &output_;
	std::vector<VcdVariable> variables_;
	gint64 time_us_ = 0; ///< Of the last time that was written.
};

} // namespace orvadctl
