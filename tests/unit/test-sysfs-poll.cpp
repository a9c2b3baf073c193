#include "sysfs-fixture.h"
#include "wait-until.h"

#include <fcntl.h>
#include <sys/mman.h>
#include <sys/stat.h>

namespace
{

using testing::ElementsAre;
using testing::IsEmpty;
using testing::SizeIs;

using SysfsPollTest = SysfsBackendTest;

constexpr char kReportedActive[] =
	"iocontrol_emit_port_changed(4, virtual=0, hidden=0, input=1, "
	"virtual_trig=0, state=1, activelow=0)";
constexpr char kReportedInactive[] =
	"iocontrol_emit_port_changed(4, virtual=0, hidden=0, input=1, "
	"virtual_trig=0, state=0, activelow=0)";

// ---- reading ----

TEST_F(SysfsPollTest, AFileHolding1AndALineFeedReads1)
{
	watch_text("1\n");
	EXPECT_EQ(poll(), 1);
}

TEST_F(SysfsPollTest, AnInverted1Reads0AndAnInverted0Reads1)
{
	parse("inverted", "true");
	watch_text("1\n");
	EXPECT_EQ(poll(), 0);
	write_file(path_, "0\n");
	EXPECT_EQ(poll(), 1);
}

TEST_F(SysfsPollTest, AFileHolding2ReadsAs0WithAWarning)
{
	watch_text("2\n");
	EXPECT_EQ(poll(), 0);
	EXPECT_THAT(log_.warnings(),
		    ElementsAre("Unexpected value: 2 when reading: " + path_));
}

TEST_F(SysfsPollTest, AFileHolding2ReadsAs1WhenInverted)
{
	parse("inverted", "true");
	watch_text("2\n");
	EXPECT_EQ(poll(), 1);
}

TEST_F(SysfsPollTest, ANegativeValueReadsAs0WithAWarning)
{
	watch_text("-1\n");
	EXPECT_EQ(poll(), 0);
	EXPECT_THAT(log_.warnings(),
		    ElementsAre("Unexpected value: -1 when reading: " + path_));
}

TEST_F(SysfsPollTest, AnEmptyFileReads0)
{
	watch_text("");
	EXPECT_EQ(poll(), 0);
	EXPECT_THAT(log_.messages(), IsEmpty());
}

TEST_F(SysfsPollTest, ANumberBeyondEveryRangeIsReportedAndReads0)
{
	watch_text("99999999999999999999\n");
	EXPECT_EQ(poll(), 0);
	EXPECT_THAT(
		log_.warnings(),
		ElementsAre(
			"Unexpected format when parsing input when reading: " +
				path_ + "! : Numerical result out of range",
			"Unexpected value: 2147483647 when reading: " + path_));
}

TEST_F(SysfsPollTest, ALongTextIsReadUpTo63Characters)
{
	watch_text(std::string(62, '0') + "12");
	EXPECT_EQ(poll(), 1);
	EXPECT_THAT(log_.messages(), IsEmpty());
}

TEST_F(SysfsPollTest, AReadErrorIsReportedAndReads0WithoutInversion)
{
	parse("inverted", "true");
	watch(dir_.file("."));
	EXPECT_EQ(poll(), 0);
	EXPECT_THAT(log_.warnings(),
		    ElementsAre("Error failed to read " + dir_.file(".") +
				"! : Is a directory"));
}

TEST_F(SysfsPollTest, AReadThatWouldBlockIsAReadError)
{
	ASSERT_EQ(mkfifo(path_.c_str(), 0600), 0);
	const util::UniqueFd writer(open(path_.c_str(), O_RDWR | O_CLOEXEC));
	watch(path_);
	EXPECT_EQ(poll(), 0);
	EXPECT_THAT(log_.warnings(),
		    ElementsAre("Error failed to read " + path_ +
				"! : Resource temporarily unavailable"));
}

TEST_F(SysfsPollTest, AFileThatWasNotOpenedReadsItsRestingLevel)
{
	parse("path", path_);
	parse("inverted", "true");
	ASSERT_FALSE(io_port_setup(port_.get()));
	io_port_set_watch(port_.get());
	EXPECT_EQ(poll(), 1);
	data()->inverted = false;
	EXPECT_EQ(poll(), 0);
}

TEST_F(SysfsPollTest, APortThatWasNotOpenedLeavesStandardInputAlone)
{
	int ends[2];
	ASSERT_EQ(pipe2(ends, O_CLOEXEC | O_NONBLOCK), 0);
	const util::UniqueFd read_end(ends[0]);
	const util::UniqueFd write_end(ends[1]);
	ASSERT_EQ(write(write_end.get(), "1", 1), 1);
	const util::UniqueFd saved_input(
		fcntl(STDIN_FILENO, F_DUPFD_CLOEXEC, 3));
	dup2(read_end.get(), STDIN_FILENO);

	parse("path", path_);
	io_port_setup(port_.get());
	io_port_set_watch(port_.get());
	EXPECT_EQ(poll(), 0);
	char byte = 0;
	EXPECT_EQ(read(STDIN_FILENO, &byte, 1), 1);

	dup2(saved_input.get(), STDIN_FILENO);
}

TEST_F(SysfsPollTest, AFaultThatLastsIsLoggedOncePerSecondWithACount)
{
	watch_text("2\n");
	for (int i = 0; i < 5; ++i)
		tick();
	EXPECT_THAT(log_.warnings(), SizeIs(1));
	log_.clear();
	sysfs_now = G_USEC_PER_SEC;
	tick();
	EXPECT_THAT(log_.warnings(),
		    ElementsAre("Unexpected value: 2 when reading: " + path_ +
					" (repeated 4 times)",
				"Unexpected value: 2 when reading: " + path_));
}

// ---- the latch ----

TEST_F(SysfsPollTest, ALatchIsClearedSoThatItsEventIsReportedOnce)
{
	parse("clear_flag", "true");
	watch_text("1\n");
	EXPECT_EQ(poll(), 1);
	EXPECT_EQ(read_file(path_), "0\n");
	EXPECT_THAT(recorder::calls(), ElementsAre(kReportedActive));
	EXPECT_EQ(poll(), 0);
	EXPECT_THAT(recorder::calls(),
		    ElementsAre(kReportedActive, kReportedInactive));
}

TEST_F(SysfsPollTest, AnInvertedLatchIsClearedWhenItHolds1)
{
	parse("clear_flag", "true");
	parse("inverted", "true");
	watch_text("1\n");
	EXPECT_EQ(poll(), 0);
	EXPECT_EQ(read_file(path_), "0\n");
}

TEST_F(SysfsPollTest, APlainAttributeIsNotWritten)
{
	watch_text("1\n");
	tick();
	EXPECT_EQ(read_file(path_), "1\n");
}

TEST_F(SysfsPollTest, ALatchThatCannotBeClearedIsReportedAndReads1)
{
	const util::UniqueFd sealed(
		memfd_create("latch", MFD_CLOEXEC | MFD_ALLOW_SEALING));
	ASSERT_EQ(write(sealed.get(), "1\n", 2), 2);
	ASSERT_EQ(fcntl(sealed.get(), F_ADD_SEALS, F_SEAL_WRITE), 0);

	parse("clear_flag", "true");
	watch("/proc/self/fd/" + std::to_string(sealed.get()));
	EXPECT_EQ(poll(), 1);
	EXPECT_THAT(log_.warnings(),
		    ElementsAre("Sysfs write failed: Operation not permitted"));
	EXPECT_EQ(poll(), 1);
}

// ---- reporting ----

TEST_F(SysfsPollTest, AChangeIsReportedAndAnUnchangedLevelIsNot)
{
	watch_text("0\n");
	tick();
	EXPECT_THAT(recorder::calls(), IsEmpty());
	write_file(path_, "1\n");
	tick();
	tick();
	EXPECT_THAT(recorder::calls(), ElementsAre(kReportedActive));
}

TEST_F(SysfsPollTest, TheLogicalStateIsReported)
{
	port_->input_activelow = true;
	watch_text("1\n");
	tick();
	EXPECT_THAT(recorder::calls(),
		    ElementsAre("iocontrol_emit_port_changed(4, virtual=0, "
				"hidden=0, input=1, virtual_trig=0, state=0, "
				"activelow=1)"));
}

TEST_F(SysfsPollTest, WithoutAnIntervalEveryRoundOfTheMainLoopPolls)
{
	watch_text("0\n");
	for (const int level : {1, 0, 1, 0}) {
		write_file(path_, std::to_string(level));
		EXPECT_EQ(poll(), level);
	}
}

TEST_F(SysfsPollTest, AnIntervalOfMillisecondsIsKept)
{
	parse("timeout", "0x1F4");
	const gint64 before = g_get_monotonic_time();
	watch_text("0\n");
	const gint64 after = g_get_monotonic_time();
	GSource *poll_source =
		g_main_context_find_source_by_id(nullptr, data()->poll_id.id());
	EXPECT_GE(g_source_get_ready_time(poll_source), before + 500000);
	EXPECT_LE(g_source_get_ready_time(poll_source), after + 500000);
}

TEST_F(SysfsPollTest, ThePollGoesOnAfterErrorsAndReports)
{
	parse("timeout", "1");
	watch_text("nonsense 2");
	write_file(path_, "2");
	ASSERT_TRUE(wait_until([this] { return !log_.warnings().empty(); }));
	write_file(path_, "1");
	EXPECT_TRUE(wait_until(
		[this] { return functions_->get_state(port_.get()) == 1; }));
	write_file(path_, "0");
	EXPECT_TRUE(wait_until(
		[this] { return functions_->get_state(port_.get()) == 0; }));
}

} // namespace
