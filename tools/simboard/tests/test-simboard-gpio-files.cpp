#include "board-fixture.h"
#include "simboard/gpio-files.h"

#include <fcntl.h>
#include <poll.h>

#include <cerrno>

using namespace simboard;

namespace
{

class GpioFilesTest : public testing::Test
{
protected:
	void set_up(const std::string &text = BOARD_TEXT)
	{
		board_ = std::make_unique<Board>(describe_board(text));
		files_ = std::make_unique<GpioFiles>(*board_, folder_);
	}

	/// Null when there is no such file.
	std::shared_ptr<File> find(const std::string &folder,
				   const std::string &name)
	{
		auto parent = std::dynamic_pointer_cast<Folder>(
			folder.empty() ? folder_ : folder_->find(folder));
		return parent ? std::dynamic_pointer_cast<File>(
					parent->find(name))
			      : nullptr;
	}
	std::unique_ptr<OpenFile> open(const std::string &folder,
				       const std::string &name, int flags)
	{
		std::unique_ptr<OpenFile> opened;
		auto file = find(folder, name);
		EXPECT_EQ(file->open(flags, file, opened), 0);
		return opened;
	}
	int write(const std::string &folder, const std::string &name,
		  std::string_view text)
	{
		return open(folder, name, O_WRONLY)->write(text, DAEMON);
	}
	std::string read(const std::string &folder, const std::string &name)
	{
		std::string data;
		EXPECT_EQ(open(folder, name, O_RDONLY)->read(100, 0, data), 0);
		return data;
	}
	static void turn_until(const std::function<bool()> &condition)
	{
		while (!condition())
			g_main_context_iteration(nullptr, TRUE);
	}

	std::shared_ptr<Folder> folder_ = std::make_shared<Folder>();
	std::unique_ptr<Board> board_;
	std::unique_ptr<GpioFiles> files_;
};

} // namespace

TEST_F(GpioFilesTest, ChipsTellWhatTheyAre)
{
	set_up();
	EXPECT_EQ(read("gpiochip100", "base"), "100\n");
	EXPECT_EQ(read("gpiochip100", "ngpio"), "8\n");
	EXPECT_EQ(read("gpiochip100", "label"), "expander\n");
	board_->set_plugged(*board_->find_chip("spare"), false);
	EXPECT_EQ(folder_->find("gpiochip100"), nullptr);
}

TEST_F(GpioFilesTest, AnExportMakesAFolder)
{
	set_up();
	EXPECT_EQ(find("gpio1", "value"), nullptr);
	EXPECT_EQ(write("", "export", "1\n"), 0);
	EXPECT_EQ(read("gpio1", "direction"), "in\n");
	EXPECT_EQ(read("gpio1", "value"), "1\n");
	EXPECT_EQ(read("gpio1", "edge"), "none\n");
	EXPECT_EQ(read("gpio1", "active_low"), "0\n");
	EXPECT_EQ(write("", "unexport", "1"), 0);
	EXPECT_EQ(folder_->find("gpio1"), nullptr);
}

TEST_F(GpioFilesTest, ExportAnswersMistakesAsTheKernelDoes)
{
	set_up();
	EXPECT_EQ(write("", "export", "x"), EINVAL);
	EXPECT_EQ(write("", "export", "-1"), EINVAL);
	EXPECT_EQ(write("", "export", "99"), EINVAL);
	EXPECT_EQ(write("", "export", "99999999999999999999"), ERANGE);
	EXPECT_EQ(write("", "export", "5"), EBUSY);
	EXPECT_EQ(write("", "unexport", "1"), EINVAL);
	EXPECT_EQ(write("", "unexport", ""), EINVAL);
}

TEST_F(GpioFilesTest, WordsAreTakenWithAndWithoutALineBreak)
{
	set_up();
	EXPECT_EQ(write("aux", "direction", "high\n"), 0);
	EXPECT_EQ(read("aux", "direction"), "out\n");
	EXPECT_EQ(read("aux", "value"), "1\n");
	EXPECT_EQ(write("aux", "direction", "in"), 0);
	EXPECT_EQ(write("aux", "edge", "falling\n"), 0);
	EXPECT_EQ(read("aux", "edge"), "falling\n");
	EXPECT_EQ(write("aux", "active_low", "-7"), 0);
	EXPECT_EQ(read("aux", "active_low"), "1\n");
}

TEST_F(GpioFilesTest, WordsThatAreNoneAreRefused)
{
	set_up();
	for (const char *word : {"", "up", "IN", "in\n\n", " in", "out "})
		EXPECT_EQ(write("aux", "direction", word), EINVAL) << word;
	for (const char *word : {"", "up", "Both", "both\n\n"})
		EXPECT_EQ(write("aux", "edge", word), EINVAL) << word;
	EXPECT_EQ(write("aux", "active_low", "yes"), EINVAL);
}

