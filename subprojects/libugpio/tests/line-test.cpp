/// Lines in a folder of plain files, with a thread in the kernel's place where
/// the kernel would have to do something.

#include "line.h"
#include "temp-folder.h"
#include "ugpio.h"

#include <gmock/gmock.h>

#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <functional>
#include <thread>

namespace
{

using testing::Test;
using ugpio_sysfs::Line;

/// What the daemon asks of an input.
constexpr unsigned kWatched = UGPIO_DIRECTION_IN | UGPIO_TRIGGER_FALLING |
			      UGPIO_TRIGGER_RISING | UGPIO_RESERVED_40 |
			      UGPIO_RESERVED_100;
constexpr unsigned kOutput = UGPIO_RESERVED_40;
constexpr unsigned kNumber = 17;

class LineTest : public Test
{
protected:
	~LineTest() override
	{
		g_log_remove_handler("libugpio", log_handler_);
	}
	/// The files of a line with @p value.
	void add_line(const std::string &folder,
		      const std::string &value = "0\n")
	{
		for (const char *name : {"direction", "edge", "active_low"})
			write_text(root_ / folder / name, "?");
		write_text(root_ / folder / "value", value);
	}
	std::string text(const std::string &folder, const char *attribute)
	{
		return read_text(root_ / folder / attribute);
	}
	std::unique_ptr<Line> request(ugpio_sysfs::Flags flags)
	{
		return Line::of_number(root_.path(), kNumber, flags);
	}

	TempFolder root_;
	std::string warnings_;

private:
	static void collect(const char *, GLogLevelFlags, const char *message,
			    gpointer test)
	{
		static_cast<LineTest *>(test)->warnings_ += message;
	}

