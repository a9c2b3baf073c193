#pragma once

/// The GPIO library, recorded: every call as "<function>(line, arguments)",
/// flags in hexadecimal, except ugpio_fd(); and reading from a line's
/// descriptor. A line is written by its name or
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

/// Makes the line's descriptor signal until it is read.
void edge(const std::string &line);
/// Makes it signal for ever, and reading it fail with that errno.
void break_line(const std::string &line, int error);
/// Makes it signal that nobody is at the other end.
void hang_up(const std::string &line);
/// Undoes break_line() and hang_up().
void mend(const std::string &line);

/// The lines that are requested and not freed.
std::vector<std::string> held();

} // namespace fake_ugpio
