#include "report.h"

#include "text.h"

#include <cstdio>

namespace orvadctl
{

void report_line(std::string_view message)
{
	fprintf(stderr, "orvadctl: %s\n", escape(message).c_str());
	fflush(stderr);
}

} // namespace orvadctl
