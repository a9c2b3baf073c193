#pragma once

#include <qel-connector-glue.h>

/// Connects the handlers of the Connector interface's methods. They run on the
/// main thread and answer every call. EmitSNMPEvent has none: the generated
/// code answers it as a method that is not implemented.
void connector_connect_handlers(QELConnector *skeleton);
