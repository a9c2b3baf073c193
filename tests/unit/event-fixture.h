#pragma once

/// Events on a set-up port number 3, an input called "Front door", with the
/// real port model below and the event library in memory.

#include "fakes/fake-backends.h"
#include "fakes/fake-vxevent.h"
#include "fakes/recorder.h"
#include "ioport/port-list.h"
#include "ioport/port-seam.h"
#include "log-capture.h"

#include <gmock/gmock.h>

inline constexpr const char *kSupervisedPort =
	"com.vexa.Event.Qel.SupervisedPort";

inline void PrintTo(const fake_vxevent::Sent &sent, std::ostream *stream)
{
	*stream << sent.id << " " << testing::PrintToString(sent.values);
}

class EventTest : public testing::Test
{
protected:
	using Lines = fake_vxevent::Lines;
	using Sent = fake_vxevent::Sent;

	EventTest()
	{
		port_->name = "door";
		port_->number = 3;
		port_->input_name = "Front door";
		port_->output_name = "Door opener";
		io_port_add_property(port(), "ioport", "true");
		fake_backends::bind_full(port());
		port_->is_setup = true;
		recorder::reset();
	}
	/// Whatever a test did, nothing is left in the library.
	void TearDown() override
	{
		io_port_list_free();
		port_ = {};
		EXPECT_EQ(fake_vxevent::objects(), 0);
		EXPECT_THAT(fake_vxevent::declared(), testing::IsEmpty());
		fake_vxevent::reset();
		fake_backends::reset();
		recorder::reset();
	}

	IOPort *port() const
	{
		return port_.get();
	}
	/// The newest event of the port from now on.
	IOEvent *add_event(const std::optional<std::string> &name)
	{
		IOEvent *event = port_->events.emplace_front(new IOEvent).get();
		event->name = name;
		return event;
	}
	/// The event's id, 0 when it was not declared.
	guint32 declare(IOEvent *event)
	{
		EXPECT_TRUE(io_event_declare_event(port(), event));
		return event->declaration_id;
	}
	bool send(IOEvent *event, int state)
	{
		return io_event_send_event(port(), event, state);
	}
	/// A configurable port that is an output now.
	void make_configurable_output()
	{
		port_->type = PORT_IO_CTRL;
		port_->direction = false;
	}
	void set_level(int level)
	{
		fake_backends::data(port())->level = level;
	}
	/// A supervised input, whose line is found to be in @p state.
	void supervise(SupervisedState state)
	{
		port_->supervised = true;
		fake_backends::data(port())->readout = state;
	}

	PortRef port_ = PortRef::adopt(io_port_new());
	LogCapture log_;
};

/// A key of a configured event.
inline EventKey event_key(const std::string &key, const std::string &type,
			  const std::string &value, bool property = false)
{
	EventKey result;
	result.key = key;
	result.type = type;
	result.value = value;
	result.property = property;
	return result;
}
