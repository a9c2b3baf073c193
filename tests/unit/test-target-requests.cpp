#include "target-requests.h"

#include <gtest/gtest.h>

namespace
{

// Three bits of a request's number say its direction on 32-bit MIPS, two
// elsewhere.
TEST(TargetRequestsTest, HaveTheNumbersOfTheTargetsKernel)
{
	EXPECT_EQ(target_spi_message_2, 0x80406B00U);
	EXPECT_EQ(target_spi_wr_bits_per_word, 0x80016B03U);
	EXPECT_EQ(target_spi_wr_max_speed_hz, 0x80046B04U);
	EXPECT_EQ(target_iio_get_event_fd, 0x40046990U);
}

} // namespace
