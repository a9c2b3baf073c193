#pragma once

/// The GPIO library, recorded: every call as "<function>(line, arguments)",
/// flags in hexadecimal, except ugpio_fd(). A line is written by its name or
/// number.

#include <ugpio.h>

#include <string>
#include <vector>

namespace fake_ugpio
{

/// Forgets the lines and their faults.
void reset();

/// The next request of that line, or of any, fails.
void fail_request(const std::string &line);
/// Every call of that function fails with that errno, until 0 is given.
void fail(const std::string &function, int error);

/// What reading the line gives: these values in turn, the last one for ever.
void set_values(const std::string &line, std::vector<int> values);

/// Makes the line's descriptor signal until the line is read.
void edge(const std::string &line);
/// Makes it signal for ever, and reading it fail with ENODEV.
void unexport(const std::string &line);

/// The lines that are requested and not freed.
std::vector<std::string> held();

} // namespace fake_ugpio
