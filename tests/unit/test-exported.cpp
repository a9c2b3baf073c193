// The objects on the bus that belong to somebody else already.

#include "dbus/iocontrol-dbus.h"
#include "dbus/iosupervised-dbus.h"

#include "list-fixture.h"
#include "log-capture.h"
#include "system-bus.h"
#include "wait-until.h"

#include <iocontrol-state-glue.h>
#include <iosupervised-supervised-glue.h>
#include <qel-connector-glue.h>

#include <algorithm>

namespace
{

/// An interface of the daemon.
struct Served {
	const char *name;
	const char *path;
	/// Something else of that interface.
	GDBusInterfaceSkeleton *(*make)();
	const char *warning;
};

template <typename Skeleton, Skeleton *(*kMake)()>
GDBusInterfaceSkeleton *make_skeleton()
{
	return G_DBUS_INTERFACE_SKELETON(kMake());
}

constexpr Served kServed[] = {
	{"com.vexa.IOControl.State", "/com/vexa/IOControl/State",
	 make_skeleton<IOControlState, iocontrol_state_skeleton_new>,
	 "Failed to register IOControl state dbus interface"},
	{"com.vexa.QEL.Connector", "/com/vexa/QEL/Connector",
	 make_skeleton<QELConnector, qelconnector_skeleton_new>,
	 "Failed to register Connector dbus interface"},
	{"com.vexa.IOSupervised.Supervised",
	 "/com/vexa/IOSupervised/Supervised",
	 make_skeleton<IOSupervisedSupervised,
		       iosupervised_supervised_skeleton_new>,
	 "Failed to register supervised dbus interface"},
};

bool all_served()
{
	return std::ranges::all_of(kServed, [](const Served &served) {
		return bus->has_owner(served.name);
	});
}

bool none_served()
{
	return std::ranges::none_of(kServed, [](const Served &served) {
		return bus->has_owner(served.name);
	});
}

void serve_all()
{
	EXPECT_TRUE(iocontrol_init_dbus());
	iosupervised_init_dbus();
	ASSERT_TRUE(wait_until(all_served));
}

void stop_all()
{
	EXPECT_TRUE(iocontrol_unreg_dbus());
	iosupervised_unreg_dbus();
	EXPECT_TRUE(wait_until(none_served));
}

class ExportedTest : public ListTest, public testing::WithParamInterface<Served>
{
protected:
	~ExportedTest() override
	{
		stop_all();
	}
};

TEST_P(ExportedTest, AnObjectThatIsTakenIsWarnedOfAndNotServed)
{
	const util::ObjectPtr<GDBusInterfaceSkeleton> other(GetParam().make());
	ASSERT_TRUE(g_dbus_interface_skeleton_export(
		other.get(), bus->shared.get(), GetParam().path, nullptr));
	const LogCapture log;
	serve_all();
	EXPECT_THAT(log.warnings(), testing::ElementsAre(GetParam().warning));
	stop_all();
	EXPECT_TRUE(g_dbus_interface_skeleton_has_connection(other.get(),
							     bus->shared.get()))
		<< "not ours to take away";
	g_dbus_interface_skeleton_unexport(other.get());
}

INSTANTIATE_TEST_SUITE_P(EveryInterface, ExportedTest,
			 testing::ValuesIn(kServed),
			 [](const testing::TestParamInfo<Served> &served) {
				 const std::string name = served.param.name;
				 return name.substr(name.rfind('.') + 1);
			 });

} // namespace
