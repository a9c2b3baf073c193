// The properties for the older configuration system where the bus does not
// reach: ports that have left since their objects were made, paths and
// interfaces that no object has, texts that a port can do without.

#include "dbus/legacy-get.h"
#include "dbus/legacy-set.h"

#include "dbus/legacy-object.h"
#include "ioport/io-errors.h"
#include "list-fixture.h"
#include "params/param.h"

/// The parameter store.
bool param_save_for_port(IOPort *port, const char *path)
{
	recorder::note("save(%s, %s)", recorder::name_of(port).c_str(), path);
	return true;
}

namespace
{

using legacy::kInputInterface;
using legacy::kOutputInterface;
using legacy::kPortInterface;
using testing::IsEmpty;

constexpr const char *kObject =
	"/com/vexa/Configuration/Legacy/IOControl/IOPort/1";

class LegacyProperties : public ListTest
{
protected:
	/// The value as text, or what the error says.
	static std::string get(const char *interface, const char *property,
			       const char *path = kObject)
	{
		util::Error error;
		util::VariantPtr value(
			legacy_get_property(path, interface, property, &error));
		EXPECT_EQ(value == nullptr, bool(error));
		if (error)
			return described(error);
		g_variant_ref_sink(value.get());
		return util::CharPtr(g_variant_print(value.get(), FALSE)).get();
	}

	/// What the error says; nothing when it went well.
	static std::string set(const char *interface, const char *property,
			       const char *text, const char *path = kObject)
	{
		util::Error error;
		const util::VariantPtr value(
			g_variant_ref_sink(g_variant_new_bytestring(text)));
		const bool done = legacy_set_property(path, interface, property,
						      value.get(), &error);
		EXPECT_EQ(done, !error);
		return error ? described(error) : "";
	}

	static constexpr const char *kInvalid =
		"org.freedesktop.DBus.Error.InvalidArgs: ";

private:
	static std::string described(const util::Error &error)
	{
		const util::CharPtr name(
			g_dbus_error_encode_gerror(error.get()));
		return std::string(name.get()) + ": " + error.message();
	}
};

TEST_F(LegacyProperties, PathWithoutANumberIsNoPort)
{
	add_port(PORT_INPUT, 1);
	const std::string wrong =
		std::string(kInvalid) + "Incorrect port object";
	for (const char *path :
	     {"/", "/com/vexa/Configuration/Legacy/IOControl/IOPort",
	      "/com/vexa/Configuration/Legacy/IOControl/IOPort/",
	      "/com/vexa/Configuration/Legacy/IOControl/IOPort/x",
	      "/com/vexa/Configuration/Legacy/IOControl/IOPort/2147483648",
	      "/com/vexa/Configuration/Legacy/IOControl/Other/1"}) {
		EXPECT_EQ(get(kPortInterface, "Usage", path), wrong);
		EXPECT_EQ(set(kPortInterface, "Usage", "x", path), wrong);
		// What is the same everywhere needs none.
		EXPECT_EQ(get(kPortInterface, "NbrOfInputs", path), "1");
	}
	EXPECT_THAT(recorder::calls(), IsEmpty());
}

TEST_F(LegacyProperties, PortThatHasLeftIsNoPort)
{
	const std::string none =
		"com.vexa.IOControl.Error.No_port: No such port.";
	EXPECT_EQ(get(kInputInterface, "Name"), none);
	EXPECT_EQ(set(kInputInterface, "Name", "x"), none);
	EXPECT_EQ(get(kPortInterface, "NbrOfIOPorts"), none);
	EXPECT_EQ(get(kPortInterface, "NbrOfOutputs"), "0");
}

TEST_F(LegacyProperties, GettersLiveWithoutAPlaceForTheError)
{
	for (const char *property : {"Usage", "Direction", "Unknown"})
		EXPECT_EQ(legacy_get_property(kObject, kPortInterface, property,
					      nullptr),
			  nullptr);
}

TEST_F(LegacyProperties, MissingTextsReadAsNull)
{
	const PortRef port = add_port(PORT_IO_CTRL, 1);
	port->usage.reset();
	EXPECT_EQ(get(kPortInterface, "Usage"), "'<NULL>'");
	EXPECT_EQ(get(kInputInterface, "Name"), "'<NULL>'");
	EXPECT_EQ(get(kOutputInterface, "Name"), "'<NULL>'");
	EXPECT_EQ(get(kPortInterface, "Name"), "'<NULL>'");
}

TEST_F(LegacyProperties, NameOfNoSideIsThatOfTheDirection)
{
	const PortRef port = add_port(PORT_IO_CTRL, 1);
	port->input_name = "in";
	port->output_name = "out";
	EXPECT_EQ(get(kPortInterface, "Name"), "'in'");
	port->direction = false;
	EXPECT_EQ(get(kPortInterface, "Name"), "'out'");
}

TEST_F(LegacyProperties, ModeThatIsNoneReadsAsEmpty)
{
	const PortRef port = add_port(PORT_OUTPUT, 1);
	port->mode = PORT_MODE_NONE;
	EXPECT_EQ(get(kOutputInterface, "Mode"), "''");
}

TEST_F(LegacyProperties, UnknownPropertyIsRefused)
{
	add_port(PORT_INPUT, 1);
	EXPECT_EQ(get(kPortInterface, "Unknown"),
		  std::string(kInvalid) + "Property 'Unknown' has no value");
	for (const char *name : {"Unknown", "Configurable", "NbrOfInputs"})
		EXPECT_EQ(
			set(kPortInterface, name, "x"),
			kInvalid +
				std::string("Unsupported write of property '") +
				name + "'");
	EXPECT_THAT(recorder::calls(), IsEmpty());
}

TEST_F(LegacyProperties, NameGoesToASideOfThePortOnly)
{
	const PortRef port = add_port(PORT_INPUT, 1);
	const std::string wrong =
		std::string(kInvalid) + "Incorrect value for Name";
	EXPECT_EQ(set(kPortInterface, "Name", "x"), wrong);
	EXPECT_EQ(set(kOutputInterface, "Name", "x"), wrong);
	EXPECT_THAT(recorder::calls(), IsEmpty());
	EXPECT_EQ(set(kInputInterface, "Name", "x"), "");
	EXPECT_EQ(port->input_name, "x");
}

TEST_F(LegacyProperties, LevelOfASideThatThePortDoesNotHave)
{
	add_port(PORT_OUTPUT, 1);
	// The trigger's result does not matter.
	EXPECT_EQ(set(kInputInterface, "Trig", "open"), "");
	EXPECT_EQ(get(kInputInterface, "Trig"), "'closed'");
	EXPECT_EQ(set(kInputInterface, "Active", "open"),
		  std::string(kInvalid) + "Setting Active failed");
	EXPECT_THAT(recorder::calls(), IsEmpty());
}

} // namespace
