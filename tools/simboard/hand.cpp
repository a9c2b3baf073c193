#include "hand.h"

namespace simboard
{

Hand::Task &Hand::add_task(Line &line, unsigned left, Done done)
{
	auto self = tasks_.insert(tasks_.end(),
				  {this, &line, left, std::move(done), {}, {}});

	self->self = self;
	return *self;
}

/// Only from the task's own source, which GLib removes then.
void Hand::end_task(Task &task)
{
	Done done = std::move(task.done);

	task.source.release();
	tasks_.erase(task.self);
	done();
}

void Hand::press(Line &button, unsigned milliseconds, Done done)
{
	auto due = [](gpointer data) -> gboolean {
		auto *task = static_cast<Task *>(data);
		task->hand->board_.drive(*task->line, task->line->idle);
		task->hand->end_task(*task);
		return G_SOURCE_REMOVE;
	};

	board_.drive(button, opposite(button.idle));
	Task &task = add_task(button, 1, std::move(done));
	task.source.reset(g_timeout_add(milliseconds, due, &task));
}

void Hand::burst(Line &line, unsigned count, Done done)
{
	auto due = [](gpointer data) -> gboolean {
		auto *task = static_cast<Task *>(data);
		if (task->left-- == 0) {
			task->hand->end_task(*task);
			return G_SOURCE_REMOVE;
		}
		task->hand->board_.drive(*task->line,
					 opposite(task->line->outside));
		return G_SOURCE_CONTINUE;
	};

	Task &task = add_task(line, count, std::move(done));
	// Not as idle work: it must not wait until nobody reads.
	task.source.reset(
		g_idle_add_full(G_PRIORITY_DEFAULT, due, &task, nullptr));
}

} // namespace simboard
