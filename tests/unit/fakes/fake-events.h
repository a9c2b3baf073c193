#pragma once

namespace fake_events
{

/// What every io_event_declare_event() answers; true unless a test says else.
void set_declare_result(bool result);

} // namespace fake_events
