// The Supervised interface as a client on the bus sees it.

#include "dbus/iosupervised-dbus.h"

#include "ioport/io-errors.h"
#include "list-fixture.h"
#include "params/param.h"
#include "system-bus.h"
#include "util/paths.h"
#include "wait-until.h"

/// The parameter store.
bool param_save_for_port(IOPort *port, const char *path)
{
	recorder::note("save(%s, %s)", recorder::name_of(port).c_str(), path);
	return true;
}

namespace
{

using testing::Contains;
using testing::ElementsAre;
using testing::IsEmpty;

constexpr const char *kName = "com.vexa.IOSupervised.Supervised";
constexpr const char *kPath = "/com/vexa/IOSupervised/Supervised";
constexpr const char *kGeneric = "com.vexa.IOSupervised.Error.Generic";
constexpr const char *kNoPort = "com.vexa.IOSupervised.Error.No_port";
constexpr const char *kNotSupervisable =
	"com.vexa.IOSupervised.Not_supervisable";
constexpr const char *kNotSupervised = "com.vexa.IOSupervised.Not_supervised";
constexpr const char *kBadRange = "com.vexa.IOSupervised.Bad_supervised_range";
constexpr guint kPort = 3;

/// What a call was answered with: the reply's text, or the error's name and
/// message.
struct Answer {
	std::string reply;
	std::string error;
	std::string message;
};

class SupervisedBusTest : public ListTest
{
protected:
	~SupervisedBusTest() override
	{
		iosupervised_unreg_dbus();
		EXPECT_TRUE(wait_until([] { return !has_owner(); }));
	}

	static bool has_owner()
	{
		return bus->has_owner(kName);
	}
	static void serve()
	{
		iosupervised_init_dbus();
		ASSERT_TRUE(wait_until(has_owner));
	}
	static void on_answered(GObject *, GAsyncResult *result, gpointer data)
	{
		auto *answer = static_cast<std::optional<Answer> *>(data);
		util::Error error;
		const util::VariantPtr reply(g_dbus_connection_call_finish(
			bus->client.get(), result, &error));
		answer->emplace();
		if (reply) {
			const util::CharPtr text(
				g_variant_print(reply.get(), TRUE));
			(*answer)->reply = text.get();
			return;
		}
		const util::CharPtr name(
			g_dbus_error_get_remote_error(error.get()));
		GError *own = error.release();
		g_dbus_error_strip_remote_error(own);
		(*answer)->error = name ? name.get() : "";
		(*answer)->message = own->message;
		g_error_free(own);
	}
	static Answer call(const char *method, GVariant *arguments)
	{
		std::optional<Answer> answer;
		g_dbus_connection_call(bus->client.get(), kName, kPath, kName,
				       method, arguments, nullptr,
				       G_DBUS_CALL_FLAGS_NO_AUTO_START, -1,
				       nullptr, on_answered, &answer);
		EXPECT_TRUE(
			wait_until([&answer] { return answer.has_value(); }));
		return answer.value_or(Answer());
	}
	static Answer call(const char *method, guint number)
	{
		return call(method, g_variant_new("(u)", number));
	}
	static Answer set_ranges(const char *state, guint lower, guint upper)
	{
		return call(
			"SetSupervisedRanges",
			g_variant_new("(usuu)", kPort, state, lower, upper));
	}
	static Answer set_supervised(bool on)
	{
		return call("SetSupervised", g_variant_new("(ub)", kPort, on));
	}
	static void expect_reply(const Answer &answer, const char *reply)
	{
		EXPECT_EQ(answer.error, "") << answer.message;
		EXPECT_EQ(answer.reply, reply);
	}
	static void expect_error(const Answer &answer, const char *name,
				 const char *message)
	{
		EXPECT_EQ(answer.error, name) << answer.reply;
		EXPECT_EQ(answer.message, message);
	}
	static std::string saved()
	{
		return std::string("save(p, ") + util::kParameterFile + ")";
	}

