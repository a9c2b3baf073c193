// Configuration files that nobody should have written.

#include "conf-fixture.h"

#include <sys/stat.h>
#include <unistd.h>

#include <ctime>

namespace
{

using testing::ElementsAre;
using testing::IsEmpty;

constexpr size_t kHuge = 65536;

std::string repeated(const std::string &text, size_t times)
{
	std::string result;
	for (size_t i = 0; i < times; ++i)
		result += text;
	return result;
}

/// Without root's right to read everything, for as long as it lives.
class AsNobody
{
public:
	AsNobody() : was_root_(geteuid() == 0)
	{
		constexpr uid_t kNobody = 65534;
		if (was_root_) {
			EXPECT_EQ(seteuid(kNobody), 0);
		}
	}
	~AsNobody()
	{
		if (was_root_) {
			EXPECT_EQ(seteuid(0), 0);
		}
	}
	AsNobody(const AsNobody &) = delete;
	AsNobody &operator=(const AsNobody &) = delete;

private:
	const bool was_root_;
};

class ConfRobustnessTest : public ConfTest
{
protected:
	/// The file cannot be read, and that is said once.
	void expect_unreadable(const std::string &path)
	{
		EXPECT_FALSE(conf_read_configuration(path.c_str()));
		expect_message("Couldn't load XML (" + path + ")\n");
	}
	/// The file's text is no markup, and that is said once.
	void expect_malformed(const std::string &text)
	{
		EXPECT_FALSE(read_text(text));
		expect_message("Couldn't parse markup file (" +
			       dir_.file("conf.xml") + ")\n");
	}

private:
	void expect_message(const std::string &text)
	{
		EXPECT_THAT(log_.messages(), ElementsAre(critical(text)));
		log_.clear();
	}
};

TEST_F(ConfRobustnessTest, AnEmptyFileHasNoPorts)
{
	EXPECT_TRUE(read_text(""));
	EXPECT_EQ(io_port_list_length(), 0U);
	EXPECT_THAT(log_.messages(), IsEmpty());
}

TEST_F(ConfRobustnessTest, ADirectoryCannotBeRead)
{
	expect_unreadable(dir_.file(""));
}

TEST_F(ConfRobustnessTest, APipeIsNotWaitedFor)
{
	const std::string path = dir_.file("pipe");
	ASSERT_EQ(mkfifo(path.c_str(), 0644), 0);
	expect_unreadable(path);
}

TEST_F(ConfRobustnessTest, ADeviceWithoutAnEndIsNotRead)
{
	expect_unreadable("/dev/zero");
}

TEST_F(ConfRobustnessTest, ALinkIsFollowed)
{
	write_file(dir_.file("file"), "<port name=\"a\"/>");
	const std::string link = dir_.file("link");
	ASSERT_EQ(symlink("file", link.c_str()), 0);
	EXPECT_TRUE(conf_read_configuration(link.c_str()));
	EXPECT_THAT(port_names(), ElementsAre("a"));
}

TEST_F(ConfRobustnessTest, ALinkToNothingCannotBeRead)
{
	const std::string link = dir_.file("link");
	ASSERT_EQ(symlink("nowhere", link.c_str()), 0);
	expect_unreadable(link);
}

TEST_F(ConfRobustnessTest, AFileWithoutReadPermissionCannotBeRead)
{
	const std::string path = dir_.file("secret");
	write_file(path, "<port/>");
	ASSERT_EQ(chmod(path.c_str(), 0), 0);
	ASSERT_EQ(chmod(dir_.file("").c_str(), 0755), 0);
	const AsNobody nobody;
	expect_unreadable(path);
}

TEST_F(ConfRobustnessTest, AFileThatFailsInTheReadingCannotBeRead)
{
	expect_unreadable("/proc/self/mem");
}

TEST_F(ConfRobustnessTest, ADropInDirectoryThatCannotBeOpenedFailsSilently)
{
	const std::string path = dir_.file("drop.d");
	ASSERT_EQ(mkdir(path.c_str(), 0), 0);
	ASSERT_EQ(chmod(dir_.file("").c_str(), 0755), 0);
	{
		const AsNobody nobody;
		EXPECT_FALSE(conf_read_drop_dir(path.c_str()));
	}
	EXPECT_THAT(log_.messages(), IsEmpty());
	ASSERT_EQ(chmod(path.c_str(), 0755), 0);
}

TEST_F(ConfRobustnessTest, WhatIsNoMarkupIsRefused)
{
	for (const char *text :
	     {"ports", "< port/>", "<port name=a/>", "<port name/>", "<a></b>",
	      "</port>", "<port name=\"&unknown;\"/>",
	      "<port name=\"&#0;\"/>"}) {
		SCOPED_TRACE(text);
		expect_malformed(text);
	}
	EXPECT_EQ(io_port_list_length(), 0U);
}

TEST_F(ConfRobustnessTest, TextThatIsNotUtf8IsRefused)
{
	expect_malformed("<ports><port name=\"\xff\xfe\"/></ports>");
	expect_malformed("<ports>\xc3\x28</ports>");
	EXPECT_EQ(io_port_list_length(), 0U);
}

TEST_F(ConfRobustnessTest, AZeroByteEndsTheValueThatItStandsIn)
{
	using std::string_literals::operator""s;
	EXPECT_TRUE(read("<port name=\"a\0b\"/>"s));
	EXPECT_THAT(port_names(), ElementsAre("a"));
}

TEST_F(ConfRobustnessTest, AFileMayStopAnywhere)
{
	const std::string text =
		"<ports><port name=\"a\"><backend name=\"null\" x=\"y\">"
		"<z/></backend><event declaration=\"E\"/><keyvalue "
		"key=\"k\"/></port><!-- end --></ports>";
	for (size_t length = 0; length <= text.size(); ++length)
		EXPECT_TRUE(read_text(text.substr(0, length))) << length;
	EXPECT_THAT(port_names(), ElementsAre("a"));
	EXPECT_THAT(log_.messages(), IsEmpty());
}

class OddNameTest : public ConfRobustnessTest,
		    public testing::WithParamInterface<std::string>
{
};

TEST_P(OddNameTest, IsKeptAsItIsAndReplaces)
{
	const std::string value = xml_value(GetParam());
	const std::string port =
		"<port name=" + value + "><param_default_name input=" + value +
		"/><param_defaults usage=" + value +
		"/><properties ioport=" + value + "/><backend name=" + value +
		"/><event declaration=" + value + "/><keyvalue key=" + value +
		" value=" + value + " type=" + value + "/></port>";
	EXPECT_TRUE(read(port + port));
	EXPECT_EQ(io_port_list_length(), 1U);
	EXPECT_EQ(newest()->name, GetParam());
	EXPECT_EQ(newest()->input_name, GetParam());
	EXPECT_EQ(newest()->usage, GetParam());
	EXPECT_EQ(event_of(newest()).name, GetParam());
	EXPECT_EQ(event_of(newest()).keys.front().value, GetParam());
}

INSTANTIATE_TEST_SUITE_P(
	Names, OddNameTest,
	testing::Values("", "\n", "a\nb", "\"quoted\"", "[Group]", "%s%n%d",
			"../../etc", "sm\xc3\xb8rg\xc3\xa5s \xf0\x9f\x9a\xaa",
			std::string(kHuge, 'n')));

TEST_F(ConfRobustnessTest, AHugeBackendItemReachesTheBackend)
{
	const std::string value(kHuge, 'v');
	read("<port name=\"p\"><backend name=\"null\"><x y=\"" + value +
	     "\"/></backend></port>");
	EXPECT_EQ(recorder::count("null.parse_data(p, x, y, " + value + ")"),
		  1U);
}

TEST_F(ConfRobustnessTest, AHugeHardwareIdListIsLookedThrough)
{
	fake_bootblock::set_answer("777");
	EXPECT_TRUE(
		read("<port hwid=\"" + repeated("8:", kHuge / 2) + "7\"/>"));
	EXPECT_EQ(io_port_list_length(), 1U);
}

TEST_F(ConfRobustnessTest, DeepNestingIsRead)
{
	constexpr size_t kDepth = 100000;
	EXPECT_TRUE(read(repeated("<a>", kDepth) + "<port name=\"p\"/>" +
			 repeated("</a>", kDepth)));
	EXPECT_THAT(port_names(), ElementsAre("p"));
}

TEST_F(ConfRobustnessTest, DeeplyNestedPortsAreEachAPort)
{
	constexpr size_t kDepth = 1000;
	EXPECT_TRUE(
		read(repeated("<port>", kDepth) + repeated("</port>", kDepth)));
	EXPECT_EQ(io_port_list_length(), kDepth);
}

TEST_F(ConfRobustnessTest, TenThousandPortsTakeSecondsOfTheProcessor)
{
	constexpr int kPorts = 10000;
	/// A sanitizer's build takes many times as long as the daemon.
	constexpr std::clock_t kLongest = 30 * CLOCKS_PER_SEC;
	std::string ports;
	for (int i = 0; i < kPorts; ++i) {
		const std::string number = std::to_string(i);
		ports += "<port name=\"p" + number +
			 "\"><port_type type=\"output\"/>"
			 "<properties ioport=\"true\"/><port_no nbr=\"" +
			 number +
			 "\"/><backend name=\"null\" a=\"b\"/>"
			 "<event declaration=\"IOPort\"/></port>";
	}
	const std::clock_t start = std::clock();
	EXPECT_TRUE(read(ports));
	EXPECT_LT(std::clock() - start, kLongest);
	EXPECT_EQ(io_port_list_length(), static_cast<unsigned>(kPorts));
}

TEST_F(ConfRobustnessTest, ThousandsOfEventsAndKeysAreKept)
{
	constexpr size_t kMany = 5000;
	EXPECT_TRUE(read("<port name=\"p\">" +
			 repeated("<event declaration=\"E\"/>", kMany) +
			 repeated("<keyvalue key=\"k\"/>", kMany) + "</port>"));
	EXPECT_EQ(newest()->events.size(), kMany);
	EXPECT_EQ(event_of(newest()).keys.size(), kMany);
}

TEST_F(ConfRobustnessTest, AHugeFirstVirtualNumberOverflowsNothing)
{
	EXPECT_TRUE(read("<port/><first_virtual_input nbr=\"2147483647\"/>"));
	EXPECT_EQ(virtual_input_get_first_port_no(), G_MAXINT32);
	const PortRef first = io_port_create_manual_trigger(1);
	const PortRef second = io_port_create_manual_trigger(2);
	EXPECT_EQ(first->number, G_MAXINT32);
	EXPECT_EQ(second->number, G_MININT32);
}

} // namespace
