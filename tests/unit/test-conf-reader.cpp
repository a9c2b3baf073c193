#include "conf-fixture.h"

namespace
{

using testing::ElementsAre;
using testing::IsEmpty;

constexpr const char *kHwidWarning = "Could not get the hardware id";

LogCapture::Message warning(const std::string &text)
{
	return {G_LOG_LEVEL_WARNING, text};
}

using ConfReaderTest = ConfTest;

TEST_F(ConfReaderTest, PortsAreAddedNewestFirst)
{
	EXPECT_TRUE(read("<port name=\"a\"/><port name=\"b\"/>"));
	EXPECT_THAT(port_names(), ElementsAre("a", "b"));
	EXPECT_EQ(newest()->name, "b");
}

TEST_F(ConfReaderTest, ElementsDescribeTheNewestPortWhateverTheNesting)
{
	EXPECT_TRUE(read("<port name=\"a\"><port name=\"b\"/>"
			 "<port_no nbr=\"4\"/></port><port_type "
			 "type=\"output\"/>"));
	EXPECT_EQ(newest()->number, 4);
	EXPECT_EQ(newest()->type, PORT_OUTPUT);
	EXPECT_EQ(io_port_list_nth_data(1)->number, -1);
}

TEST_F(ConfReaderTest, APortIsTheRootElementAsWell)
{
	EXPECT_TRUE(read_text("<port name=\"a\"/>"));
	EXPECT_THAT(port_names(), ElementsAre("a"));
}

TEST_F(ConfReaderTest, TextIsIgnored)
{
	EXPECT_TRUE(read("Ports:<!-- none --><port name=\"a\">in &gt; "
			 "out</port>"));
	EXPECT_THAT(port_names(), ElementsAre("a"));
}

TEST_F(ConfReaderTest, AMissingFileIsCritical)
{
	const std::string path = dir_.file("missing.xml");
	EXPECT_FALSE(conf_read_configuration(path.c_str()));
	EXPECT_THAT(
		log_.messages(),
		ElementsAre(critical("Couldn't load XML (" + path + ")\n")));
}

TEST_F(ConfReaderTest, AMarkupErrorIsCriticalAndKeepsWhatWasRead)
{
	EXPECT_FALSE(read("<port name=\"a\"><port_no nbr=\"3\"/></prot>"
			  "<port name=\"b\"/>"));
	EXPECT_THAT(port_names(), ElementsAre("a"));
	EXPECT_EQ(newest()->number, 3);
	EXPECT_THAT(log_.messages(),
		    ElementsAre(critical("Couldn't parse markup file (" +
					 dir_.file("conf.xml") + ")\n")));
}

TEST_F(ConfReaderTest, AFileThatStopsInsideAnElementIsAccepted)
{
	EXPECT_TRUE(read_text("<ports><port name=\"a\"><port_no nbr=\"3\""));
	EXPECT_THAT(port_names(), ElementsAre("a"));
	EXPECT_EQ(newest()->number, -1);
	EXPECT_THAT(log_.messages(), IsEmpty());
}

TEST_F(ConfReaderTest, AnElementBeforeTheFirstPortHasNoEffect)
{
	EXPECT_TRUE(read("<first_virtual_input nbr=\"9\"/>"
			 "<properties ioport=\"true\"/><event/><keyvalue/>"
			 "<backend name=\"null\" key=\"value\"/>"));
	EXPECT_EQ(virtual_input_get_first_port_no(), kDefaultFirstVirtualPort);
	EXPECT_EQ(io_port_list_length(), 0U);
	EXPECT_THAT(log_.messages(), IsEmpty());
}

TEST_F(ConfReaderTest, ALaterFileGoesOnWithTheLastPort)
{
	read("<port name=\"a\"/><port name=\"b\"/>");
	EXPECT_TRUE(read("<properties ioport=\"true\"/><port name=\"c\"/>"));
	EXPECT_TRUE(io_port_get_property(io_port_list_get_by_name("b").get(),
					 "ioport"));
	EXPECT_FALSE(io_port_get_property(io_port_list_get_by_name("a").get(),
					  "ioport"));
	EXPECT_FALSE(io_port_get_property(newest().get(), "ioport"));
}

TEST_F(ConfReaderTest, APortOfTheSameNameReplacesTheEarlierOne)
{
	read("<port name=\"in1\"><port_no nbr=\"1\"/>"
	     "<param_default_name input=\"Old\"/></port>"
	     "<port name=\"in2\"/>");
	EXPECT_TRUE(read("<port name=\"in1\"><port_no nbr=\"3\"/></port>"));
	EXPECT_THAT(port_names(), ElementsAre("in2", "in1"));
	EXPECT_EQ(newest()->number, 3);
	EXPECT_EQ(newest()->input_name, std::nullopt);
}

TEST_F(ConfReaderTest, AReplacedPortIsReleasedWithItsBackend)
{
	read("<port name=\"in1\"><backend name=\"virtual\"/></port>");
	recorder::reset();
	read("<port name=\"in1\"/>");
	EXPECT_EQ(recorder::count("virtual.free("), 1U);
}

TEST_F(ConfReaderTest, OnlyOneOfSeveralPortsOfThatNameIsReplaced)
{
	read("<port optional=\"no\" name=\"a\"/><port optional=\"no\" "
	     "name=\"a\"/><port name=\"a\"/>");
	EXPECT_THAT(port_names(), ElementsAre("a", "a"));
}

TEST_F(ConfReaderTest, ANameThatDoesNotComeFirstReplacesNothing)
{
	read("<port name=\"in1\"/>");
	read("<port optional=\"true\" name=\"in1\"/>");
	EXPECT_THAT(port_names(), ElementsAre("in1", "in1"));
}

TEST_F(ConfReaderTest, ANameBehindTheHardwareIdReplaces)
{
	fake_bootblock::set_answer("777");
	read("<port name=\"in1\"/>");
	read("<port hwid=\"7\" name=\"in1\"/>");
	EXPECT_THAT(port_names(), ElementsAre("in1"));
}

TEST_F(ConfReaderTest, APortForOtherHardwareReplacesNothing)
{
	fake_bootblock::set_answer("777");
	read("<port name=\"in1\"><port_no nbr=\"1\"/></port>");
	read("<port hwid=\"8\" name=\"in1\"><port_no nbr=\"2\"/></port>");
	EXPECT_EQ(newest()->number, 1);
}

struct HwidRow {
	const char *id;
	const char *prefixes;
	bool accepted;
};

class HardwareIdTest : public ConfTest,
		       public testing::WithParamInterface<HwidRow>
{
};

TEST_P(HardwareIdTest, AnyPrefixAcceptsThePort)
{
	fake_bootblock::set_answer(GetParam().id);
	EXPECT_TRUE(read(std::string("<port hwid=\"") + GetParam().prefixes +
			 "\" name=\"a\"/>"));
	EXPECT_EQ(io_port_list_length(), GetParam().accepted ? 1U : 0U);
	EXPECT_THAT(log_.messages(), IsEmpty());
}

INSTANTIATE_TEST_SUITE_P(Prefixes, HardwareIdTest,
			 testing::Values(HwidRow{"7A2.1", "7A2", true},
					 HwidRow{"7A2.1", "8:7A2", true},
					 HwidRow{"7A2.1", "8:9", false},
					 HwidRow{"7A2.1", "7a2", false},
					 HwidRow{"7A2.1", "7A2.1", true},
					 HwidRow{"7A2.1", "7A2.10", false},
					 HwidRow{"7A2.1", "8::9", true},
					 HwidRow{"7A2.1", "8:", true},
					 HwidRow{"7A2.1", ":", true},
					 HwidRow{"7A2.1", " 7A2", false},
					 HwidRow{"", "7", false},
					 HwidRow{"", "7:", true}));

TEST_F(ConfReaderTest, APortForOtherHardwareIsSkippedWithEverythingInIt)
{
	fake_bootblock::set_answer("777");
	EXPECT_TRUE(read("<port name=\"a\"/><port hwid=\"8\" name=\"b\">"
			 "<port_no nbr=\"4\"/><event/>"
			 "<backend name=\"null\" key=\"v\"><x y=\"z\"/>"
			 "</backend><first_virtual_input nbr=\"9\"/></port>"
			 "<port_type type=\"output\"/>"));
	EXPECT_THAT(port_names(), ElementsAre("a"));
	EXPECT_EQ(newest()->number, -1);
	EXPECT_EQ(newest()->functions, nullptr);
	EXPECT_THAT(newest()->events, IsEmpty());
	EXPECT_EQ(virtual_input_get_first_port_no(), kDefaultFirstVirtualPort);
	EXPECT_EQ(newest()->type, PORT_OUTPUT);
}

TEST_F(ConfReaderTest, TheFirstEndOfAPortEndsTheSkipping)
{
	fake_bootblock::set_answer("777");
	read("<port hwid=\"8\"><port name=\"inner\"/><port "
	     "name=\"b\"/></port>");
	EXPECT_THAT(port_names(), ElementsAre("b"));
}

TEST_F(ConfReaderTest, AHardwareIdThatDoesNotComeFirstIsNotLookedAt)
{
	EXPECT_TRUE(read("<port name=\"a\" hwid=\"8\"/>"));
	EXPECT_THAT(port_names(), ElementsAre("a"));
	EXPECT_EQ(recorder::count("bootblock_read_param"), 0U);
}

TEST_F(ConfReaderTest, AnUnknownHardwareIdAcceptsEveryPortWithAWarning)
{
	EXPECT_TRUE(read("<port hwid=\"8\" name=\"a\"/>"
			 "<port hwid=\"9\" name=\"b\"/>"));
	EXPECT_THAT(port_names(), ElementsAre("a", "b"));
	EXPECT_THAT(log_.messages(),
		    ElementsAre(warning(kHwidWarning), warning(kHwidWarning)));
}

TEST_F(ConfReaderTest, AnEmptyPrefixListAcceptsThePortWithAWarning)
{
	fake_bootblock::set_answer("777");
	EXPECT_TRUE(read("<port hwid=\"\" name=\"a\"/>"));
	EXPECT_THAT(port_names(), ElementsAre("a"));
	EXPECT_THAT(log_.messages(), ElementsAre(warning(kHwidWarning)));
}

TEST_F(ConfReaderTest, TheHardwareIdIsAskedForOncePerFile)
{
	fake_bootblock::set_answer("777");
	const std::string ports = "<port hwid=\"7\"/><port hwid=\"8\"/>"
				  "<port hwid=\"77\"/>";
	read(ports);
	EXPECT_THAT(recorder::count("bootblock_read_param(HWID)"), 1U);
	fake_bootblock::set_answer("888");
	read(ports);
	EXPECT_EQ(recorder::count("bootblock_read_param(HWID)"), 2U);
	EXPECT_EQ(io_port_list_length(), 3U);
}

TEST_F(ConfReaderTest, AHardwareIdThatCannotBeHadIsAskedForOncePerFile)
{
	const std::string ports = "<port hwid=\"7\"/><port hwid=\"8\"/>";
	read(ports);
	EXPECT_EQ(recorder::count("bootblock_read_param(HWID)"), 1U);
	read(ports + "</wrong>");
	EXPECT_EQ(recorder::count("bootblock_read_param(HWID)"), 2U);
	read(ports);
	EXPECT_EQ(recorder::count("bootblock_read_param(HWID)"), 3U);
}

TEST_F(ConfReaderTest, FilesWithoutHardwareIdsDoNotAskForIt)
{
	read("<port name=\"a\"/>");
	EXPECT_EQ(recorder::count("bootblock_read_param"), 0U);
}

TEST_F(ConfReaderTest, TheBackendGetsEverythingBehindItsName)
{
	read("<port name=\"p\"><backend name=\"sysfs\" kind=\"k\">"
	     "<device path=\"/x\" timeout=\"5\"><deep a=\"b\"/></device>"
	     "</backend><port_no nbr=\"3\"/></port>");
	EXPECT_THAT(recorder::calls(),
		    testing::IsSupersetOf(
			    {"sysfs.parse_data(p, backend, kind, k)",
			     "sysfs.parse_data(p, device, path, /x)",
			     "sysfs.parse_data(p, device, timeout, 5)",
			     "sysfs.parse_data(p, deep, a, b)"}));
	EXPECT_EQ(recorder::count("sysfs.parse_data"), 4U);
	EXPECT_EQ(newest()->number, 3);
}

TEST_F(ConfReaderTest, ElementsInsideABackendDescribeThePortToo)
{
	read("<port name=\"p\"><backend name=\"null\"><port_no nbr=\"3\"/>"
	     "</backend></port>");
	EXPECT_EQ(recorder::count("null.parse_data(p, port_no, nbr, 3)"), 1U);
	EXPECT_EQ(newest()->number, 3);
}

TEST_F(ConfReaderTest, TheNameOfASecondBackendIsNotHandedOverEither)
{
	read("<port name=\"p\"><backend name=\"null\"/>"
	     "<backend name=\"null\" a=\"1\"/></port>");
	EXPECT_EQ(recorder::count("null.parse_data"), 1U);
	EXPECT_EQ(recorder::count("null.parse_data(p, backend, a, 1)"), 1U);
}

TEST_F(ConfReaderTest, ABackendsNameThatComesSecondBindsAllTheSame)
{
	read("<port name=\"p\"><backend a=\"1\" name=\"null\" b=\"2\"/>"
	     "</port>");
	EXPECT_NE(newest()->functions, nullptr);
	EXPECT_EQ(recorder::count("null.parse_data"), 1U);
	EXPECT_EQ(recorder::count("null.parse_data(p, backend, b, 2)"), 1U);
}

TEST_F(ConfReaderTest, ABackendWithoutAttributesLeavesItsElementsAlone)
{
	read("<port name=\"p\"><backend name=\"null\"/><backend>"
	     "<x a=\"b\"/></backend></port>");
	EXPECT_EQ(recorder::count("null.parse_data"), 0U);
}

TEST_F(ConfReaderTest, ItemsWithoutABackendAreIgnored)
{
	EXPECT_TRUE(read("<port name=\"p\"><backend name=\"what\" a=\"b\">"
			 "<x y=\"z\"/></backend></port>"));
	EXPECT_EQ(recorder::count("null.parse_data"), 0U);
	EXPECT_EQ(newest()->functions, nullptr);
	EXPECT_THAT(log_.messages(), IsEmpty());
}

TEST_F(ConfReaderTest, AnIgnoredPortLeftOpenHidesTheNextFilesFirstElements)
{
	fake_bootblock::set_answer("777");
	read_text("<ports><port hwid=\"8\">");
	EXPECT_TRUE(read("<port name=\"a\"><port_no nbr=\"1\"/></port>"
			 "<port name=\"b\"/>"));
	EXPECT_THAT(port_names(), ElementsAre("b"));
}

TEST_F(ConfReaderTest, ABackendLeftOpenGetsTheNextFilesFirstElements)
{
	read_text("<port name=\"p\"><backend name=\"null\" a=\"b\">");
	recorder::reset();
	EXPECT_TRUE(read("<port_no nbr=\"1\"/><backend name=\"null\"/>"
			 "<port_no nbr=\"2\"/>"));
	EXPECT_THAT(recorder::calls(),
		    ElementsAre("null.parse_data(p, port_no, nbr, 1)",
				"null.parse_data(p, backend, name, null)"));
	EXPECT_EQ(newest()->number, 2);
}

} // namespace
