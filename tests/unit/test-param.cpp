#include "param-fixture.h"

#include <sys/stat.h>

namespace
{

using testing::ElementsAre;
using testing::IsEmpty;
using testing::Not;
using testing::StartsWith;
using testing::internal::CaptureStderr;
using testing::internal::GetCapturedStderr;

using ParamDeathTest = ParamTest;

// ---- opening ----

TEST_F(ParamTest, AMissingFileIsAnOpenEmptyOne)
{
	ASSERT_TRUE(param_read_configuration(path_.c_str()));
	const auto before = settings(gate_);
	EXPECT_FALSE(param_get_conf_vals(gate_.get()));
	EXPECT_EQ(settings(gate_), before);
	EXPECT_THAT(log_.messages(), IsEmpty());
}

TEST_F(ParamTest, ACorruptFileIsReportedAndNotOpen)
{
	write_file(path_, "[gate]\nno equals sign\n");
	CaptureStderr();
	EXPECT_FALSE(param_read_configuration(path_.c_str()));
	EXPECT_THAT(GetCapturedStderr(),
		    StartsWith("Could not read key file: Key file contains "));
	EXPECT_FALSE(param_get_conf_vals(gate_.get()));
	EXPECT_THAT(log_.texts(G_LOG_LEVEL_CRITICAL),
		    ElementsAre("param_get_conf_vals: assertion "
				"'key_file != NULL' failed"));
}

TEST_F(ParamTest, AFifoIsRefusedWithoutHanging)
{
	ASSERT_EQ(mkfifo(path_.c_str(), 0600), 0);
	CaptureStderr();
	EXPECT_FALSE(param_read_configuration(path_.c_str()));
	EXPECT_EQ(GetCapturedStderr(),
		  "Could not read key file: Not a regular file\n");
}

TEST_F(ParamTest, ADirectoryOrADeviceIsRefused)
{
	for (const std::string &path :
	     {dir_.file("."), std::string("/dev/zero")}) {
		CaptureStderr();
		EXPECT_FALSE(param_read_configuration(path.c_str()));
		EXPECT_EQ(GetCapturedStderr(),
			  "Could not read key file: Not a regular file\n");
	}
}

TEST_F(ParamTest, AnotherFileReplacesTheOpenOne)
{
	open_text(kSavedGroup);
	const std::string other = dir_.file("other.conf");
	write_file(other, "[door]\nusage=x\n");
	ASSERT_TRUE(param_read_configuration(other.c_str()));
	EXPECT_FALSE(param_get_conf_vals(gate_.get()));
}

TEST_F(ParamTest, AHugeFileIsRead)
{
	std::string text;
	for (int i = 0; i < 20000; ++i)
		text += "[port" + std::to_string(i) +
			"]\nusage=" + std::string(100, 'x') + "\n";
	open_text(text + kSavedGroup);
	EXPECT_TRUE(param_get_conf_vals(gate_.get()));
}

TEST_F(ParamTest, ReadingWithoutAnOpenFileFailsAPrecondition)
{
	EXPECT_FALSE(param_get_conf_vals(gate_.get()));
	EXPECT_FALSE(param_set_conf_vals(gate_.get()));
	EXPECT_FALSE(param_store_key_file(path_.c_str()));
	EXPECT_THAT(log_.texts(G_LOG_LEVEL_CRITICAL),
		    ElementsAre("param_get_conf_vals: assertion "
				"'key_file != NULL' failed",
				"param_set_conf_vals: assertion "
				"'key_file != NULL' failed",
				"param_store_key_file: assertion "
				"'key_file != NULL' failed"));
}

TEST_F(ParamTest, ClosingWithoutAnOpenFileDoesNothing)
{
	param_close_file();
	param_close_file();
	EXPECT_THAT(log_.messages(), IsEmpty());
}

// ---- the rest of the file ----

TEST_F(ParamTest, CommentsOtherGroupsAndForeignKeysSurviveASave)
{
	gate_->type = PORT_INPUT;
	write_file(path_, "# kept by hand\n\n"
			  "[door]\n"
			  "# the front door\n"
			  "usage=Front\n"
			  "\n"
			  "[gate]\n"
			  "colour=blue\n"
			  "button_type=toggle\n"
			  "usage=Old\n");
	EXPECT_EQ(saved(gate_), "# kept by hand\n\n"
				"[door]\n"
				"# the front door\n"
				"usage=Front\n"
				"\n"
				"[gate]\n"
				"colour=blue\n"
				"button_type=toggle\n"
				"usage=Usage\n"
				"input_name=In\n"
				"input_activelow=false\n");
}

TEST_F(ParamTest, SavingAgainChangesNothing)
{
	write_file(path_, "# kept by hand\n[door]\n# lock\nusage=Front\n");
	const std::string first = saved(gate_);
	EXPECT_EQ(saved(gate_), first);
}

TEST_F(ParamTest, AFileThatCannotBeWrittenIsReported)
{
	const std::string unwritable = dir_.file("missing/orvad.conf");
	ASSERT_TRUE(param_read_configuration(unwritable.c_str()));
	CaptureStderr();
	EXPECT_FALSE(param_store_key_file(unwritable.c_str()));
	EXPECT_THAT(
		GetCapturedStderr(),
		StartsWith("Failed to store key file " + unwritable + ": "));
}

// ---- saving ----

TEST_F(ParamTest, ASaveWithoutAFileMakesAndClosesIt)
{
	param_save_for_port(gate_.get(), path_.c_str());
	EXPECT_THAT(saved(), StartsWith("[gate]\n"));
	EXPECT_FALSE(param_set_conf_vals(gate_.get()));
}

TEST_F(ParamTest, ASaveIntoTheOpenFileLeavesItOpen)
{
	open_text("[door]\nusage=x\n");
	param_save_for_port(gate_.get(), path_.c_str());
	EXPECT_THAT(saved(), StartsWith("[door]\nusage=x\n\n[gate]\n"));
	EXPECT_TRUE(param_set_conf_vals(gate_.get()));
}

TEST_F(ParamTest, ASaveIntoACorruptFileLeavesItAlone)
{
	write_file(path_, "garbage\n");
	CaptureStderr();
	EXPECT_EQ(saved(gate_), "garbage\n");
	EXPECT_THAT(GetCapturedStderr(),
		    StartsWith("Could not read key file: "));
	EXPECT_THAT(log_.texts(G_LOG_LEVEL_CRITICAL),
		    ElementsAre("param_save_for_port: assertion "
				"'param_read_configuration (file)' failed"));
}

TEST_F(ParamDeathTest, SavingNoPortIsAProgrammingError)
{
	EXPECT_DEATH(param_save_for_port(nullptr, path_.c_str()),
		     "param.c:.*assertion failed: \\(port != NULL\\)");
}

TEST_F(ParamTest, SavingAllSavesThePortsBelowTheirCountInNumericOrder)
{
	for (const int number : {7, 2, 0, 1}) {
		const std::string name = "p" + std::to_string(number);
		const PortRef port =
			make_port(name.c_str(), number, PORT_INPUT);
		io_port_add_property(port.get(), "ioport", "true");
		io_port_list_add(port);
	}
	param_save_all(path_.c_str());
	EXPECT_EQ(saved(),
		  "[p0]\ninput_name=In\ninput_activelow=false\nusage=Usage\n"
		  "\n"
		  "[p1]\ninput_name=In\ninput_activelow=false\nusage=Usage\n"
		  "\n"
		  "[p2]\ninput_name=In\ninput_activelow=false\nusage=Usage\n");
}

TEST_F(ParamTest, TheListReadsTheSettingsOfItsPorts)
{
	io_port_list_add(gate_);
	open_text(kSavedGroup);
	io_port_list_read_params();
	EXPECT_EQ(gate_->usage, "Saved usage");
}

} // namespace
