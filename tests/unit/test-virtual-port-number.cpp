// Alone in its process, which keeps the number once it is configured.

#include "ioport/port-sequence.h"

#include <gtest/gtest.h>

namespace
{

TEST(VirtualPortNumberTest, ThePortsStartAt5UntilTheConfigurationSaysElse)
{
	EXPECT_EQ(virtual_input_get_first_port_no(), 5);
	EXPECT_FALSE(virtual_input_configured());
	virtual_input_set_first_port_no(5);
	EXPECT_EQ(virtual_input_get_first_port_no(), 5);
	EXPECT_TRUE(virtual_input_configured());
}

} // namespace
