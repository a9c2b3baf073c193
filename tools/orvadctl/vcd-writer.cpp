#include "vcd-writer.h"

#include "vcd-names.h"

#include <utility>

namespace orvadctl
{

namespace
{

constexpr const char *LEGEND =
	"$comment\n"
	"\t1 is active, 0 inactive, x not known: out of service, or no "
	"daemon.\n"
	"\tTimes are those of arrival, by the monotonic clock.\n"
	"$end\n";

std::string value_text(std::size_t variable, VcdValue value)
{
	return static_cast<char>(value) + vcd_identifier_code(variable) + '\n';
}

std::string declarations(const std::string &date,
			 const std::vector<VcdVariable> &variables)
{
	std::string text = "$date\n\t" + date +
			   "\n$end\n"
			   "$version\n\torvadctl record\n$end\n" +
			   LEGEND +
			   "$timescale 1 us $end\n"
			   "$scope module ports $end\n";

	for (std::size_t i = 0; i < variables.size(); ++i)
		text += "$var wire 1 " + vcd_identifier_code(i) + ' ' +
			variables[i].name + " $end\n";
	return text + "$upscope $end\n$enddefinitions $end\n";
}

} // namespace

VcdWriter::VcdWriter(Output &output) : output_(output)
{
}

void VcdWriter::begin(const std::string &date,
		      std::vector<VcdVariable> variables)
{
	std::string text = declarations(date, variables) + "#0\n$dumpvars\n";

	for (std::size_t i = 0; i < variables.size(); ++i)
		text += value_text(i, variables[i].value);
	variables_ = std::move(variables);
	output_.print(text + "$end\n");
}

/// A line for that time; nothing when it is the one written last.
std::string VcdWriter::time_text(gint64 time_us)
{
	if (time_us <= time_us_)
		return "";
	time_us_ = time_us;
	return '#' + std::to_string(time_us) + '\n';
}

bool VcdWriter::change(gint64 time_us, std::size_t variable, VcdValue value)
{
	if (std::exchange(variables_[variable].value, value) == value)
		return false;
	output_.print(time_text(time_us) + value_text(variable, value));
	return true;
}

void VcdWriter::end(gint64 time_us)
{
	output_.print(time_text(time_us));
}

} // namespace orvadctl
