#include "vxlog.h"

#include <glib.h>
#include <gtest/gtest.h>

#include <csignal>
#include <cstdlib>
#include <functional>
#include <set>
#include <sstream>
#include <string>
#include <sys/mman.h>
#include <sys/wait.h>
#include <thread>
#include <unistd.h>
#include <utility>
#include <vector>

namespace
{

// What reaches the descriptor of standard output during action. Nothing is
// flushed here: a text that the library leaves in a buffer is missing.
std::string output_of(const std::function<void()> &action)
{
	const int file = memfd_create("output", MFD_CLOEXEC);
	const int saved = dup(STDOUT_FILENO);
	EXPECT_GE(file, 0);
	fflush(stdout);
	dup2(file, STDOUT_FILENO);
	action();
	dup2(saved, STDOUT_FILENO);
	close(saved);

	std::string text(static_cast<size_t>(lseek(file, 0, SEEK_END)), '\0');
	EXPECT_EQ(pread(file, text.data(), text.size(), 0),
		  static_cast<ssize_t>(text.size()));
	close(file);
	return text;
}

// The level is a number here: a user level is no enumerator of GLib's.
std::string line_of(int level, const char *message,
		    const char *domain = nullptr)
{
	return output_of([&] {
		g_log(domain, static_cast<GLogLevelFlags>(level), "%s",
		      message);
	});
}

constexpr int kLevelUser = 1 << G_LOG_LEVEL_USER_SHIFT;

class VxLog : public testing::Test
{
protected:
	VxLog()
	{
		vx_log_stdout();
	}
};

class VxLogLevel
	: public VxLog,
	  public testing::WithParamInterface<std::pair<int, std::string>>
{
};

TEST_P(VxLogLevel, IsTheFirstWordOfTheLine)
{
	const auto &[level, word] = GetParam();
	EXPECT_EQ(line_of(level, "port 3"), word + " port 3\n");
}

INSTANTIATE_TEST_SUITE_P(
	EveryLevel, VxLogLevel,
	testing::Values(std::pair(G_LOG_LEVEL_CRITICAL, "CRITICAL"),
			std::pair(G_LOG_LEVEL_WARNING, "WARNING"),
			std::pair(G_LOG_LEVEL_MESSAGE, "MESSAGE"),
			std::pair(G_LOG_LEVEL_INFO, "INFO"),
			std::pair(G_LOG_LEVEL_DEBUG, "DEBUG"),
			std::pair(256, "USER"), std::pair(512, "USER"),
			std::pair(1 << 30, "USER")),
	[](const auto &instance) {
		return instance.param.second +
		       std::to_string(instance.param.first);
	});

TEST_F(VxLog, LeavesTheMessageUnchanged)
{
	EXPECT_EQ(line_of(G_LOG_LEVEL_INFO, " 100 %d\tline\nbreak \xff\x01"),
		  "INFO  100 %d\tline\nbreak \xff\x01\n");
	EXPECT_EQ(line_of(G_LOG_LEVEL_INFO, ""), "INFO \n");
}

TEST_F(VxLog, DoesNotShowTheDomain)
{
	EXPECT_EQ(line_of(G_LOG_LEVEL_WARNING, "text", "GLib-GIO"),
		  "WARNING text\n");
}

TEST_F(VxLog, AddsNoSecondLineFeed)
{
	EXPECT_EQ(line_of(G_LOG_LEVEL_WARNING, "text\n"), "WARNING text\n");
	EXPECT_EQ(line_of(kLevelUser, "\n"), "USER \n");
	EXPECT_EQ(line_of(kLevelUser, "text\n\n"), "USER text\n\n");
}

TEST_F(VxLog, WritesALongMessageWhole)
{
	const std::string message(1 << 20, 'x');
	EXPECT_EQ(line_of(G_LOG_LEVEL_INFO, message.c_str()),
		  "INFO " + message + "\n");
}

// Runs action in a child process; its wait status.
int status_of(const std::function<void()> &action)
{
	const pid_t child = fork();
	if (child == 0) {
		action();
		_exit(EXIT_SUCCESS);
	}
	int status = 0;
	EXPECT_EQ(waitpid(child, &status, 0), child);
	return status;
}

TEST_F(VxLog, WritesAnErrorBeforeItEndsTheProcess)
{
	int status = 0;
	const auto output = output_of([&] {
		status = status_of(
			[] { g_log(nullptr, G_LOG_LEVEL_ERROR, "the end"); });
	});
	EXPECT_EQ(output, "ERROR the end\n");
	EXPECT_TRUE(WIFSIGNALED(status));
}

TEST_F(VxLog, WritesAFatalWarningBeforeItEndsTheProcess)
{
	int status = 0;
	const auto output = output_of([&] {
		status = status_of([] {
			g_log_set_always_fatal(G_LOG_LEVEL_WARNING);
			g_log(nullptr, G_LOG_LEVEL_WARNING, "the end");
		});
	});
	EXPECT_EQ(output, "WARNING the end\n");
	EXPECT_TRUE(WIFSIGNALED(status));
}

TEST_F(VxLog, KeepsTheLinesOfSeveralThreadsApart)
{
	constexpr int kThreads = 8;
	constexpr int kLines = 300;
	const auto message = [](int thread, int line) {
		return std::string(500, static_cast<char>('a' + thread)) +
		       std::to_string(line);
	};
	const auto output = output_of([&] {
		std::vector<std::jthread> threads;
		for (int thread = 0; thread < kThreads; thread++)
			threads.emplace_back([&, thread] {
				for (int line = 0; line < kLines; line++)
					g_info("%s",
					       message(thread, line).c_str());
			});
	});

	std::multiset<std::string> expected;
	for (int thread = 0; thread < kThreads; thread++)
		for (int line = 0; line < kLines; line++)
			expected.insert("INFO " + message(thread, line));
	std::multiset<std::string> lines;
	std::istringstream stream(output);
	for (std::string line; std::getline(stream, line);)
		lines.insert(line);
	EXPECT_EQ(lines, expected);
}

} // namespace
