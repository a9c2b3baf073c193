#include "ioport/io-errors.h"

#include <gio/gio.h>

namespace
{

constexpr GDBusErrorEntry kControlErrors[] = {
	{IO_CONTROL_ERROR_GENERIC, "com.vexa.IOControl.Error.Generic"},
	{IO_CONTROL_ERROR_NO_PORT, "com.vexa.IOControl.Error.No_port"},
	{IO_CONTROL_ERROR_BUSY, "com.vexa.IOControl.Error.Busy"},
	{IO_CONTROL_ERROR_NOT_OUTPUT, "com.vexa.IOControl.Error.Not_output"},
	{IO_CONTROL_ERROR_NOT_INPUT, "com.vexa.IOControl.Error.Not_input"},
	{IO_CONTROL_ERROR_NOT_CONFIGURABLE,
	 "com.vexa.IOControl.Error.Not_configurable"},
	{IO_CONTROL_ERROR_INCORRECT_PORT_TYPE,
	 "com.vexa.IOControl.Error.Incorrect_Port_Type"},
};

constexpr GDBusErrorEntry kSupervisedErrors[] = {
	{IO_SUPERVISED_ERROR_GENERIC, "com.vexa.IOSupervised.Error.Generic"},
	{IO_SUPERVISED_ERROR_NO_PORT, "com.vexa.IOSupervised.Error.No_port"},
	{IO_SUPERVISED_ERROR_NOT_SUPERVISABLE,
	 "com.vexa.IOSupervised.Not_supervisable"},
	{IO_SUPERVISED_ERROR_NOT_SUPERVISED,
	 "com.vexa.IOSupervised.Not_supervised"},
	{IO_SUPERVISED_ERROR_BAD_SUPERVISED_RANGE,
	 "com.vexa.IOSupervised.Bad_supervised_range"},
};

} // namespace

GQuark io_control_error_quark()
{
	static volatile gsize quark = 0;
	g_dbus_error_register_error_domain("io-control-error-quark", &quark,
					   kControlErrors,
					   G_N_ELEMENTS(kControlErrors));
	return static_cast<GQuark>(quark);
}

GQuark io_supervised_error_quark()
{
	static volatile gsize quark = 0;
	g_dbus_error_register_error_domain("io-supervised-error-quark", &quark,
					   kSupervisedErrors,
					   G_N_ELEMENTS(kSupervisedErrors));
	return static_cast<GQuark>(quark);
}
