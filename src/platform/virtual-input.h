#pragma once

/// The manual triggers of the video channels: which of them exist, and which
/// are enabled. Follows the streaming service's channels and the PTZ
/// coordinator, when the port configuration asks for virtual inputs. Main
/// thread.
///
/// With PTZ off only channel 1 has an enabled trigger; a trigger that is there
/// is left as it is then. With PTZ on or unknown each follows its channel.

enum PtzEnabled : int {
	PTZ_OFF = 0,
	PTZ_ON = 1,
	/// There is no coordinator, or it does not say.
	PTZ_UNKNOWN = 2,
};

/// Starts following the two services; nothing when the configuration does not
/// ask for virtual inputs.
void virtual_input_init();

/// Disables the triggers, stops following the services and removes the triggers
/// that were removed had the streaming service left.
void virtual_input_finalize();

/// The streaming service says that the channel (1 is the first) is enabled, or
/// not.
void virtual_input_set_channel_enabled(int channel, bool enabled);

/// The coordinator says that PTZ is on or off, or says nothing any more.
void virtual_input_set_ptz_enabled(PtzEnabled value);
