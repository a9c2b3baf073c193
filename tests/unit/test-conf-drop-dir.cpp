#include "conf-fixture.h"

#include <sys/stat.h>

namespace
{

using testing::ElementsAre;
using testing::IsEmpty;

class ConfDropDirTest : public ConfTest
{
protected:
	ConfDropDirTest()
	{
		EXPECT_EQ(mkdir(path_.c_str(), 0755), 0);
	}
	void add(const std::string &name, const std::string &text) const
	{
		write_file(path_ + name, text);
	}

	const std::string path_ = dir_.file("drop.d/");
};

TEST_F(ConfDropDirTest, EveryFileIsReadWhateverItsName)
{
	add("b.xml", "<port name=\"b\"/>");
	add(".hidden", "<port name=\"hidden\"/>");
	add("a~", "<port name=\"a\"/>");
	EXPECT_TRUE(conf_read_drop_dir(path_.c_str()));
	EXPECT_THAT(port_names(),
		    testing::UnorderedElementsAre("a", "b", "hidden"));
}

TEST_F(ConfDropDirTest, AnEmptyDirectoryIsFine)
{
	EXPECT_TRUE(conf_read_drop_dir(path_.c_str()));
	EXPECT_THAT(log_.messages(), IsEmpty());
}

TEST_F(ConfDropDirTest, ADirectoryThatIsMissingOrNoneFailsSilently)
{
	add("file", "<port/>");
	EXPECT_FALSE(conf_read_drop_dir(dir_.file("missing").c_str()));
	EXPECT_FALSE(conf_read_drop_dir((path_ + "file").c_str()));
	EXPECT_EQ(io_port_list_length(), 0U);
	EXPECT_THAT(log_.messages(), IsEmpty());
}

TEST_F(ConfDropDirTest, TheFirstFileThatFailsEndsTheReading)
{
	add("1", "<wrong></end>");
	add("2", "<wrong></end>");
	EXPECT_FALSE(conf_read_drop_dir(path_.c_str()));
	EXPECT_EQ(log_.messages().size(), 1U);
}

TEST_F(ConfDropDirTest, FilesAreReadInTheOrderOfTheListing)
{
	std::vector<std::string> before_the_fault;
	for (const char *name : {"a", "b", "c", "d", "e"})
		add(name, std::string("<port name=\"") + name + "\"/>");
	add("wrong", "<wrong></end>");
	const util::DirPtr listing(g_dir_open(path_.c_str(), 0, nullptr));
	while (const char *name = g_dir_read_name(listing.get())) {
		if (std::string(name) == "wrong")
			break;
		before_the_fault.emplace_back(name);
	}
	EXPECT_FALSE(conf_read_drop_dir(path_.c_str()));
	EXPECT_EQ(port_names(), before_the_fault);
	EXPECT_THAT(log_.messages(),
		    ElementsAre(critical("Couldn't parse markup file (" +
					 path_ + "/wrong)\n")));
}

TEST_F(ConfDropDirTest, AFileThatIsMaskedByALinkToNothingIsEmpty)
{
	for (const char *name : {"a", "b", "c"})
		add(name, std::string("<port name=\"") + name + "\"/>");
	std::filesystem::create_symlink("/dev/null", path_ + "masked");
	EXPECT_TRUE(conf_read_drop_dir(path_.c_str()));
	EXPECT_THAT(port_names(), testing::UnorderedElementsAre("a", "b", "c"));
	EXPECT_THAT(log_.messages(), testing::IsEmpty());
}

TEST_F(ConfDropDirTest, ADeviceWithoutAnEndCannotBeRead)
{
	std::filesystem::create_symlink("/dev/zero", path_ + "endless");
	EXPECT_FALSE(conf_read_drop_dir(path_.c_str()));
	EXPECT_THAT(log_.messages(),
		    ElementsAre(critical("Couldn't load XML (" + path_ +
					 "/endless)\n")));
}

TEST_F(ConfDropDirTest, ASubdirectoryIsAFileThatCannotBeRead)
{
	EXPECT_EQ(mkdir((path_ + "sub").c_str(), 0755), 0);
	EXPECT_FALSE(conf_read_drop_dir(path_.c_str()));
	EXPECT_THAT(log_.messages(),
		    ElementsAre(critical("Couldn't load XML (" + path_ +
					 "/sub)\n")));
}

} // namespace
