#pragma once

/// Owning handles for GLib objects: each frees what it holds with GLib's own
/// function when it goes out of scope.

#include <gio/gio.h>

#include <memory>

namespace vxevent
{

template <auto Function> struct Deleter {
	template <typename T> void operator()(T *object) const
	{
		Function(object);
	}
};

template <typename T, auto Function>
using Handle = std::unique_ptr<T, Deleter<Function>>;

using CharPtr = Handle<char, g_free>;
using KeyFilePtr = Handle<GKeyFile, g_key_file_unref>;
using StrvPtr = Handle<char *, g_strfreev>;
using VariantPtr = Handle<GVariant, g_variant_unref>;

template <typename T> using ObjectPtr = Handle<T, g_object_unref>;

/// Receives a GError from one call and frees it.
class Error
{
public:
	Error() = default;
	~Error()
	{
		g_clear_error(&error_);
	}
	Error(const Error &) = delete;
	Error &operator=(const Error &) = delete;

	/// The place for a callee to store its error; drops an earlier one.
	GError **operator&()
	{
		g_clear_error(&error_);
		return &error_;
	}
	explicit operator bool() const
	{
		return error_ != nullptr;
	}
	/// The error's text; a fixed text when no error was set.
	const char *message() const
	{
		return error_ ? error_->message : "unknown error";
	}

private:
	GError *error_ = nullptr;
};

} // namespace vxevent
