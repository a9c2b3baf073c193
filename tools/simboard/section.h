#pragma once

/// A group of the board file.

#include <glib.h>

#include <optional>
#include <span>
#include <string>
#include <string_view>

namespace simboard
{

/// Reads the group's keys. The first mistake is kept in error; after it every
/// further call does nothing.
class Section
{
public:
	/// @param file, path, group, error must outlive this.
	Section(GKeyFile *file, const char *path, const char *group,
		GError **error)
		: file_(file), path_(path), group_(group), error_(error)
	{
	}

	/// Whether there was no mistake so far.
	bool ok() const
	{
		return ok_;
	}
	void refuse(const char *key, const std::string &reason);
	bool has(const char *key) const
	{
		return g_key_file_has_key(file_, group_, key, nullptr);
	}
	/// Refuses every other key.
	void allow_only(std::span<const char *const> keys);

	std::string text(const char *key, const std::string &fallback = "");
	/// Of a key that must be there.
	std::string required_text(const char *key);
	/// Without a fallback the key must be there.
	unsigned number(const char *key, guint64 least, guint64 most,
			std::optional<unsigned> fallback = std::nullopt);
	/// "true" or "false".
	bool flag(const char *key, bool fallback);
	/// One of the words that from_word knows.
	template <typename T>
	T choice(const char *key, T fallback,
		 std::optional<T> (*from_word)(std::string_view text),
		 const std::string &words)
	{
		if (!has(key))
			return fallback;
		std::string word = text(key);
		auto value = from_word(word);
		if (!value)
			refuse(key, "\"" + word + "\" is not one of " + words);
		return value.value_or(fallback);
	}

private:
	GKeyFile *file_;
	const char *path_;
	const char *group_;
	GError **error_;
	bool ok_ = true;
};

} // namespace simboard
