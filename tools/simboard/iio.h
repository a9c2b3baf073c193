#pragma once

/// The model of the board's devices of the kernel's Industrial I/O, and what a
/// kernel lets a user do with them. Knows no files. Belongs to the main loop's
/// thread.
///
/// The rules are those of Linux 6.1, drivers/iio/industrialio-buffer.c,
/// industrialio-event.c, industrialio-trigger.c and buffer/kfifo_buf.c; errors
/// are errno numbers, 0 is success.

#include "iio-device.h"

namespace simboard
{

/// Whom the model tells what the files must show. Each may be unset.
struct IioListener {
	std::function<void(IioDevice &)> plugged;
	std::function<void(IioDevice &)> unplugged;
	/// There is more to read, or another reason for reads to end.
	std::function<void(IioDevice &)> samples;
	std::function<void(IioDevice &)> events;
};

class Iio
{
public:
	/// read() has nothing and may wait.
	static constexpr int NOTHING_YET = -1;

	/// @param history must outlive this.
	Iio(const BoardDescription &description, History &history);
	~Iio();
	Iio(const Iio &) = delete;
	Iio &operator=(const Iio &) = delete;

	/// Tells the listener of every device.
	void power_on(IioListener listener);

	IioTriggers &triggers()
	{
		return triggers_;
	}
	std::map<std::string, IioDevice> &all()
	{
		return devices_;
	}
	/// Null when there is none of that name.
	IioDevice *find(const std::string &name);
	/// @param title DEVICE/NUMBER
	IioChannel *find_channel(const std::string &title);
	IioChannel *find_channel(const std::string &device, unsigned number);

	/// What a user of the kernel's attributes does. EBUSY: not while the
	/// buffer is enabled.
	int set_scanned(IioChannel &channel, bool on, Actor actor);
	int set_length(IioDevice &device, unsigned length, Actor actor);
	/// A name of no trigger takes the present one away.
	int set_trigger(IioDevice &device, const std::string &name,
			Actor actor);
	/// EINVAL: there is no trigger, or no channel that is scanned; ENOMEM:
	/// the buffer is too long.
	int set_running(IioDevice &device, bool on, Actor actor);
	void set_threshold(IioChannel &channel, Crossing crossing, int value,
			   Actor actor);
	void enable_event(IioChannel &channel, Crossing crossing, bool on,
			  Actor actor);
	/// @param path one of the description's attributes.
	void set_attribute(IioDevice &device, const std::string &path,
			   const Fixpoint &value, Actor actor);
	gint64 read_value(IioChannel &channel);

	/// What a user of its descriptors does. EBUSY: it is open.
	int open_device(IioDevice &device);
	void close_device(IioDevice &device);
	/// Whole scans; just one when a fault spoils it. EINVAL: there is no
	/// buffer, or no room for one scan.
	int read_samples(IioDevice &device, std::size_t size,
			 std::string &data);
	int open_events(IioDevice &device);
	void close_events(IioDevice &device);
	/// Whole iio_event_data, the same. EINVAL: there is no room for one.
	int read_events(IioDevice &device, std::size_t size, std::string &data);

	/// What happens around the chip.
	/// @param value one that fits into its samples.
	void set_value(IioChannel &channel, gint64 value);
	/// @param number an errno, SHORT_READ, or 0 to make it work again.
	void set_fault(IioDevice &device, IioAccess access, int number);
	/// @param path of an attribute that there is.
	void set_file_fault(IioDevice &device, const std::string &path,
			    int number);
	/// Takes it from its driver, or gives it back as at power-on but for
	/// the values; nothing when it is so already.
	void set_plugged(IioDevice &device, bool plugged);

private:
	int start(IioDevice &device);
	void take_scans(IioDevice &device, guint64 times);
	void report_crossing(IioChannel &channel, Crossing crossing);
	int read(IioDevice &device, RecordQueue &queue, IioAccess access,
		 std::size_t size, std::string &data);
	void record(const IioDevice &device, What what,
		    const std::string &value, Actor actor);

	History &history_;
	IioTriggers triggers_;
	IioListener listener_;
	std::map<std::string, IioDevice> devices_;
};

} // namespace simboard
