#include "backends/virtual-backend.h"
#include "ioport/port-seam.h"
#include "ioport/port-state.h"

#include <gtest/gtest.h>

#include <thread>

namespace
{

class VirtualBackendTest : public testing::Test
{
protected:
	VirtualBackendTest()
	{
		port_->type = PORT_OUTPUT;
		functions_ = io_port_set_backend(port_.get(), BACKEND_VIRTUAL);
	}
	VirtualPortData *data()
	{
		return static_cast<VirtualPortData *>(port_->backend_data);
	}

	PortRef port_ = PortRef::adopt(io_port_new());
	const IOPortFunctions *functions_;
};

TEST_F(VirtualBackendTest, OffersNoSupervisionAndNoClose)
{
	EXPECT_EQ(functions_->is_supervisable, nullptr);
	EXPECT_EQ(functions_->set_supervised, nullptr);
	EXPECT_EQ(functions_->get_supervised_ranges, nullptr);
	EXPECT_EQ(functions_->set_supervised_ranges, nullptr);
	EXPECT_EQ(functions_->get_supervised_readout, nullptr);
	EXPECT_EQ(functions_->close, nullptr);
}

TEST_F(VirtualBackendTest, StartsWithLevel0)
{
	EXPECT_TRUE(functions_->setup(port_.get(), 1));
	EXPECT_EQ(functions_->get_state(port_.get()), 0);
}

TEST_F(VirtualBackendTest, WrittenWith5ReadsBack1)
{
	functions_->set_state(port_.get(), 5);
	EXPECT_EQ(functions_->get_state(port_.get()), 1);
	EXPECT_EQ(data()->level, 5U);
}

TEST_F(VirtualBackendTest, WrittenWith0ReadsBack0)
{
	functions_->set_state(port_.get(), 1);
	functions_->set_state(port_.get(), 0);
	EXPECT_EQ(functions_->get_state(port_.get()), 0);
}

TEST_F(VirtualBackendTest, EveryPortHasALevelOfItsOwn)
{
	const PortRef other = PortRef::adopt(io_port_new());
	io_port_set_backend(other.get(), BACKEND_VIRTUAL);
	functions_->set_state(port_.get(), 1);
	EXPECT_EQ(functions_->get_state(other.get()), 0);
}

TEST_F(VirtualBackendTest, ChosenTwiceKeepsTheLevel)
{
	functions_->set_state(port_.get(), 1);
	EXPECT_EQ(io_port_set_backend(port_.get(), BACKEND_VIRTUAL),
		  functions_);
	EXPECT_EQ(functions_->get_state(port_.get()), 1);
}

TEST_F(VirtualBackendTest, AcceptsAndIgnoresEveryItem)
{
	EXPECT_TRUE(
		functions_->parse_data(port_.get(), "device", "level", "1"));
	EXPECT_EQ(functions_->get_state(port_.get()), 0);
}

TEST_F(VirtualBackendTest, TheLevelSurvivesASwitchOfDirectionAndAWatch)
{
	functions_->set_state(port_.get(), 1);
	functions_->set_direction(port_.get(), true);
	functions_->set_watch(port_.get());
	EXPECT_EQ(functions_->get_state(port_.get()), 1);
}

TEST_F(VirtualBackendTest, APortWithoutARecordReads0AndForgetsWrites)
{
	functions_->free(port_.get());
	ASSERT_EQ(port_->backend_data, nullptr);
	functions_->set_state(port_.get(), 1);
	functions_->set_watch(port_.get());
	functions_->set_direction(port_.get(), true);
	functions_->parse_data(port_.get(), "device", "a", "b");
	functions_->free(port_.get());
	EXPECT_EQ(functions_->get_state(port_.get()), 0);
}

TEST_F(VirtualBackendTest, AClosedPortCanBeSetUpAgain)
{
	ASSERT_TRUE(io_port_setup(port_.get()));
	functions_->set_state(port_.get(), 1);
	io_port_close(port_.get());
	ASSERT_TRUE(io_port_setup(port_.get()));
	EXPECT_EQ(functions_->get_state(port_.get()), 0);
	functions_->set_state(port_.get(), 1);
	EXPECT_EQ(functions_->get_state(port_.get()), 1);
}

TEST_F(VirtualBackendTest, ALevelWrittenByOneThreadReachesAnother)
{
	std::thread writer([this] { functions_->set_state(port_.get(), 1); });
	while (functions_->get_state(port_.get()) != 1)
		std::this_thread::yield();
	writer.join();
}

} // namespace
