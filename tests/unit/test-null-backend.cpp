#include "backends/null-backend.h"

#include "ioport/port-state.h"

#include <gtest/gtest.h>

namespace
{

class NullBackendTest : public testing::Test
{
protected:
	NullBackendTest()
	{
		port_->type = PORT_OUTPUT;
		functions_ = io_port_set_backend(port_.get(), BACKEND_NULL);
	}

	PortRef port_ = PortRef::adopt(io_port_new());
	const IOPortFunctions *functions_;
};

TEST_F(NullBackendTest, OffersNoSupervisionAndNoClose)
{
	EXPECT_EQ(functions_->is_supervisable, nullptr);
	EXPECT_EQ(functions_->set_supervised, nullptr);
	EXPECT_EQ(functions_->get_supervised_ranges, nullptr);
	EXPECT_EQ(functions_->set_supervised_ranges, nullptr);
	EXPECT_EQ(functions_->get_supervised_readout, nullptr);
	EXPECT_EQ(functions_->close, nullptr);
}

TEST_F(NullBackendTest, HasNoPrivateRecord)
{
	EXPECT_EQ(port_->backend_data, nullptr);
	functions_->parse_data(port_.get(), "device", "a", "b");
	functions_->setup(port_.get(), 1);
	EXPECT_EQ(port_->backend_data, nullptr);
}

TEST_F(NullBackendTest, Reads0AfterAnyWrite)
{
	for (const int level : {0, 1, 5, -1}) {
		functions_->set_state(port_.get(), level);
		EXPECT_EQ(functions_->get_state(port_.get()), 0);
	}
}

TEST_F(NullBackendTest, AcceptsEveryRequest)
{
	EXPECT_TRUE(functions_->setup(port_.get(), 0));
	EXPECT_TRUE(functions_->set_direction(port_.get(), true));
	EXPECT_TRUE(functions_->parse_data(port_.get(), "device", "a", "b"));
	functions_->set_watch(port_.get());
}

TEST_F(NullBackendTest, ThePortLayerReadsThroughTheActiveLevel)
{
	ASSERT_TRUE(io_port_setup(port_.get()));
	EXPECT_EQ(io_port_get_state(port_.get()), 0);
	port_->output_activelow = true;
	EXPECT_EQ(io_port_get_state(port_.get()), 1);
}

TEST_F(NullBackendTest, AClosedPortCanBeSetUpAgain)
{
	ASSERT_TRUE(io_port_setup(port_.get()));
	io_port_close(port_.get());
	EXPECT_TRUE(io_port_setup(port_.get()));
}

} // namespace
