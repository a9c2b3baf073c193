#include "sysfs-fixture.h"

#include <fcntl.h>
#include <sys/stat.h>

namespace
{

using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::SizeIs;

/// How many descriptors of this process are open on @p path.
int descriptors_on(const std::string &path)
{
	int count = 0;
	for (const auto &entry :
	     std::filesystem::directory_iterator("/proc/self/fd")) {
		std::error_code gone;
		if (std::filesystem::read_symlink(entry, gone) == path)
			++count;
	}
	return count;
}

bool source_exists(guint id)
{
	return g_main_context_find_source_by_id(nullptr, id) != nullptr;
}

using SysfsBackendDeathTest = SysfsBackendTest;

// ---- the table and the configuration ----

TEST_F(SysfsBackendTest, OffersNoSupervisionAndNoClose)
{
	EXPECT_EQ(functions_->is_supervisable, nullptr);
	EXPECT_EQ(functions_->set_supervised, nullptr);
	EXPECT_EQ(functions_->get_supervised_ranges, nullptr);
	EXPECT_EQ(functions_->set_supervised_ranges, nullptr);
	EXPECT_EQ(functions_->get_supervised_readout, nullptr);
	EXPECT_EQ(functions_->close, nullptr);
}

TEST_F(SysfsBackendTest, StartsWithTheDefaults)
{
	EXPECT_EQ(data()->path, "");
	EXPECT_EQ(data()->timeout, 0);
	EXPECT_FALSE(data()->fd.valid());
	EXPECT_EQ(data()->poll_id.id(), 0U);
	EXPECT_FALSE(data()->clear_flag);
	EXPECT_FALSE(data()->inverted);
}

TEST_F(SysfsBackendTest, AnItemMakesTheRecordWhenThereIsNone)
{
	functions_->free(port_.get());
	functions_->parse_data(port_.get(), "device", "path", "/x");
	ASSERT_NE(port_->backend_data, nullptr);
	EXPECT_EQ(data()->path, "/x");
}

TEST_F(SysfsBackendTest, TheLastPathCounts)
{
	parse("path", "/first");
	parse("path", "/second");
	EXPECT_EQ(data()->path, "/second");
}

TEST_F(SysfsBackendTest, AnotherGroupIsRefusedWithAWarning)
{
	EXPECT_FALSE(functions_->parse_data(port_.get(), "gpio", "path", "/x"));
	EXPECT_EQ(data()->path, "");
	EXPECT_THAT(log_.warnings(),
		    ElementsAre("Could not parse backend data!\n"));
}

TEST_F(SysfsBackendTest, AnUnknownKeyIsIgnoredSilently)
{
	parse("speed", "7");
	EXPECT_THAT(log_.messages(), IsEmpty());
}

TEST_F(SysfsBackendTest, OnlyTheExactWordTrueSetsAFlag)
{
	for (const char *value : {"TRUE", "1", "yes", ""}) {
		parse("clear_flag", value);
		parse("inverted", value);
		EXPECT_FALSE(data()->clear_flag) << value;
		EXPECT_FALSE(data()->inverted) << value;
	}
	parse("clear_flag", "true");
	parse("inverted", "true");
	EXPECT_TRUE(data()->clear_flag);
	EXPECT_TRUE(data()->inverted);
	parse("clear_flag", "false");
	EXPECT_FALSE(data()->clear_flag);
}

TEST_F(SysfsBackendTest, TheIntervalMayBeDecimalHexadecimalOrOctal)
{
	parse("timeout", "250");
	EXPECT_EQ(data()->timeout, 250);
	parse("timeout", "0x1F4");
	EXPECT_EQ(data()->timeout, 500);
	parse("timeout", "010");
	EXPECT_EQ(data()->timeout, 8);
	EXPECT_THAT(log_.messages(), IsEmpty());
}

TEST_F(SysfsBackendTest, AnIntervalOfNoNumberIs0)
{
	parse("timeout", "250");
	parse("timeout", "often");
	EXPECT_EQ(data()->timeout, 0);
}

TEST_F(SysfsBackendTest, ANegativeIntervalIsWarnedOf)
{
	parse("timeout", "-1");
	EXPECT_EQ(data()->timeout, -1);
	EXPECT_THAT(log_.warnings(),
		    ElementsAre("Poll interval -1 of port smoke is out of "
				"range"));
	parse("timeout", "-99999999999999999999999");
	EXPECT_EQ(data()->timeout, G_MININT32);
}

TEST_F(SysfsBackendTest, ATooLongIntervalIsTheLongestWithAWarning)
{
	for (const char *value :
	     {"2147483648", "0xFFFFFFFF", "99999999999999999999999"}) {
		log_.clear();
		parse("timeout", value);
		EXPECT_EQ(data()->timeout, G_MAXINT32);
		EXPECT_THAT(log_.warnings(), ElementsAre(HasSubstr(value)));
	}
}

// ---- set-up ----

TEST_F(SysfsBackendTest, OpensTheFileForReading)
{
	write_file(path_, "0\n");
	parse("path", path_);
	ASSERT_TRUE(io_port_setup(port_.get()));
	const int flags = fcntl(data()->fd.get(), F_GETFL);
	EXPECT_EQ(flags & O_ACCMODE, O_RDONLY);
	EXPECT_NE(fcntl(data()->fd.get(), F_GETFD) & FD_CLOEXEC, 0);
}

TEST_F(SysfsBackendTest, OpensALatchForReadingAndWriting)
{
	write_file(path_, "0\n");
	parse("path", path_);
	parse("clear_flag", "true");
	ASSERT_TRUE(io_port_setup(port_.get()));
	const int flags = fcntl(data()->fd.get(), F_GETFL);
	EXPECT_EQ(flags & O_ACCMODE, O_RDWR);
}

TEST_F(SysfsBackendTest, AMissingFileFailsTheSetupWithAWarning)
{
	parse("path", path_);
	EXPECT_FALSE(io_port_setup(port_.get()));
	EXPECT_THAT(log_.warnings(),
		    ElementsAre("Failed to open " + path_ +
				": No such file or directory"));
}

TEST_F(SysfsBackendTest, AMissingFileOfAnOptionalPortFailsSilently)
{
	parse("path", path_);
	port_->optional = true;
	EXPECT_FALSE(io_port_setup(port_.get()));
	EXPECT_THAT(log_.messages(), IsEmpty());
}

TEST_F(SysfsBackendTest, AMissingPathFailsTheSetup)
{
	EXPECT_FALSE(io_port_setup(port_.get()));
	EXPECT_THAT(log_.warnings(), SizeIs(1));
}

TEST_F(SysfsBackendTest, ASecondSetupHoldsOneDescriptorAndNoPoll)
{
	watch_text("0\n");
	const guint first_poll = data()->poll_id.id();
	ASSERT_TRUE(io_port_setup(port_.get()));
	EXPECT_EQ(descriptors_on(path_), 1);
	EXPECT_FALSE(source_exists(first_poll));
}

TEST_F(SysfsBackendTest, ASecondSetupGivesUpTheFileBeforeItOpensAnother)
{
	watch_text("0\n");
	const int first_number = data()->fd.get();
	ASSERT_TRUE(io_port_setup(port_.get()));
	// The lowest free number is the one that was given up.
	EXPECT_EQ(data()->fd.get(), first_number);
}

TEST_F(SysfsBackendTest, AFailedSecondSetupHoldsNothing)
{
	watch_text("0\n");
	parse("path", dir_.file("missing"));
	EXPECT_FALSE(io_port_setup(port_.get()));
	EXPECT_EQ(descriptors_on(path_), 0);
	EXPECT_FALSE(data()->fd.valid());
	EXPECT_EQ(data()->poll_id.id(), 0U);
}

TEST_F(SysfsBackendTest, AFifoWithoutAWriterIsOpenedAtOnceAndReads0)
{
	ASSERT_EQ(mkfifo(path_.c_str(), 0600), 0);
	watch(path_);
	EXPECT_EQ(poll(), 0);
	EXPECT_THAT(log_.messages(), IsEmpty());
}

TEST_F(SysfsBackendDeathTest, SetupWithoutARecordIsAProgrammingError)
{
	functions_->free(port_.get());
	EXPECT_DEATH(functions_->setup(port_.get(), 0),
		     "sysfs-backend.c:.*assertion failed: "
		     "\\(data != NULL\\)");
}

TEST_F(SysfsBackendDeathTest, SetupOfAnOutputIsAProgrammingError)
{
	port_->type = PORT_OUTPUT;
	EXPECT_DEATH(functions_->setup(port_.get(), 0),
		     "sysfs-backend.c:.*assertion failed: "
		     "\\(port->type == PORT_INPUT\\)");
}

// ---- the end ----

TEST_F(SysfsBackendTest, ArmingTheWatchTwiceLeavesOnePoll)
{
	watch_text("0\n");
	const guint first = data()->poll_id.id();
	io_port_set_watch(port_.get());
	EXPECT_EQ(data()->poll_id.id(), first);
	EXPECT_TRUE(source_exists(first));
}

TEST_F(SysfsBackendTest, AClosedPortHoldsNoDescriptorAndNoPoll)
{
	watch_text("0\n");
	const guint poll_id = data()->poll_id.id();
	io_port_close(port_.get());
	EXPECT_EQ(port_->backend_data, nullptr);
	EXPECT_EQ(descriptors_on(path_), 0);
	EXPECT_FALSE(source_exists(poll_id));
}

TEST_F(SysfsBackendTest, AFreedPortHoldsNoDescriptorAndNoPoll)
{
	watch_text("0\n");
	const guint poll_id = data()->poll_id.id();
	port_ = PortRef();
	EXPECT_EQ(descriptors_on(path_), 0);
	EXPECT_FALSE(source_exists(poll_id));
}

TEST_F(SysfsBackendTest, AClosedPortCanBeSetUpAgain)
{
	watch_text("1\n");
	io_port_close(port_.get());
	ASSERT_TRUE(io_port_setup(port_.get()));
	io_port_set_watch(port_.get());
	EXPECT_EQ(poll(), 1);
}

TEST_F(SysfsBackendTest, APortWithoutARecordReads0AndDoesNothing)
{
	functions_->free(port_.get());
	functions_->set_watch(port_.get());
	functions_->set_state(port_.get(), 1);
	functions_->set_direction(port_.get(), true);
	functions_->free(port_.get());
	EXPECT_EQ(functions_->get_state(port_.get()), 0);
}

} // namespace
