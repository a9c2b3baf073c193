#pragma once

/// Texts that are written to attributes, read as Linux 6.1 reads them
/// (lib/kstrtox.c; drivers/iio/industrialio-core.c). All return 0 or an errno.

#include <string>
#include <string_view>

namespace simboard
{

/// kstrtobool(): looks at no more than the first two characters. EINVAL.
int parse_flag(std::string_view text, bool &flag);

/// kstrtouint(text, 10): EINVAL, ERANGE.
int parse_decimal(std::string_view text, unsigned &number);

/// A number with some decimal places. Below 0 the sign is the integer's, or the
/// fraction's when the integer is 0.
struct Fixpoint {
	int integer = 0;
	int fraction = 0;
};

/// iio_str_to_fixpoint(): no digits at all are 0, further places are cut off,
/// what does not fit wraps around. EINVAL.
/// @param scale of the fraction's first place, such as 100 for thousandths.
int parse_fixpoint(std::string_view text, int scale, Fixpoint &number);

/// As an attribute of millionths shows it, without its line break.
std::string micro_text(const Fixpoint &number);

} // namespace simboard
