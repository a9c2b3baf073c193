#include "command.h"

namespace orvadctl
{

bool find_target(const Context &context, Target &target, GError **error)
{
	target.daemon = open_daemon(context.options.timeout_ms, error);
	if (!target.daemon ||
	    !fetch_ports(target.daemon.get(), target.ports, error))
		return false;
	target.port = select_port(target.ports,
				  context.options.arguments.front(), error);
	return target.port != nullptr;
}

bool find_reachable_target(const Context &context, Target &target,
			   GError **error)
{
	return find_target(context, target, error) &&
	       check_reachable(target.ports, *target.port, error);
}

bool find_supervised_target(const Context &context, SupervisedTarget &target,
			    GError **error)
{
	if (!find_reachable_target(context, target, error))
		return false;
	target.supervised = open_supervised(target.daemon.get(), error);
	return target.supervised != nullptr;
}

bool is_simulated(const Context &context, const Port &port)
{
	return context.options.simulate || port.only_virtual();
}

} // namespace orvadctl
