#pragma once

/// The triggers that users of the kernel make through configfs, which a timer
/// fires (Linux 6.1, drivers/iio/trigger/iio-trig-hrtimer.c). Errors are errno
/// numbers, 0 is success. Belongs to the main loop's thread.

#include "history.h"
#include "kernel-text.h"
#include "util/scoped-source.h"
#include "util/unique-fd.h"

#include <map>
#include <memory>

namespace simboard
{

/// A trigger; whoever uses one that was removed keeps it, and waits in vain.
class IioTrigger
{
public:
	/// Called when it fires.
	/// @param times how often it has since it was called last.
	using Fire = std::function<void(guint64 times)>;

	IioTrigger(const std::string &its_name, unsigned its_number)
		: name(its_name), number(its_number)
	{
	}
	IioTrigger(const IioTrigger &) = delete;
	IioTrigger &operator=(const IioTrigger &) = delete;

	const std::string name;
	const unsigned number; ///< In the name of its folder.

	const Fixpoint &frequency() const
	{
		return frequency_; ///< In Hz and millionths.
	}
	/// @param text in Hz, with three decimal places. ERANGE: below 0;
	///     EINVAL: 0, or too much.
	int set_frequency(std::string_view text);

	/// A timer runs only while somebody is attached.
	/// @param user whatever tells users apart.
	void attach(const void *user, Fire fire);
	void detach(const void *user);
	std::size_t users() const
	{
		return users_.size();
	}
	void remove();

private:
	static gboolean on_timer(gint fd, GIOCondition, gpointer trigger);
	void start();
	void stop();

	Fixpoint frequency_{100, 0};
	guint64 period_ns_ = 10000000;
	bool removed_ = false;
	std::map<const void *, Fire> users_;
	util::UniqueFd timer_;
	util::ScopedSource source_;
};

using IioTriggerPtr = std::shared_ptr<IioTrigger>;

/// Whom the model tells which triggers there are. Each may be unset.
struct IioTriggerListener {
	std::function<void(const IioTriggerPtr &)> added;
	std::function<void(const IioTriggerPtr &)> removed;
};

class IioTriggers
{
public:
	/// @param history must outlive this.
	explicit IioTriggers(History &history) : history_(history)
	{
	}
	IioTriggers(const IioTriggers &) = delete;
	IioTriggers &operator=(const IioTriggers &) = delete;

	void listen(IioTriggerListener listener)
	{
		listener_ = std::move(listener);
	}
	const std::map<std::string, IioTriggerPtr> &all() const
	{
		return triggers_;
	}
	/// Null when there is none of that name.
	IioTriggerPtr find(const std::string &name) const;

	/// EEXIST: there is one of that name.
	int make(const std::string &name, Actor actor);
	/// ENOENT: there is none.
	int remove(const std::string &name, Actor actor);
	int set_frequency(IioTrigger &trigger, std::string_view text,
			  Actor actor);

private:
	unsigned free_number() const;

	History &history_;
	IioTriggerListener listener_;
	std::map<std::string, IioTriggerPtr> triggers_;
};

} // namespace simboard
