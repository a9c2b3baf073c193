#pragma once

/// A board with devices of the kernel's Industrial I/O, as the tests use it.

#include "board-fixture.h"

/// With a buffer and two channels; with each kind of thresholds.
constexpr const char *IIO_TEXT = R"([Board]
Name=Test board

[IIO main]
Name=adc0
Endianness=le
Bits=12
Storage=16
Shift=4
Attributes=in_voltage_sampling_frequency

[Channel main/0]

[Channel main/2]
Value=100

[IIO watch]
Thresholds=both

[Channel watch/1]

[IIO prox]
Thresholds=either
Buffer=false

[Channel prox/0]
Name=proximity

[IIO simple]
Thresholds=one

[Channel simple/3]
Extension=aux

[Loop yard]
Converter=watch
Address=1
)";

inline simboard::BoardDescription describe_iio()
{
	return describe_board(IIO_TEXT);
}
