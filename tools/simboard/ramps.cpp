#include "ramps.h"

namespace simboard
{

namespace
{

/// The span fits, since values have at most 32 bits.
gint64 value_at(const Ramp &ramp, unsigned step)
{
	return ramp.from +
	       (ramp.to - ramp.from) * gint64{step} / gint64{ramp.steps};
}

} // namespace

void Ramps::start(IioChannel &channel, const Ramp &ramp, Done done)
{
	auto self = tasks_.insert(
		tasks_.end(),
		{this, &channel, ramp, 0, std::move(done), {}, {}});

	self->self = self;
	loops_.set_raw(channel, ramp.from);
	// Not as idle work: it must not wait until nobody reads.
	self->source.reset(
		ramp.step_ms == 0
			? g_idle_add_full(G_PRIORITY_DEFAULT, on_step, &*self,
					  nullptr)
			: g_timeout_add(ramp.step_ms, on_step, &*self));
}

gboolean Ramps::on_step(gpointer data)
{
	auto *task = static_cast<Task *>(data);
	Ramps *ramps = task->ramps;

	++task->taken;
	ramps->loops_.set_raw(*task->channel,
			      value_at(task->ramp, task->taken));
	if (task->taken < task->ramp.steps)
		return G_SOURCE_CONTINUE;
	Done done = std::move(task->done);
	task->source.release();
	ramps->tasks_.erase(task->self);
	done();
	return G_SOURCE_REMOVE;
}

} // namespace simboard
