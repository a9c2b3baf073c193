#include "iio-fixture.h"
#include "simboard/event-file.h"
#include "simboard/iio-files.h"
#include "simboard/iio-trigger-files.h"

#include <fcntl.h>

using namespace simboard;

namespace
{

class IioFilesTest : public testing::Test
{
protected:
	/// Null when there is no such file.
	std::shared_ptr<File> find(const std::string &path)
	{
		NodePtr node = root_;

		for (std::size_t start = 0; start < path.size();) {
			std::size_t end =
				std::min(path.find('/', start), path.size());
			auto folder = std::dynamic_pointer_cast<Folder>(node);
			node = folder ? folder->find(
						path.substr(start, end - start))
				      : nullptr;
			start = end + 1;
		}
		return std::dynamic_pointer_cast<File>(node);
	}
	std::unique_ptr<OpenFile> open(const std::string &path)
	{
		std::unique_ptr<OpenFile> opened;

		EXPECT_EQ(find(path)->open(O_RDWR, find(path), opened), 0);
		return opened;
	}
	int write(const std::string &path, std::string_view text)
	{
		return open(DEVICES + path)->write(text, DAEMON);
	}
	std::string read(const std::string &path)
	{
		std::unique_ptr<OpenFile> opened;
		std::string data;
		auto file = find(DEVICES + path);

		EXPECT_EQ(file->open(O_RDONLY, file, opened), 0);
		EXPECT_EQ(opened->read(100, 0, data), 0);
		return data;
	}
	/// The errno of the ioctl, with its answer in answer_.
	int ask(OpenFile &file, unsigned command)
	{
		int ended = -1;

		file.ioctl({command, {}, 0, 0},
			   [&](int error, int, const std::string &answer) {
				   ended = error;
				   answer_ = answer;
			   });
		return ended;
	}

	static const inline std::string DEVICES = "devices/";
	BoardDescription board_ = describe_iio();
	History history_;
	Iio iio_{board_, history_};
	std::shared_ptr<Folder> root_ = std::make_shared<Folder>();
	std::shared_ptr<Folder> devices_ = make_folders(root_, "devices");
	std::shared_ptr<Folder> triggers_ =
		make_trigger_folder(iio_.triggers(), board_, devices_);
	IioFiles files_{iio_,
			board_,
			{devices_, make_folders(root_, "dev"),
			 make_folders(root_, "events"), "/mount/events"}};
	IioDevice &main_ = *iio_.find("main");
	std::string answer_;
};

} // namespace

TEST_F(IioFilesTest, HaveTheNamesThatTheKernelGives)
{
	for (const char *path :
	     {"iio:device0/scan_elements/in_voltage2_type",
	      "iio:device0/buffer/length", "iio:device0/in_voltage0_raw",
	      "iio:device1/events/in_voltage1_thresh_rising_en",
	      "iio:device2/events/in_proximity_thresh_either_en",
	      "iio:device2/events/in_proximity_thresh_falling_value",
	      "iio:device3/events/in_voltage3_aux_thresh_falling_en",
	      "iio:device3/scan_elements/in_voltage3_aux_en"})
		EXPECT_NE(find(DEVICES + path), nullptr) << path;
	for (const char *path :
	     {"iio:device2/events/in_proximity_thresh_rising_en",
	      "iio:device2/buffer/enable",
	      "iio:device1/events/in_voltage1_thresh_either_en",
	      "iio:device0/events/in_voltage0_thresh_rising_en"})
		EXPECT_EQ(find(DEVICES + path), nullptr) << path;
}

TEST_F(IioFilesTest, ShowWhatTheDeviceIs)
{
	EXPECT_EQ(read("iio:device0/name"), "adc0\n");
	EXPECT_EQ(read("iio:device0/in_voltage2_raw"), "100\n");
	EXPECT_EQ(read("iio:device0/scan_elements/in_voltage2_type"),
		  "le:u12/16>>4\n");
	EXPECT_EQ(read("iio:device0/scan_elements/in_voltage2_index"), "1\n");
	EXPECT_EQ(read("iio:device0/trigger/current_trigger"), "");
	EXPECT_EQ(read("iio:device0/buffer/length"), "2\n");
	EXPECT_EQ(iio_.find_channel("main/2")->readings, 1u);
}

