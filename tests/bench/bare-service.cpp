/// What GDBus itself costs: a service with the daemon's generated interface
/// and handlers that do nothing but answer.
///
///     bare-service NAME

#include "bare-bus.h"
#include "util/glib-ptr.h"

namespace
{

using Invocation = GDBusMethodInvocation;

gboolean on_get_state(IOControlState *object, Invocation *invocation, guint,
		      gpointer)
{
	iocontrol_state_complete_get_state(object, invocation, FALSE);
	return TRUE;
}

gboolean on_set_virtual(IOControlState *object, Invocation *invocation,
			guint number, gboolean state, gpointer)
{
	iocontrol_state_emit_port_changed(object, static_cast<gint>(number),
					  TRUE, FALSE, FALSE, TRUE, state,
					  FALSE);
	iocontrol_state_complete_set_virtual(object, invocation);
	return TRUE;
}

} // namespace

int main(int argc, char **argv)
{
	if (argc != 2) {
		g_printerr("usage: %s NAME\n", argv[0]);
		return 2;
	}
	const util::ObjectPtr<IOControlState> skeleton(
		iocontrol_state_skeleton_new());
	g_signal_connect(skeleton.get(), "handle-get-state",
			 G_CALLBACK(on_get_state), nullptr);
	g_signal_connect(skeleton.get(), "handle-set-virtual",
			 G_CALLBACK(on_set_virtual), nullptr);
	serve(skeleton.get(), argv[1]);
	return 0;
}
