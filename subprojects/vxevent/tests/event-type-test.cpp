#include "event-type.h"

#include "error-holder.h"
#include "temp-dir.h"
#include "test-handles.h"

#include <fstream>
#include <sys/stat.h>

using namespace vxevent;

namespace
{

constexpr auto kGood = "# A comment.\n"
		       "[Event Type]\n"
		       "Name=com.example.Door\n"
		       "Property=open\n"
		       "Later=ignored\n"
		       "\n"
		       "[Key open]\n"
		       "Type=bool\n"
		       "Tags=onvif-data;isApplicationData\n"
		       "KeyNiceName=Open\n"
		       "\n"
		       "[Key topic0]\n"
		       "Type=string\n"
		       "Value=Device\n"
		       "Namespace=tns1\n"
		       "ValueNiceName=Ger\303\244te\n"
		       "\n"
		       "[Key port]\n"
		       "Type=int\n"
		       "Value=-4\n"
		       "\n"
		       "[Key level]\n"
		       "Type=double\n"
		       "Value=0.5\n"
		       "\n"
		       "[Something else]\n"
		       "Type=nothing\n";

class EventTypeTest : public testing::Test
{
protected:
	std::filesystem::path file(const std::string &type) const
	{
		return directory_.path() / (type + ".conf");
	}
	void define(const std::string &type, const std::string &definition)
	{
		std::ofstream(file(type), std::ios::binary) << definition;
	}
	std::unique_ptr<EventDeclaration> read(const char *type)
	{
		return read_event_type(directory_.path().string(), type,
				       &error_);
	}