	const guint log_handler_ = g_log_set_handler(
		"libugpio", G_LOG_LEVEL_WARNING, collect, this);
};

/// Waits for a number to be written to a file, and then does something.
class Kernel
{
public:
	Kernel(const std::filesystem::path &file,
	       std::function<void(const std::string &)> action)
	{
		mkfifo(file.c_str(), 0600);
		thread_ = std::thread([file, action = std::move(action)] {
			std::string number;
			std::ifstream(file) >> number;
			action(number);
		});
	}
	~Kernel()
	{
		thread_.join();
	}
	Kernel(const Kernel &) = delete;
	Kernel &operator=(const Kernel &) = delete;

private:
	std::thread thread_;
};

struct Request {
	const char *name;
	unsigned flags;
	const char *direction;
	const char *edge;
};

class RequestTest : public LineTest, public testing::WithParamInterface<Request>
{
};

TEST_P(RequestTest, SetsDirectionAndEdge)
{
	add_line("gpio17");
	ASSERT_TRUE(request(GetParam().flags));
	EXPECT_EQ(text("gpio17", "direction"), GetParam().direction);
	EXPECT_EQ(text("gpio17", "edge"), GetParam().edge);
	EXPECT_EQ(text("gpio17", "active_low"), "?");
}

INSTANTIATE_TEST_SUITE_P(
	Flags, RequestTest,
	testing::Values(
		Request{"Watched", kWatched, "in", "both"},
		Request{"Falling", UGPIO_DIRECTION_IN | UGPIO_TRIGGER_FALLING,
			"in", "falling"},
		Request{"Rising", UGPIO_DIRECTION_IN | UGPIO_TRIGGER_RISING,
			"in", "rising"},
		Request{"Input", UGPIO_DIRECTION_IN, "in", "none"},
		Request{"Low", kOutput, "low", "none"},
		Request{"High", kOutput | UGPIO_INITIAL_HIGH, "high", "none"}),
	[](const auto &instance) { return instance.param.name; });

TEST_F(LineTest, ALineThatIsExportedStaysExported)
{
	add_line("gpio17");
	write_text(root_ / "export", "");
	write_text(root_ / "unexport", "");
	request(kWatched).reset();
	EXPECT_EQ(read_text(root_ / "export"), "");
	EXPECT_EQ(read_text(root_ / "unexport"), "");
}

TEST_F(LineTest, ALineThatIsNotExportedIsForAsLongAsItIsHeld)
{
	std::unique_ptr<Line> line;
	{
		const Kernel kernel(root_ / "export", [&](const auto &number) {
			add_line("gpio" + number);
		});
		line = request(kOutput);
	}
	ASSERT_TRUE(line);
	EXPECT_EQ(text("gpio17", "direction"), "low");
	std::string given_back;
	{
		const Kernel kernel(
			root_ / "unexport",
			[&](const auto &number) { given_back = number; });
		line.reset();
	}
	EXPECT_EQ(given_back, "17");
}

TEST_F(LineTest, ALineIsUnexportedWithItsLastUser)
{
	std::unique_ptr<Line> first;
	{
		const Kernel kernel(root_ / "export", [&](const auto &number) {
			add_line("gpio" + number);
		});
		first = request(kOutput);
	}
	auto second = request(kOutput);
	ASSERT_TRUE(first && second);
	// Nobody reads what this would write.
	write_text(root_ / "unexport", "");
	first.reset();
	EXPECT_EQ(read_text(root_ / "unexport"), "");
	second.reset();
	EXPECT_EQ(read_text(root_ / "unexport"), "17");
}

TEST_F(LineTest, ALineMayBeExportedUnderItsDriversNameForIt)
{
	add_line("other");
	write_text(root_ / "gpiochip0" / "base", "0\n");
	std::unique_ptr<Line> line;
	{
		const Kernel kernel(root_ / "export",
				    [&](const auto &) { add_line("siren"); });
		line = request(kOutput);
	}
	ASSERT_TRUE(line);
	EXPECT_EQ(text("siren", "direction"), "low");
	EXPECT_EQ(text("other", "direction"), "?");
	write_text(root_ / "unexport", "");
	line.reset();
	EXPECT_EQ(read_text(root_ / "unexport"), "17");
}

TEST_F(LineTest, AnExportWhoseFilesNeverAppearIsTakenBack)
{
	write_text(root_ / "unexport", "");
	{
		const Kernel kernel(root_ / "export", [](const auto &) {});
		EXPECT_FALSE(request(kOutput));
	}
	EXPECT_EQ(errno, ENOENT);
	EXPECT_EQ(read_text(root_ / "unexport"), "17");
}

TEST_F(LineTest, ALineWithoutInterruptsIsWarnedOf)
{
	add_line("gpio17");
	std::filesystem::remove(root_ / "gpio17" / "edge");
	EXPECT_TRUE(request(kWatched));
	EXPECT_EQ(warnings_, root_.path() + "/gpio17 has no interrupt: its "
					    "edges are not seen");
	EXPECT_TRUE(request(kOutput));
	EXPECT_TRUE(request(UGPIO_DIRECTION_IN));
}

TEST_F(LineTest, FilesThatAppearLateAreWaitedFor)
{
	std::unique_ptr<Line> line;
	{
		const Kernel kernel(root_ / "export", [&](const auto &number) {
			std::filesystem::create_directory(root_ / "gpio17");
			std::this_thread::sleep_for(
				std::chrono::milliseconds(50));
			add_line("gpio" + number);
		});
		line = request(kOutput);
	}
	ASSERT_TRUE(line);
}

TEST_F(LineTest, FilesOfALineThatWasExportedBeforeAreNotWaitedFor)
{
	std::filesystem::create_directory(root_ / "gpio17");
	EXPECT_FALSE(request(kOutput));
	EXPECT_EQ(errno, ENOENT);
	EXPECT_EQ(warnings_, "Cannot use the attributes in " + root_.path() +
				     "/gpio17: No such file or directory");
}

TEST_F(LineTest, ARequestThatFailsLeavesNothingExported)
{
	std::string given_back;
	{
		const Kernel exporter(root_ / "export", [&](const auto &) {
			// A direction that cannot be written.
			std::filesystem::create_directories(root_ / "gpio17" /
							    "direction");
			write_text(root_ / "gpio17" / "value", "0\n");
		});
		const Kernel unexporter(
			root_ / "unexport",
			[&](const auto &number) { given_back = number; });
		EXPECT_FALSE(request(kOutput));
		EXPECT_EQ(errno, EISDIR);
	}
	EXPECT_EQ(given_back, "17");
	EXPECT_EQ(warnings_, "Cannot write low to " + root_.path() +
				     "/gpio17/direction: Is a directory");
}

TEST_F(LineTest, WithoutAKernelThatExportsThereIsNoLine)
{
	EXPECT_FALSE(request(kOutput));
	EXPECT_EQ(errno, ENOENT);
	EXPECT_EQ(warnings_, "Cannot write 17 to " + root_.path() +
				     "/export: No such file or directory");
}

TEST_F(LineTest, AnOutputWithoutADirectionStartsWithItsLevel)
{
	write_text(root_ / "gpio17" / "value", "0\n");
	EXPECT_TRUE(request(kOutput | UGPIO_INITIAL_HIGH));
	EXPECT_EQ(text("gpio17", "value").front(), '1');
	EXPECT_TRUE(request(kOutput));
	EXPECT_EQ(text("gpio17", "value").front(), '0');
}

TEST_F(LineTest, ALineWithoutDirectionAndEdgeIsUsedAsItIs)
{
	write_text(root_ / "gpio17" / "value", "1\n");
	const auto line = request(UGPIO_DIRECTION_IN);
	ASSERT_TRUE(line);
	ASSERT_TRUE(line->open_value());
	EXPECT_EQ(line->value(), 1);
}

TEST_F(LineTest, ALineIsTakenAsItIsWithoutFlags)
{
	add_line("gpio17", "1\n");
	const auto line = request(std::nullopt);
	ASSERT_TRUE(line && line->open_value());
	EXPECT_EQ(text("gpio17", "direction"), "?");
	EXPECT_EQ(text("gpio17", "edge"), "?");
	EXPECT_EQ(line->value(), 1);
	EXPECT_TRUE(line->set_value(false));
	EXPECT_EQ(text("gpio17", "value"), "0\n");
}

TEST_F(LineTest, ANameIsThatOfAFolderWithAValue)
{
	add_line("siren");
	EXPECT_TRUE(Line::of_exported_name(root_.path(), "siren", kOutput));
	EXPECT_EQ(text("siren", "direction"), "low");
	write_text(root_ / "gpiochip0" / "base", "0\n");
	errno = 0;
	EXPECT_FALSE(
		Line::of_exported_name(root_.path(), "gpiochip0", kOutput));
	EXPECT_EQ(errno, ENOENT);
	EXPECT_EQ(warnings_, "");
}

TEST_F(LineTest, ValuesAreReadAndWrittenAtTheStartOfTheFile)
{
	add_line("gpio17", "1\n");
	const auto line = request(kOutput);
	ASSERT_TRUE(line->open_value());
	EXPECT_GE(line->fd(), 0);
	EXPECT_EQ(line->value(), 1);
	EXPECT_TRUE(line->set_value(false));
	EXPECT_EQ(line->value(), 0);
	EXPECT_TRUE(line->set_value(true));
	EXPECT_EQ(text("gpio17", "value"), "1\n");
}

TEST_F(LineTest, EdgesShowOnAnOpenFileOfTheirOwn)
{
	add_line("gpio17", "1\n");
	const auto line = request(kWatched);
	ASSERT_TRUE(line->open_value());
	char text[2];
	// Reading on is what only another open file can do.
	lseek(line->fd(), 1, SEEK_SET);
	EXPECT_EQ(line->value(), 1);
	EXPECT_EQ(read(line->fd(), text, sizeof text), 1);
	line->close_value();
	EXPECT_EQ(line->fd(), -1);
}

TEST_F(LineTest, AnInputCannotBeWritten)
{
	add_line("gpio17");
	const auto line = request(kWatched);
	ASSERT_TRUE(line->open_value());
	EXPECT_FALSE(line->set_value(true));
	EXPECT_EQ(errno, EBADF);
}

TEST_F(LineTest, ATextThatIsNoValueIsAnError)
{
	for (const char *odd : {"", "2\n", "x"}) {
		add_line("gpio17", odd);
		const auto line = request(kWatched);
		EXPECT_FALSE(line->open_value());
		EXPECT_EQ(line->fd(), -1);
		EXPECT_EQ(line->value(), -1);
	}
}

TEST_F(LineTest, ActiveLowIsWritten)
{
	add_line("gpio17");
	const auto line = request(kOutput);
	EXPECT_TRUE(line->set_active_low(true));
	EXPECT_EQ(text("gpio17", "active_low"), "1");
	EXPECT_TRUE(line->set_active_low(false));
	EXPECT_EQ(text("gpio17", "active_low"), "0");
	std::filesystem::remove(root_ / "gpio17" / "active_low");
	EXPECT_FALSE(line->set_active_low(true));
	EXPECT_EQ(errno, ENOENT);
}

TEST_F(LineTest, AClosedLineHasNoDescriptor)
{
	add_line("gpio17", "1\n");
	const auto line = request(kOutput);
	ASSERT_TRUE(line->open_value());
	line->close_value();
	EXPECT_EQ(line->fd(), -1);
	EXPECT_EQ(line->value(), -1);
	EXPECT_FALSE(line->set_value(true));
	EXPECT_EQ(errno, EBADF);
}

TEST(Ugpio, ANullHandleIsRefused)
{
	const std::function<int()> calls[] = {
		[] { return ugpio_full_open(nullptr); },
		[] { return ugpio_set_activelow(nullptr, 1); },
		[] { return ugpio_get_value(nullptr); },
		[] { return ugpio_set_value(nullptr, 1); },
		[] { return ugpio_fd(nullptr); },
	};
	for (const auto &call : calls) {
		errno = 0;
		EXPECT_EQ(call(), -1);
		EXPECT_EQ(errno, EBADF);
	}
	ugpio_close(nullptr);
	ugpio_free(nullptr);
}

TEST(Ugpio, ANameThatIsAPathIsRefused)
{
	for (const char *name :
	     {"", ".", "..", "/", "../gpio17", "a/b", "/etc/passwd"}) {
		errno = 0;
		EXPECT_EQ(ugpio_request_one_named(name, kOutput), nullptr);
		EXPECT_EQ(errno, EINVAL) << name;
	}
	EXPECT_EQ(ugpio_request_one_named(nullptr, kOutput), nullptr);
	EXPECT_EQ(errno, EINVAL);
}

} // namespace
