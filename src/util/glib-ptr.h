#pragma once

/// Owning handles for the GLib objects that the daemon uses. Each alias frees
/// what it holds with GLib's own function when it goes out of scope.

#include <gio/gio.h>

#include <memory>
#include <utility>

namespace util
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
using DirPtr = Handle<GDir, g_dir_close>;
using HashTablePtr = Handle<GHashTable, g_hash_table_unref>;
using KeyFilePtr = Handle<GKeyFile, g_key_file_unref>;
using ListPtr = Handle<GList, g_list_free>;
using MainLoopPtr = Handle<GMainLoop, g_main_loop_unref>;
using MarkupParseContextPtr =
	Handle<GMarkupParseContext, g_markup_parse_context_free>;
using StrvPtr = Handle<char *, g_strfreev>;
using VariantPtr = Handle<GVariant, g_variant_unref>;

template <typename T> using ObjectPtr = Handle<T, g_object_unref>;

/// Receives a GError from a call that takes a GError ** and frees it.
///
///     util::Error error;
///     if (!call(&error))
///             g_warning("%s", error.message());
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
	const GError *get() const
	{
		return error_;
	}
	/// The error's text; a fixed text when no error was set.
	const char *message() const
	{
		return error_ ? error_->message : "unknown error";
	}
	/// Passes ownership of the error to the caller.
	GError *release()
	{
		return std::exchange(error_, nullptr);
	}

private:
	GError *error_ = nullptr;
};

} // namespace util
