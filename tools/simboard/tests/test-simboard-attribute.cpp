#include "simboard/attribute.h"

#include <gtest/gtest.h>

#include <fcntl.h>
#include <poll.h>

#include <cerrno>
#include <climits>

using namespace simboard;

namespace
{

constexpr unsigned QUIET = POLLIN | POLLOUT | POLLRDNORM | POLLWRNORM;
constexpr unsigned NEWS = QUIET | POLLERR | POLLPRI;

class AttributeTest : public testing::Test
{
protected:
	std::unique_ptr<OpenFile> open(int flags = O_RDWR)
	{
		std::unique_ptr<OpenFile> opened;
		EXPECT_EQ(file_->open(flags, file_, opened), 0);
		return opened;
	}
	static std::string read(OpenFile &file, off_t offset = 0,
				std::size_t size = 100)
	{
		std::string data;
		EXPECT_EQ(file.read(size, offset, data), 0);
		return data;
	}

	std::string text_ = "1\n";
	std::string written_;
	int error_ = 0;
	AttributePtr file_ = std::make_shared<Attribute>(
		0644,
		[this](std::string &shown) {
			shown = text_;
			return error_;
		},
		[this](std::string_view text, pid_t) {
			written_ = text;
			return error_;
		});
};

} // namespace

TEST_F(AttributeTest, IsNewsUntilItIsRead)
{
	auto file = open();

	EXPECT_EQ(file->poll(), NEWS);
	EXPECT_EQ(read(*file), "1\n");
	EXPECT_EQ(file->poll(), QUIET);
	file_->notify();
	file_->notify();
	EXPECT_EQ(file->poll(), NEWS);
	EXPECT_EQ(file->poll(), NEWS) << "poll acknowledges nothing";
	EXPECT_EQ(read(*file), "1\n");
	EXPECT_EQ(file->poll(), QUIET);
}

TEST_F(AttributeTest, EachOpenFileHasItsOwnNews)
{
	auto one = open();
	auto other = open();

	read(*one);
	EXPECT_EQ(one->poll(), QUIET);
	EXPECT_EQ(other->poll(), NEWS);
}

TEST_F(AttributeTest, ReadingOnAcknowledgesToo)
{
	for (const off_t offset : {1, 2}) {
		auto file = open();
		read(*file);
		file_->notify();
		EXPECT_EQ(file->poll(), NEWS);
		read(*file, offset);
		EXPECT_EQ(file->poll(), QUIET) << offset;
	}
}

TEST_F(AttributeTest, AWrittenTextEndsAtAZero)
{
	auto file = open(O_WRONLY);

	EXPECT_EQ(file->write(std::string_view("in\0\n", 4), 1), 0);
	EXPECT_EQ(written_, "in");
}

TEST_F(AttributeTest, ReadingElsewhereMakesTheTextAnew)
{
	auto file = open();

	EXPECT_EQ(read(*file, 1), "\n");
	EXPECT_EQ(read(*file, 50), "");
}

TEST_F(AttributeTest, AReadThatFailsAcknowledgesToo)
{
	auto file = open();
	std::string data;

	error_ = EIO;
	EXPECT_EQ(file->read(100, 0, data), EIO);
	EXPECT_EQ(file->poll(), QUIET);
}

TEST_F(AttributeTest, WakesOnceForTheNewsThatWereWaitedFor)
{
	auto file = open();
	int wakes = 0;

	file->when_ready([&] { ++wakes; });
	file_->notify();
	file_->notify();
	EXPECT_EQ(wakes, 1);
	file->when_ready([&] { ++wakes; });
	file.reset();
	file_->notify();
	EXPECT_EQ(wakes, 1) << "nobody waits on a closed file";
}

TEST_F(AttributeTest, OfARemovedFileThereIsAlwaysNewsAndNothingElse)
{
	auto file = open();
	std::unique_ptr<OpenFile> late;
	std::string data;
	int wakes = 0;

	read(*file);
	file->when_ready([&] { ++wakes; });
	file_->remove();
	EXPECT_EQ(wakes, 1);
	for (int i = 0; i < 2; ++i) {
		EXPECT_EQ(file->read(100, 0, data), ENODEV);
		EXPECT_EQ(file->write("1", 0), ENODEV);
		EXPECT_EQ(file->poll(), NEWS);
	}
	EXPECT_EQ(file_->open(O_RDONLY, file_, late), ENODEV);
}

TEST_F(AttributeTest, HandsOverWholeTexts)
{
	auto file = open();

	EXPECT_EQ(file->write("high\n", 0), 0);
	EXPECT_EQ(written_, "high\n");
	error_ = EINVAL;
	EXPECT_EQ(file->write("x", 0), EINVAL);
}

TEST_F(AttributeTest, WhatCannotBeDoneIsRefusedAtOnce)
{
	std::unique_ptr<OpenFile> opened;
	auto sink = std::make_shared<Attribute>(
		0200, nullptr, [](std::string_view, pid_t) { return 0; });

	EXPECT_EQ(sink->open(O_RDONLY, sink, opened), EACCES);
	EXPECT_EQ(sink->open(O_RDWR, sink, opened), EACCES);
	EXPECT_EQ(sink->open(O_WRONLY, sink, opened), 0);
}

TEST(ParseNumber, ReadsNumbersAsTheKernelDoes)
{
	const std::pair<const char *, long> CASES[] = {
		{"17", 17}, {"17\n", 17}, {"0", 0},
		{"-1", -1}, {"+5", 5},    {"0x1f", 31},
		{"010", 8}, {"00", 0},    {"1000000", 1000000}};

	for (auto &[text, expected] : CASES) {
		long number = 99;
		EXPECT_EQ(parse_number(text, number), 0) << text;
		EXPECT_EQ(number, expected) << text;
	}
}

TEST(ParseNumber, RefusesEverythingElse)
{
	long number = 0;

	for (const char *text : {"", "\n", " 1", "1 ", "1\n\n", "x", "1x", "0x",
				 "--1", "1.5", "09"})
		EXPECT_EQ(parse_number(text, number), EINVAL) << text;
	EXPECT_EQ(parse_number(std::string_view("1\0", 2), number), EINVAL);
	EXPECT_EQ(parse_number("99999999999999999999", number), ERANGE);
}