TEST_F(IioFilesTest, TakeWhatIsWritten)
{
	EXPECT_EQ(write("iio:device0/in_voltage_sampling_frequency", "12.5"),
		  0);
	EXPECT_EQ(read("iio:device0/in_voltage_sampling_frequency"),
		  "12.500000\n");
	EXPECT_EQ(write("iio:device1/events/in_voltage1_thresh_rising_value",
			"-5"),
		  0);
	EXPECT_EQ(read("iio:device1/events/in_voltage1_thresh_rising_value"),
		  "-5\n");
	EXPECT_EQ(
		write("iio:device2/events/in_proximity_thresh_either_en", "1"),
		0);
	EXPECT_EQ(read("iio:device2/events/in_proximity_thresh_either_en"),
		  "1\n");
	EXPECT_EQ(write("iio:device0/scan_elements/in_voltage2_en", "1\n"), 0);
	EXPECT_EQ(read("iio:device0/scan_elements/in_voltage2_en"), "1\n");
	EXPECT_EQ(write("iio:device0/buffer/length", "9"), 0);
	EXPECT_EQ(read("iio:device0/buffer/length"), "9\n");
}

TEST_F(IioFilesTest, RefuseWhatTheKernelRefuses)
{
	EXPECT_EQ(write("iio:device0/in_voltage2_raw", "5"), EINVAL);
	EXPECT_EQ(write("iio:device0/buffer/length", "x"), EINVAL);
	EXPECT_EQ(write("iio:device0/buffer/enable", "2"), EINVAL);
	EXPECT_EQ(write("iio:device0/buffer/enable", "1"), EINVAL);
	EXPECT_EQ(write("iio:device1/events/in_voltage1_thresh_rising_value",
			"0x5"),
		  EINVAL);
	std::unique_ptr<OpenFile> opened;
	auto name = find(DEVICES + "iio:device0/name");
	EXPECT_EQ(name->open(O_WRONLY, name, opened), EACCES);
}

TEST_F(IioFilesTest, FailWhenSomebodyWants)
{
	std::string data;

	iio_.set_file_fault(main_, "buffer/enable", EIO);
	EXPECT_EQ(write("iio:device0/buffer/enable", "0"), EIO);
	EXPECT_EQ(write("iio:device0/buffer/length", "8"), 0);
	iio_.set_fault(main_, IioAccess::WRITE, EACCES);
	EXPECT_EQ(write("iio:device0/trigger/current_trigger", "x"), EACCES);
	EXPECT_EQ(read("iio:device0/name"), "adc0\n");
}

TEST_F(IioFilesTest, AFolderIsATrigger)
{
	EXPECT_EQ(triggers_->make_child("timer", DAEMON), 0);
	EXPECT_EQ(triggers_->make_child("timer", DAEMON), EEXIST);
	EXPECT_EQ(read("trigger0/name"), "timer\n");
	EXPECT_EQ(read("trigger0/sampling_frequency"), "100.000000\n");
	EXPECT_EQ(write("trigger0/sampling_frequency", "0"), EINVAL);
	EXPECT_EQ(write("trigger0/sampling_frequency", "10"), 0);
	EXPECT_EQ(write("iio:device0/trigger/current_trigger", "timer\n"), 0);
	EXPECT_EQ(read("iio:device0/trigger/current_trigger"), "timer\n");
	EXPECT_EQ(triggers_->remove_child("timer", DAEMON), 0);
	EXPECT_EQ(triggers_->find("timer"), nullptr);
	EXPECT_EQ(find(DEVICES + "trigger0/name"), nullptr);
	EXPECT_EQ(devices_->make_child("x", DAEMON), EPERM);
	EXPECT_EQ(devices_->remove_child("iio:device0", DAEMON), EPERM);
}

TEST_F(IioFilesTest, ADeviceIsOpenOnce)
{
	auto file = open("dev/iio:device0");
	std::unique_ptr<OpenFile> other;
	std::string data;

	EXPECT_EQ(find("dev/iio:device0")
			  ->open(O_RDONLY, find("dev/iio:device0"), other),
		  EBUSY);
	EXPECT_EQ(file->poll(), 0u);
	EXPECT_EQ(file->write("x", DAEMON), EPERM);
	EXPECT_EQ(file->read(4, 0, data), 0) << "it never ran";
	file.reset();
	EXPECT_NE(open("dev/iio:device0"), nullptr);
}

