#pragma once

/// The two error domains of the D-Bus interfaces.

#include <glib.h>

/// Codes of the domain "io-control-error-quark". Each is registered with the
/// D-Bus error name given behind it, below "com.vexa.IOControl.Error.".
enum IOControlError {
	IO_CONTROL_ERROR_GENERIC = 0,             // Generic
	IO_CONTROL_ERROR_NO_PORT = 1,             // No_port
	IO_CONTROL_ERROR_BUSY = 2,                // Busy
	IO_CONTROL_ERROR_NOT_OUTPUT = 3,          // Not_output
	IO_CONTROL_ERROR_NOT_INPUT = 4,           // Not_input
	IO_CONTROL_ERROR_NOT_CONFIGURABLE = 5,    // Not_configurable
	IO_CONTROL_ERROR_INCORRECT_PORT_TYPE = 6, // Incorrect_Port_Type
};

/// Codes of the domain "io-supervised-error-quark". The D-Bus names of codes
/// 2 to 4 have no ".Error" element; clients rely on it.
enum IOSupervisedError {
	IO_SUPERVISED_ERROR_GENERIC = 0,          // Error.Generic
	IO_SUPERVISED_ERROR_NO_PORT = 1,          // Error.No_port
	IO_SUPERVISED_ERROR_NOT_SUPERVISABLE = 2, // Not_supervisable
	IO_SUPERVISED_ERROR_NOT_SUPERVISED = 3,   // Not_supervised
	IO_SUPERVISED_ERROR_BAD_SUPERVISED_RANGE = 4,
};

/// The domains; the first call registers the D-Bus error names. Any thread.
GQuark io_control_error_quark();
GQuark io_supervised_error_quark();
