// The texts of the two files for the older configuration system, against whole
// files that were written by hand.

#include "dbus/legacy-mapping.h"

#include <gtest/gtest.h>

#include <fstream>
#include <iterator>

namespace
{

struct MappingCase {
	/// Of the expected files.
	const char *name;
	std::vector<LegacyPort> ports;
};

const MappingCase kMappingCases[] = {
	{"none", {}},
	{"input", {{0, PORT_INPUT}}},
	{"output", {{3, PORT_OUTPUT}}},
	{"configurable", {{12, PORT_IO_CTRL}}},
	// A number twice, and none.
	{"mixed",
	 {{2, PORT_OUTPUT},
	  {1, PORT_INPUT},
	  {-1, PORT_IO_CTRL},
	  {1, PORT_OUTPUT},
	  {0, PORT_INPUT}}},
};

std::string expected_file(const std::string &name)
{
	std::ifstream file(std::string(EXPECTED_FILES) + "/" + name + ".xml");
	EXPECT_TRUE(file.is_open()) << name;
	return {std::istreambuf_iterator(file), {}};
}

class LegacyMapping : public testing::TestWithParam<MappingCase>
{
};

TEST_P(LegacyMapping, RegistryListsThreeInterfacesOnEveryObject)
{
	EXPECT_EQ(service_registry_text(GetParam().ports),
		  expected_file(std::string(GetParam().name) + ".registry"));
}

TEST_P(LegacyMapping, ParametersComeGroupByGroupInListOrder)
{
	EXPECT_EQ(legacy_mapping_text(GetParam().ports),
		  expected_file(std::string(GetParam().name) + ".mapping"));
}

INSTANTIATE_TEST_SUITE_P(Ports, LegacyMapping, testing::ValuesIn(kMappingCases),
			 [](const auto &tested) { return tested.param.name; });

} // namespace
