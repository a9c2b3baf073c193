#include "dbus/iosupervised-dbus.h"

#include "dbus/exported.h"
#include "dbus/iosupervised-handlers.h"

namespace
{

GDBusInterfaceSkeleton *make_interface()
{
	IOSupervisedSupervised *skeleton =
		iosupervised_supervised_skeleton_new();
	iosupervised_connect_handlers(skeleton);
	return G_DBUS_INTERFACE_SKELETON(skeleton);
}

Exported supervised_interface({
	.name = "com.vexa.IOSupervised.Supervised",
	.path = "/com/vexa/IOSupervised/Supervised",
	.make = make_interface,
	.failure = "Failed to register supervised dbus interface",
});

} // namespace

void iosupervised_init_dbus()
{
	supervised_interface.start();
}

void iosupervised_unreg_dbus()
{
	supervised_interface.stop();
}
