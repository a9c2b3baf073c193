#pragma once

#include <iosupervised-supervised-glue.h>

/// Connects the handlers of the Supervised interface's methods. They run on the
/// main thread and answer every call.
void iosupervised_connect_handlers(IOSupervisedSupervised *skeleton);