TEST_F(IioFilesTest, SamplesWakeTheirReader)
{
	auto file = open("dev/iio:device0");
	std::string data;
	int woken = 0;

	file->when_readable([&woken] { ++woken; });
	triggers_->make_child("timer", DAEMON);
	write("trigger0/sampling_frequency", "1000");
	write("iio:device0/trigger/current_trigger", "timer");
	write("iio:device0/scan_elements/in_voltage2_en", "1");
	EXPECT_EQ(write("iio:device0/buffer/enable", "1"), 0);
	EXPECT_EQ(file->read(2, 0, data), OpenFile::NOTHING_YET);
	while (main_.buffer.count() == 0)
		g_main_context_iteration(nullptr, TRUE);
	EXPECT_GT(woken, 0);
	EXPECT_EQ(file->poll(), unsigned{POLLIN | POLLRDNORM});
	EXPECT_EQ(file->read(2, 0, data), 0);
	EXPECT_EQ(data, "\x40\x06");
}

TEST_F(IioFilesTest, WhatIsGoneIsSilent)
{
	auto file = open("dev/iio:device1");
	auto events = open("events/iio:device1");
	std::string data;
	int woken = 0;

	file->when_readable([&woken] { ++woken; });
	iio_.set_plugged(*iio_.find("watch"), false);
	EXPECT_EQ(woken, 1);
	for (OpenFile *gone : {file.get(), events.get()}) {
		EXPECT_EQ(gone->read(16, 0, data), ENODEV);
		EXPECT_EQ(gone->poll(), 0u);
		EXPECT_EQ(ask(*gone, EVENT_FILE_IOCTL), ENODEV);
	}
	EXPECT_EQ(find("dev/iio:device1"), nullptr);
	iio_.set_plugged(*iio_.find("watch"), true);
	EXPECT_EQ(file->read(16, 0, data), ENODEV);
	auto again = open("dev/iio:device1");
	file.reset();
	EXPECT_TRUE(iio_.find("watch")->open) << "that was another one";
}

TEST_F(IioFilesTest, TellWhereEventsAreRead)
{
	auto file = open("dev/iio:device1");

	EXPECT_EQ(ask(*file, EVENT_FILE_IOCTL), 0);
	EXPECT_EQ(answer_.size(), sizeof(EventFilePath));
	EXPECT_STREQ(answer_.c_str(), "/mount/events/iio:device1");
	EXPECT_EQ(ask(*file, EVENT_FILE_IOCTL + 1), ENOTTY);
	iio_.set_fault(*iio_.find("watch"), IioAccess::IOCTL, EMFILE);
	EXPECT_EQ(ask(*file, EVENT_FILE_IOCTL), EMFILE);
	EXPECT_EQ(ask(*open("dev/iio:device0"), EVENT_FILE_IOCTL), ENODEV)
		<< "it has no events";
}

TEST_F(IioFilesTest, EventsAreReadWhole)
{
	auto events = open("events/iio:device1");
	IioChannel &channel = *iio_.find_channel("watch/1");
	std::string data;

	EXPECT_EQ(events->read(15, 0, data), EINVAL);
	EXPECT_EQ(events->read(16, 0, data), OpenFile::NOTHING_YET);
	write("iio:device1/events/in_voltage1_thresh_rising_value", "50");
	write("iio:device1/events/in_voltage1_thresh_rising_en", "1");
	iio_.set_value(channel, 50);
	EXPECT_EQ(events->poll(), unsigned{POLLIN | POLLRDNORM});
	EXPECT_EQ(events->read(100, 0, data), 0);
	EXPECT_EQ(data.size(), 16u);
	iio_.set_fault(*channel.device, IioAccess::EVENT, SHORT_READ);
	iio_.set_value(channel, 0);
	iio_.set_value(channel, 50);
	EXPECT_EQ(events->read(16, 0, data), 0);
	EXPECT_EQ(data.size(), 8u);
}
