#include "orvadctl/legacy-mapping-file.h"

#include "temp-dir.h"

#include <sys/stat.h>
#include <unistd.h>

using namespace orvadctl;

namespace
{

constexpr const char *AGAIN = "; start the port daemon again, which writes it "
			      "anew";

class LegacyMappingFile : public testing::Test
{
protected:
	const std::string &path() const
	{
		return path_;
	}
	/// The error of a file that must be refused.
	std::string refusal() const
	{
		std::vector<LegacyParameter> parameters;
		util::Error error;

		EXPECT_FALSE(
			read_legacy_mapping(path_.c_str(), parameters, &error));
		return error.message();
	}
	/// The same for one that is written anew at the daemon's start.
	std::string expected(const std::string &reason) const
	{
		return "cannot use " + path_ + ": " + reason + AGAIN;
	}

private:
	TempDir folder_;
	std::string path_ = folder_.file("orvad.xml");
};

} // namespace

TEST_F(LegacyMappingFile, IsRead)
{
	std::vector<LegacyParameter> parameters;
	util::Error error;

	write_file(path(),
		   "<mapping><group name='g'><parameter name='p'>"
		   "<property dbus='a.B' object='/' interface='a.B' name='P'>"
		   "<type type='int'/></property><legacyoptions>"
		   "<legacyoption name='type' value='int'/>"
		   "<legacyoption name='accessControl' value=''/>"
		   "</legacyoptions></parameter></group></mapping>");
	ASSERT_TRUE(read_legacy_mapping(path().c_str(), parameters, &error))
		<< error.message();
	ASSERT_EQ(parameters.size(), 1u);
	EXPECT_EQ(parameters[0].label(), "g.p");
}

TEST_F(LegacyMappingFile, MayBeAsLargeAsAllowed)
{
	std::vector<LegacyParameter> parameters;
	util::Error error;
	std::string text = "<mapping/>";

	text.resize(LARGEST_MAPPING, ' ');
	write_file(path(), text);
	EXPECT_TRUE(read_legacy_mapping(path().c_str(), parameters, &error))
		<< error.message();
	write_file(path(), text + ' ');
	EXPECT_EQ(refusal(), expected("it is larger than 16777216 bytes"));
}

TEST_F(LegacyMappingFile, OfHugeSizeIsRefusedUnread)
{
	write_file(path(), "");
	ASSERT_EQ(truncate(path().c_str(), off_t(1) << 40), 0);
	EXPECT_EQ(refusal(), expected("it is larger than 16777216 bytes"));
}

TEST_F(LegacyMappingFile, ThatIsMissingTellsHowToGetIt)
{
	EXPECT_EQ(refusal(),
		  "there is no " + path() +
			  ", which the port daemon writes: start it with "
			  "\"systemctl start orvad\", without "
			  "--disable_legacy_interface");
}

TEST_F(LegacyMappingFile, ThatIsMalformedSaysWhere)
{
	write_file(path(), "<mapping>\n<group/></mapping>");
	std::string message = refusal();
	EXPECT_TRUE(message.starts_with("cannot use " + path() + ": "));
	EXPECT_NE(message.find("line 2"), std::string::npos) << message;
	EXPECT_TRUE(message.ends_with(AGAIN)) << message;

	write_file(path(), "");
	EXPECT_TRUE(refusal().ends_with(AGAIN));
}

TEST_F(LegacyMappingFile, MustBeARegularFile)
{
	const std::string told = expected("it is not a regular file");

	ASSERT_EQ(mkdir(path().c_str(), 0700), 0);
	EXPECT_EQ(refusal(), told);
	ASSERT_EQ(rmdir(path().c_str()), 0);
	// Nobody writes to it: it must not be waited for.
	ASSERT_EQ(mkfifo(path().c_str(), 0600), 0);
	EXPECT_EQ(refusal(), told);
	ASSERT_EQ(unlink(path().c_str()), 0);
	ASSERT_EQ(symlink("/dev/zero", path().c_str()), 0);
	EXPECT_EQ(refusal(), told);
}
