#pragma once

#include <glib.h>

#include <utility>

namespace util
{

/// Owns one source of the default main context and removes it once. A source
/// whose callback returns G_SOURCE_REMOVE must be given up with release()
/// first, since GLib removes it then.
class ScopedSource
{
public:
	ScopedSource() = default;
	explicit ScopedSource(guint id) : id_(id)
	{
	}
	~ScopedSource()
	{
		reset();
	}
	ScopedSource(ScopedSource &&other) noexcept
		: id_(std::exchange(other.id_, 0))
	{
	}
	ScopedSource &operator=(ScopedSource &&other) noexcept
	{
		if (this != &other)
			reset(std::exchange(other.id_, 0));
		return *this;
	}
	ScopedSource(const ScopedSource &) = delete;
	ScopedSource &operator=(const ScopedSource &) = delete;

	/// The source's id; 0 when there is none.
	guint id() const
	{
		return id_;
	}
	guint release()
	{
		return std::exchange(id_, 0);
	}
	void reset(guint id = 0)
	{
		if (id_ != 0)
			g_source_remove(id_);
		id_ = id;
	}

private:
	guint id_ = 0;
};

} // namespace util
