#include "orvadctl/vcd-writer.h"
#include "util/glib-ptr.h"

#include <gtest/gtest.h>

#include <cstdio>
#include <cstdlib>

using namespace orvadctl;

namespace
{

constexpr const char *HEADER =
	"$date\n"
	"\t2024-05-01T09:00:01.500+00:00\n"
	"$end\n"
	"$version\n"
	"\torvadctl record\n"
	"$end\n"
	"$comment\n"
	"\t1 is active, 0 inactive, x not known: out of service, or no "
	"daemon.\n"
	"\tTimes are those of arrival, by the monotonic clock.\n"
	"$end\n"
	"$timescale 1 us $end\n"
	"$scope module ports $end\n";

constexpr const char *FIRST = "$var wire 1 ! door $end\n"
			      "$var wire 1 \" lamp $end\n"
			      "$upscope $end\n"
			      "$enddefinitions $end\n"
			      "#0\n"
			      "$dumpvars\n"
			      "1!\n"
			      "x\"\n"
			      "$end\n";

class VcdWriterTest : public testing::Test
{
protected:
	void begin()
	{
		writer_.begin(
			"2024-05-01T09:00:01.500+00:00",
			{{"door", VcdValue::ONE}, {"lamp", VcdValue::UNKNOWN}});
	}
	/// What has been written, as far as a reader of the file sees it now.
	std::string written()
	{
		std::string text;
		char buffer[4096];
		const ssize_t length =
			pread(fileno(file_.get()), buffer, sizeof buffer, 0);
		text.assign(buffer, static_cast<std::size_t>(length));
		return text;
	}

	util::Handle<FILE, fclose> file_{tmpfile()};
	Output output_{file_.get(), false};
	VcdWriter writer_{output_};
};

} // namespace

TEST_F(VcdWriterTest, DeclaresVariablesAndTheirFirstValues)
{
	begin();
	EXPECT_EQ(written(), std::string(HEADER) + FIRST);
}

TEST_F(VcdWriterTest, WithoutVariablesIsADumpToo)
{
	writer_.begin("2024-05-01T09:00:01.500+00:00", {});
	writer_.end(7);
	EXPECT_EQ(written(), std::string(HEADER) + "$upscope $end\n"
						   "$enddefinitions $end\n"
						   "#0\n"
						   "$dumpvars\n"
						   "$end\n"
						   "#7\n");
}

TEST_F(VcdWriterTest, WritesEachChangeAtOnce)
{
	begin();
	EXPECT_TRUE(writer_.change(1500000, 0, VcdValue::ZERO));
	EXPECT_EQ(written(), std::string(HEADER) + FIRST + "#1500000\n0!\n");
	EXPECT_TRUE(writer_.change(G_GINT64_CONSTANT(86400000000), 1,
				   VcdValue::ONE));
	EXPECT_EQ(written(), std::string(HEADER) + FIRST +
				     "#1500000\n0!\n#86400000000\n1\"\n");
}

TEST_F(VcdWriterTest, WritesATimeOnce)
{
	begin();
	writer_.change(5, 0, VcdValue::UNKNOWN);
	writer_.change(5, 1, VcdValue::ZERO);
	writer_.end(5);
	EXPECT_EQ(written(), std::string(HEADER) + FIRST + "#5\nx!\n0\"\n");
}

TEST_F(VcdWriterTest, TimeNeverGoesBack)
{
	begin();
	writer_.change(-3, 0, VcdValue::ZERO);
	writer_.change(9, 0, VcdValue::ONE);
	writer_.change(8, 1, VcdValue::ONE);
	EXPECT_EQ(written(), std::string(HEADER) + FIRST + "0!\n#9\n1!\n1\"\n");
}

TEST_F(VcdWriterTest, LeavesOutWhatIsNoChange)
{
	begin();
	EXPECT_FALSE(writer_.change(5, 0, VcdValue::ONE));
	EXPECT_FALSE(writer_.change(6, 1, VcdValue::UNKNOWN));
	EXPECT_EQ(written(), std::string(HEADER) + FIRST);
}

TEST_F(VcdWriterTest, EndsWithTheTimeUntilWhichValuesHeld)
{
	begin();
	writer_.change(5, 0, VcdValue::ZERO);
	writer_.end(12);
	EXPECT_EQ(written(), std::string(HEADER) + FIRST + "#5\n0!\n#12\n");
}

TEST_F(VcdWriterTest, CodesOfManyVariablesAreDeclaredAsTheyAreUsed)
{
	std::vector<VcdVariable> variables(96, {"v", VcdValue::ZERO});

	writer_.begin("now", variables);
	writer_.change(1, 95, VcdValue::ONE);
	EXPECT_NE(written().find("$var wire 1 \"! v $end\n"),
		  std::string::npos);
	EXPECT_TRUE(written().ends_with("0!!\n0\"!\n$end\n#1\n1\"!\n"));
}
