"""The Supervised interface as tests use it."""

SUPERVISED = "com.vexa.IOSupervised.Supervised"
SUPERVISED_PATH = "/com/vexa/IOSupervised/Supervised"

# Of the methods' arguments.
SIGNATURES = {
    "GetNumberOfPorts": "()",
    "IsSupervisable": "(u)",
    "GetSupervised": "(u)",
    "SetSupervised": "(ub)",
    "SetSupervisedRanges": "(usuu)",
    "GetSupervisedRanges": "(u)",
    "GetSupervisedReadout": "(u)",
    "GetSupervisedStates": "(u)",
    "GetSupervisedPortNumbers": "()",
}

NO_SUPERVISED_PORT = ("com.vexa.IOSupervised.Error.No_port", "No such port.")
NOT_SUPERVISABLE = ("com.vexa.IOSupervised.Not_supervisable",
                    "Port is not supervisable.")
# One method's message has no full stop.
NO_STATES = (NOT_SUPERVISABLE[0], "Port is not supervisable")


def call_supervised(client, method, *args):
    """Calls a method; what it returns: nothing, a value or several."""
    reply = client.call(method, SIGNATURES[method], args, name=SUPERVISED,
                        path=SUPERVISED_PATH)
    if not reply:
        return None
    return reply[0] if len(reply) == 1 else reply
