#include "backends/check-backend.h"
#include "ioport/port-seam.h"
#include "ioport/port-settings.h"
#include "ioport/port-state.h"

#include <gmock/gmock.h>

namespace
{

using testing::ElementsAre;
using testing::IsEmpty;

class CheckBackendTest : public testing::Test
{
protected:
	CheckBackendTest()
	{
		port_->type = PORT_IO_CTRL;
		functions_ = io_port_set_backend(port_.get(), BACKEND_CHECK);
	}
	CheckPortData *data()
	{
		return static_cast<CheckPortData *>(port_->backend_data);
	}
	void parse(const char *element, const char *attribute,
		   const char *value)
	{
		io_port_parse_backend_data(port_.get(), element, attribute,
					   value);
	}

	PortRef port_ = PortRef::adopt(io_port_new());
	const IOPortFunctions *functions_;
};

TEST_F(CheckBackendTest, OffersNoSupervisionAndNoClose)
{
	EXPECT_EQ(functions_->is_supervisable, nullptr);
	EXPECT_EQ(functions_->set_supervised, nullptr);
	EXPECT_EQ(functions_->get_supervised_ranges, nullptr);
	EXPECT_EQ(functions_->set_supervised_ranges, nullptr);
	EXPECT_EQ(functions_->get_supervised_readout, nullptr);
	EXPECT_EQ(functions_->close, nullptr);
}

TEST_F(CheckBackendTest, ANewRecordIsZeroed)
{
	EXPECT_EQ(data()->level, 0);
	EXPECT_FALSE(data()->setup_ok);
	EXPECT_FALSE(data()->watched);
	EXPECT_EQ(data()->direction, 0);
	EXPECT_THAT(data()->items, IsEmpty());
}

TEST_F(CheckBackendTest, SetsUpWithoutItems)
{
	EXPECT_TRUE(io_port_setup(port_.get()));
	EXPECT_TRUE(data()->setup_ok);
}

TEST_F(CheckBackendTest, FailsItsSetupWhenConfiguredTo)
{
	parse("backend", "setup", "fail");
	EXPECT_FALSE(io_port_setup(port_.get()));
	EXPECT_FALSE(data()->setup_ok);
	EXPECT_FALSE(port_->is_setup);
}

TEST_F(CheckBackendTest, FailsItsSetupWhateverTheElement)
{
	parse("anything", "setup", "fail");
	parse("anything", "other", "item");
	EXPECT_FALSE(io_port_setup(port_.get()));
}

TEST_F(CheckBackendTest, AFailureInCapitalsSetsUp)
{
	parse("backend", "setup", "FAIL");
	EXPECT_TRUE(io_port_setup(port_.get()));
}

TEST_F(CheckBackendTest, AFailureOnAnotherAttributeSetsUp)
{
	parse("backend", "Setup", "fail");
	parse("setup", "mode", "fail");
	EXPECT_TRUE(io_port_setup(port_.get()));
}

TEST_F(CheckBackendTest, AFailureClearsAnEarlierSuccess)
{
	ASSERT_TRUE(io_port_setup(port_.get()));
	parse("backend", "setup", "fail");
	EXPECT_FALSE(io_port_setup(port_.get()));
	EXPECT_FALSE(data()->setup_ok);
}

TEST_F(CheckBackendTest, KeepsEveryItemNewestFirst)
{
	parse("backend", "a", "1");
	parse("device", "b", "2");
	parse("device", "b", "3");
	std::vector<std::string> items;
	for (const BackendItem &item : data()->items)
		items.push_back(item.element + "." + item.attribute + "=" +
				item.value);
	EXPECT_THAT(items,
		    ElementsAre("device.b=3", "device.b=2", "backend.a=1"));
}

TEST_F(CheckBackendTest, RecordsTheWatch)
{
	functions_->set_watch(port_.get());
	EXPECT_TRUE(data()->watched);
}

TEST_F(CheckBackendTest, RecordsTheDirection)
{
	functions_->set_direction(port_.get(), true);
	EXPECT_EQ(data()->direction, 1);
	functions_->set_direction(port_.get(), false);
	EXPECT_EQ(data()->direction, 0);
}

TEST_F(CheckBackendTest, ALevelOf3ReadsBackAs3AndIsUnknownToThePortLayer)
{
	ASSERT_TRUE(io_port_setup(port_.get()));
	functions_->set_state(port_.get(), 3);
	EXPECT_EQ(functions_->get_state(port_.get()), 3);
	EXPECT_EQ(io_port_get_state(port_.get()), 0);
	port_->input_activelow = true;
	EXPECT_EQ(io_port_get_state(port_.get()), 0);
}

TEST_F(CheckBackendTest, APortWithoutARecordReads0AndForgetsEverything)
{
	functions_->free(port_.get());
	ASSERT_EQ(port_->backend_data, nullptr);
	functions_->set_state(port_.get(), 1);
	functions_->set_watch(port_.get());
	functions_->set_direction(port_.get(), true);
	functions_->parse_data(port_.get(), "device", "a", "b");
	functions_->free(port_.get());
	EXPECT_EQ(functions_->get_state(port_.get()), 0);
	EXPECT_FALSE(functions_->setup(port_.get(), 0));
}

TEST_F(CheckBackendTest, AClosedPortRemembersThatItsSetupFails)
{
	parse("backend", "setup", "fail");
	io_port_close(port_.get());
	ASSERT_EQ(port_->backend_data, nullptr);
	EXPECT_FALSE(io_port_setup(port_.get()));
	EXPECT_EQ(data()->items.size(), 1U);
}

} // namespace
