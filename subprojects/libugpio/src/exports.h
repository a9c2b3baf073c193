#pragma once

/// The lines that this process has exported. Any thread.

#include <string>

namespace ugpio_sysfs
{

/// One use of a line that this process has exported, or nothing. The line is
/// unexported with its last use.
class ExportUse
{
public:
	ExportUse() = default;
	~ExportUse();
	ExportUse(ExportUse &&other) noexcept;
	ExportUse &operator=(ExportUse &&other) noexcept;

	/// The first use of the line that has just been exported below @p root.
	static ExportUse first(const std::string &root,
			       const std::string &number,
			       const std::string &folder);
	/// A further use of the line in @p folder; nothing when somebody else
	/// has exported it.
	static ExportUse further(const std::string &folder);

	/// Whether this is the line's first use.
	bool is_first() const
	{
		return first_;
	}

private:
	ExportUse(std::string folder, bool first);

	/// Empty: no use.
	std::string folder_;
	bool first_ = false;
};

} // namespace ugpio_sysfs