TEST_F(GpioFilesTest, AnyNumberButZeroSetsAnOutput)
{
	set_up();
	EXPECT_EQ(write("aux", "value", "1"), EPERM) << "an input";
	EXPECT_EQ(write("aux", "value", "x"), EPERM) << "an input first of all";
	EXPECT_EQ(write("aux", "direction", "out"), 0);
	for (const char *text : {"1", "2\n", "-1", "0x10"}) {
		EXPECT_EQ(write("aux", "value", "0"), 0);
		EXPECT_EQ(write("aux", "value", text), 0);
		EXPECT_EQ(read("aux", "value"), "1\n") << text;
	}
	EXPECT_EQ(write("aux", "value", "on"), EINVAL);
	EXPECT_EQ(read("aux", "value"), "1\n");
}

TEST_F(GpioFilesTest, AnEdgeIsNewsOnValue)
{
	set_up();
	auto value = open("aux", "value", O_RDONLY);
	std::string data;

	EXPECT_EQ(write("aux", "edge", "rising"), 0);
	EXPECT_EQ(value->read(10, 0, data), 0);
	EXPECT_FALSE(value->poll() & POLLPRI);
	board_->drive(*board_->find_line("named"), Level::HIGH);
	EXPECT_TRUE(value->poll() & POLLPRI);
}

TEST_F(GpioFilesTest, OpenFilesOfAnUnexportedLineStayDead)
{
	set_up();
	EXPECT_EQ(write("", "export", "1"), 0);
	auto value = open("gpio1", "value", O_RDWR);
	std::string data;

	EXPECT_EQ(write("", "unexport", "1"), 0);
	EXPECT_EQ(write("", "export", "1"), 0);
	EXPECT_EQ(value->read(10, 0, data), ENODEV);
	EXPECT_EQ(value->write("1", DAEMON), ENODEV);
	EXPECT_TRUE(value->poll() & POLLERR);
	EXPECT_EQ(read("gpio1", "value"), "1\n");
}

TEST_F(GpioFilesTest, FaultsHitTheAccessThatTheyAreFor)
{
	set_up();
	Line &named = *board_->find_line("named");
	std::string data;

	board_->set_fault(named, Access::READ, EIO);
	EXPECT_EQ(open("aux", "value", O_RDONLY)->read(10, 0, data), EIO);
	EXPECT_EQ(write("aux", "direction", "out"), 0);
	board_->set_fault(named, Access::READ, 0);
	board_->set_fault(named, Access::WRITE, EBUSY);
	EXPECT_EQ(write("aux", "value", "1"), EBUSY);
	EXPECT_EQ(read("aux", "value"), "0\n");
	board_->set_fault(*board_->find_line("1"), Access::EXPORT, ENOMEM);
	EXPECT_EQ(write("", "export", "1"), ENOMEM);
	EXPECT_EQ(write("", "export", "2"), 0);
}

TEST_F(GpioFilesTest, WithoutAGroupEverythingIsRoots)
{
	set_up();
	EXPECT_EQ(find("aux", "value")->mode, mode_t{S_IFREG | 0644});
	EXPECT_EQ(find("aux", "value")->group, 0u);
	EXPECT_EQ(find("", "export")->mode, mode_t{S_IFREG | 0200});
	EXPECT_EQ(find("gpiochip0", "base")->mode, mode_t{S_IFREG | 0444});
}

TEST_F(GpioFilesTest, AGroupMayWriteWhatRootMay)
{
	set_up("[Board]\nGroup=7\n[Chip c]\nBase=0\nLines=2\n"
	       "[Line a]\nNumber=1\nExported=true\n");
	EXPECT_EQ(find("gpio1", "value")->mode, mode_t{S_IFREG | 0664});
	EXPECT_EQ(find("gpio1", "value")->group, 7u);
	EXPECT_EQ(find("", "export")->mode, mode_t{S_IFREG | 0220});
	EXPECT_EQ(find("", "export")->group, 7u);
	EXPECT_EQ(find("", "export")->owner, 0u);
}

TEST_F(GpioFilesTest, FilesAppearAfterTheirDelayAndTheGroupAfterIts)
{
	set_up("[Board]\nGroup=7\nAttributeDelay=1\nGroupDelay=1\n"
	       "[Chip c]\nBase=0\nLines=2\n");
	EXPECT_EQ(write("", "export", "1"), 0);
	EXPECT_NE(folder_->find("gpio1"), nullptr);
	EXPECT_EQ(find("gpio1", "value"), nullptr);
	turn_until([&] { return find("gpio1", "value") != nullptr; });
	EXPECT_EQ(find("gpio1", "value")->group, 0u);
	turn_until([&] { return find("gpio1", "value")->group == 7; });
}

TEST_F(GpioFilesTest, ALineThatGoesDuringTheDelayIsForgotten)
{
	set_up("[Board]\nAttributeDelay=1\n[Chip c]\nBase=0\nLines=2\n");
	EXPECT_EQ(write("", "export", "1"), 0);
	EXPECT_EQ(write("", "unexport", "1"), 0);
	EXPECT_EQ(write("", "export", "0"), 0);
	turn_until([&] { return find("gpio0", "value") != nullptr; });
	EXPECT_EQ(folder_->find("gpio1"), nullptr);
}