	TempDir directory_;
	ErrorHolder error_;
};

TEST_F(EventTypeTest, DefinesADeclaration)
{
	define("door", kGood);
	const auto declaration = read("door");
	ASSERT_TRUE(declaration) << error_.text();
	EXPECT_EQ(text_of(describe(*declaration)),
		  "{'type': <'com.example.Door'>, 'property': <'open'>, "
		  "'keys': <{'level': <0.5>, 'port': <-4>, "
		  "'topic0': <'Device'>}>, "
		  "'nice-names': <{'level': ('', ''), 'open': ('Open', ''), "
		  "'port': ('', ''), 'topic0': ('', 'Ger\303\244te')}>, "
		  "'namespaces': <{'topic0': 'tns1'}>, "
		  "'tags': <{'open': ['onvif-data', 'isApplicationData']}>}");
	EXPECT_TRUE(event_declaration_is_property(declaration.get()));
	EXPECT_EQ(declaration->getter, nullptr);
}

TEST_F(EventTypeTest, NeedNotBeAState)
{
	define("a", "[Event Type]\nName=a\n");
	const auto declaration = read("a");
	ASSERT_TRUE(declaration) << error_.text();
	EXPECT_FALSE(event_declaration_is_property(declaration.get()));
}

TEST_F(EventTypeTest, IsUnknownWithoutAFile)
{
	EXPECT_EQ(read("door"), nullptr);
	EXPECT_TRUE(error_.is(EVENT_ERROR_NO_TYPE));
	EXPECT_EQ(read(std::string(5000, 'x').c_str()), nullptr);
	EXPECT_TRUE(error_.is(EVENT_ERROR_NO_TYPE));
	EXPECT_EQ(event_declaration_new_from_type("com.example.NotThere",
						  &error_),
		  nullptr);
	EXPECT_TRUE(error_.is(EVENT_ERROR_NO_TYPE));
}

TEST_F(EventTypeTest, HasANameThatIsAFileName)
{
	for (const auto *name :
	     {"", ".", "..", "a/b", "/etc/passwd", "../a", kNotUtf8,
	      static_cast<const char *>(nullptr)}) {
		EXPECT_EQ(read(name), nullptr);
		EXPECT_TRUE(error_.is(EVENT_ERROR_INVALID));
	}
}

TEST_F(EventTypeTest, DoesNotLeadOutOfTheDirectory)
{
	define("door", kGood);
	std::filesystem::create_directory(directory_.path() / "sub");
	EXPECT_EQ(read_event_type((directory_.path() / "sub").string(),
				  "../door", &error_),
		  nullptr);
	EXPECT_TRUE(error_.is(EVENT_ERROR_INVALID));
}

struct Malformed {
	const char *name;
	std::string definition;
};

class MalformedEventType : public EventTypeTest,
			   public testing::WithParamInterface<Malformed>
{
};

TEST_P(MalformedEventType, IsRefused)
{
	define("door", GetParam().definition);
	EXPECT_EQ(read("door"), nullptr);
	EXPECT_TRUE(error_.is(EVENT_ERROR_INVALID));
	EXPECT_NE(error_.text().find("door"), std::string::npos);
}

std::string with_key(const std::string &key)
{
	return "[Event Type]\nName=a\n" + key;
}

INSTANTIATE_TEST_SUITE_P(
	EventType, MalformedEventType,
	testing::Values(
		Malformed{"Empty", ""}, Malformed{"NoKeyFile", "<xml/>\n"},
		Malformed{"NoTypeGroup", "[Key a]\nType=int\n"},
		Malformed{"NoName", "[Event Type]\n"},
		Malformed{"EmptyName", "[Event Type]\nName=\n"},
		Malformed{"UnknownProperty",
			  "[Event Type]\nName=a\nProperty=b\n"},
		Malformed{"EmptyProperty", "[Event Type]\nName=a\nProperty=\n"},
		Malformed{"NotUtf8",
			  with_key("[Key a]\nType=string\nValue=\xe9\n")},
		Malformed{"NotUtf8InAComment", with_key("# \xff\n")},
		Malformed{"NulByte", with_key(std::string("# a\0b\n", 6))},
		Malformed{"NoKeyType", with_key("[Key a]\nValue=1\n")},
		Malformed{"UnknownKeyType", with_key("[Key a]\nType=uint\n")},
		Malformed{"EmptyKeyType", with_key("[Key a]\nType=\n")},
		Malformed{"KeyWithoutAName", with_key("[Key ]\nType=int\n")},
		Malformed{"BadInt", with_key("[Key a]\nType=int\nValue=x\n")},
		Malformed{"WideInt",
			  with_key("[Key a]\nType=int\nValue=4294967296\n")},
		Malformed{"EmptyInt", with_key("[Key a]\nType=int\nValue=\n")},
		Malformed{"BadBool",
			  with_key("[Key a]\nType=bool\nValue=maybe\n")},
		Malformed{"BadDouble",
			  with_key("[Key a]\nType=double\nValue=1,5\n")},
		Malformed{"BadEscape",
			  with_key("[Key a]\nType=string\nValue=\\q\n")},
		Malformed{"BadEscapeInTags",
			  with_key("[Key a]\nType=int\nTags=a;\\q;\n")},
		Malformed{"EmptyTag",
			  with_key("[Key a]\nType=int\nTags=a;;b\n")},
		Malformed{"TooLong",
			  with_key(std::string(kMaxDefinitionSize, '#'))},
		Malformed{"MuchTooLong", with_key(std::string(1 << 20, '#'))}),
	[](const auto &instance) { return std::string(instance.param.name); });

TEST_F(EventTypeTest, MayBeAsLongAsTheLimit)
{
	std::string definition = with_key("#");
	definition.resize(kMaxDefinitionSize, 'x');
	define("door", definition);
	EXPECT_TRUE(read("door")) << error_.text();
}

TEST_F(EventTypeTest, IsNoDirectory)
{
	std::filesystem::create_directory(file("door"));
	EXPECT_EQ(read("door"), nullptr);
	EXPECT_TRUE(error_.is(EVENT_ERROR_INVALID));
}

TEST_F(EventTypeTest, IsNoFifoThatNobodyWrites)
{
	ASSERT_EQ(mkfifo(file("door").c_str(), 0600), 0);
	EXPECT_EQ(read("door"), nullptr);
	EXPECT_TRUE(error_.is(EVENT_ERROR_INVALID));
}

TEST_F(EventTypeTest, IsUnknownWhenTheFileIsALinkToNowhere)
{
	std::filesystem::create_symlink("nowhere", file("door"));
	EXPECT_EQ(read("door"), nullptr);
	EXPECT_TRUE(error_.is(EVENT_ERROR_NO_TYPE));
}

} // namespace