	/// For a test that changes the port's table.
	IOPortFunctions table_;
};

/// The interface is served, with a supervisable input number 3 in service.
class SupervisedPortTest : public SupervisedBusTest
{
protected:
	SupervisedPortTest()
	{
		port_->is_setup = true;
		serve();
		recorder::reset();
	}

	const PortRef port_ = add_port(PORT_INPUT, kPort);
};

// ---- being there ----

TEST_F(SupervisedBusTest, TheNameComesAndGoes)
{
	EXPECT_FALSE(has_owner());
	serve();
	expect_reply(call("GetSupervisedPortNumbers", g_variant_new("()")),
		     "(@au [],)");
	iosupervised_unreg_dbus();
	EXPECT_TRUE(wait_until([] { return !has_owner(); }));
}

// ---- which ports ----

TEST_F(SupervisedPortTest, SupervisablePortsAreListedTheNewestFirst)
{
	const PortRef plain = add_port(PORT_INPUT, 4, "plain");
	fake_backends::data(plain.get())->supervisable = false;
	add_port(PORT_IO_CTRL, -1, "newest");
	expect_reply(call("GetSupervisedPortNumbers", g_variant_new("()")),
		     "([uint32 4294967295, 3],)");
	expect_reply(call("GetNumberOfPorts", g_variant_new("()")),
		     "(uint32 3, uint32 0)");
}

TEST_F(SupervisedPortTest, ASupervisablePortIsOneAsAnInputOnly)
{
	expect_reply(call("IsSupervisable", kPort), "(true, false)");
	port_->type = PORT_IO_CTRL;
	port_->direction = false;
	expect_reply(call("IsSupervisable", kPort), "(true, false)");
	fake_backends::data(port_.get())->supervisable = false;
	expect_reply(call("IsSupervisable", kPort), "(false, false)");
}

TEST_F(SupervisedPortTest, APortThatIsNoRealOneIsNotFoundBySome)
{
	port_->properties.reset(g_hash_table_new_full(g_str_hash, g_str_equal,
						      g_free, nullptr));
	io_port_add_property(port_.get(), "virtual", "true");
	for (const char *method : {"IsSupervisable", "GetSupervised"})
		expect_error(call(method, kPort), kNoPort, "No such port.");
	expect_error(set_supervised(true), kNoPort, "No such port.");
	EXPECT_FALSE(port_->supervised);
	expect_reply(call("GetSupervisedRanges", kPort), "(@a(suu) [],)");
	expect_reply(call("GetSupervisedReadout", kPort), "('open', uint32 0)");
	expect_reply(set_ranges("open", 1, 2), "()");
}

// ---- switching ----

TEST_F(SupervisedPortTest, SwitchingIsStoredSavedAndThenDeclared)
{
	add_event(port_, "IOPort");
	for (const bool on : {true, false}) {
		recorder::reset();
		expect_reply(set_supervised(on), "()");
		EXPECT_THAT(recorder::calls(),
			    ElementsAre(on ? "full.set_supervised(p, 1)"
					   : "full.set_supervised(p, 0)",
					saved(),
					"io_event_redeclare_port(p, IOPort)"));
		expect_reply(call("GetSupervised", kPort),
			     on ? "(true,)" : "(false,)");
	}
}

TEST_F(SupervisedPortTest, SwitchingToWhatItIsDoesNothing)
{
	expect_reply(set_supervised(false), "()");
	port_->supervised = true;
	expect_reply(set_supervised(true), "()");
	EXPECT_THAT(recorder::calls(), IsEmpty());
}

TEST_F(SupervisedPortTest, APortThatIsNotSupervisableIsNotSwitched)
{
	fake_backends::data(port_.get())->supervisable = false;
	expect_error(set_supervised(true), kNotSupervisable,
		     "Port is not supervisable.");
	EXPECT_FALSE(port_->supervised);
	EXPECT_THAT(recorder::calls(), IsEmpty());
}

// ---- ranges ----

TEST_F(SupervisedPortTest, RangesAreSetOneByOneSavedAndToldInTheirOrder)
{
	expect_reply(set_ranges("open", 0, 5), "()");
	EXPECT_THAT(recorder::calls(), Contains(saved()));
	expect_reply(set_ranges("cut", 30, 40), "()");
	expect_reply(set_ranges("open", 10, 20), "()");
	EXPECT_EQ(recorder::count("save("), 3U);
	expect_reply(call("GetSupervisedRanges", kPort),
		     "([('cut', uint32 30, uint32 40), ('open', 10, 20)],)");
}

TEST_F(SupervisedPortTest, ABadRangeIsToldAndNotSaved)
{
	expect_error(set_ranges("closed", 200, 100), kBadRange,
		     "Invalid range.");
	expect_error(set_ranges("tampered", 1, 2), kBadRange,
		     "State is undefined.");
	EXPECT_THAT(recorder::calls(), IsEmpty());
	EXPECT_THAT(port_->supervised_ranges, IsEmpty());
}

TEST_F(SupervisedPortTest, RangesThatCannotBeHadAreToldOf)
{
	use_table(port_, &table_);
	table_.get_supervised_ranges = nullptr;
	expect_error(call("GetSupervisedRanges", kPort), kGeneric,
		     "Could not get ranges.");
	expect_error(set_ranges("open", 1, 2), kGeneric,
		     "Failed to get ranges from port.");
}

TEST_F(SupervisedPortTest, ABackendsRefusalOfRangesIsPassedOn)
{
	use_table(port_, &table_);
	table_.set_supervised_ranges = [](IOPort *, SupervisedRangeList *,
					  GError **error) {
		g_set_error_literal(error, io_supervised_error_quark(),
				    IO_SUPERVISED_ERROR_NOT_SUPERVISED,
				    "Not these");
		return false;
	};
	expect_error(set_ranges("open", 1, 2), kNotSupervised, "Not these");
	table_.set_supervised_ranges = nullptr;
	expect_error(set_ranges("open", 1, 2), kGeneric,
		     "Could not set ranges.");
	EXPECT_THAT(recorder::calls(), IsEmpty());
}

// ---- measuring ----

TEST_F(SupervisedPortTest, AReadoutIsWordAndLevel)
{
	fake_backends::data(port_.get())->readout = SUPERVISED_SHORT;
	level_of(port_) = 77;
	expect_reply(call("GetSupervisedReadout", kPort),
		     "('short', uint32 77)");
}

TEST_F(SupervisedPortTest, AReadoutThatFailsPassesItsErrorOn)
{
	fake_backends::data(port_.get())->readout_fails = true;
	expect_error(call("GetSupervisedReadout", kPort), kGeneric,
		     "The line cannot be measured");
}

TEST_F(SupervisedPortTest, AReadoutThatFailsWithoutAReasonIsToldOf)
{
	use_table(port_, &table_);
	table_.get_supervised_readout = [](IOPort *, SupervisedState *,
					   guint32 *,
					   GError **) { return false; };
	expect_error(call("GetSupervisedReadout", kPort), kGeneric,
		     "Could not get supervised readout.");
}

TEST_F(SupervisedPortTest, AReadoutBeginsUndefinedWithLevel0)
{
	use_table(port_, &table_);
	table_.get_supervised_readout = [](IOPort *, SupervisedState *,
					   guint32 *,
					   GError **) { return true; };
	expect_reply(call("GetSupervisedReadout", kPort),
		     "('undefined', uint32 0)");
}

TEST_F(SupervisedPortTest, ABackendThatCannotMeasureIsToldOf)
{
	use_table(port_, &table_);
	table_.get_supervised_readout = nullptr;
	expect_error(call("GetSupervisedReadout", kPort),
		     "com.vexa.IOControl.Error.Generic",
		     "Not applicable for port.");
}

TEST_F(SupervisedPortTest, TheStatesAreTheSameForEveryPort)
{
	expect_reply(call("GetSupervisedStates", kPort),
		     "(uint32 4, [('closed',), ('open',), ('short',), "
		     "('cut',)])");
}

} // namespace
