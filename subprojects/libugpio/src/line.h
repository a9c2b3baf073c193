#pragma once

/// A line that is exported to user space.

#include "attribute.h"
#include "exports.h"

#include <memory>
#include <optional>
#include <string>

namespace ugpio_sysfs
{

/// Where the kernel shows its lines.
constexpr const char *kRoot = "/sys/class/gpio";

/// What a request asks for, as in ugpio.h; none: the line as it is.
using Flags = std::optional<unsigned>;

/// A folder of attributes of a line; see ugpio.h for what the calls do. Null
/// and false: errno.
class Line
{
public:
	/// The line of that number, exported if it is not. Its folder is called
	/// gpio<number>, or as its chip's driver calls the line.
	static std::unique_ptr<Line> of_number(const std::string &root,
					       unsigned number, Flags flags);
	/// The line that is exported under that name; null with ENOENT when
	/// none is.
	static std::unique_ptr<Line> of_exported_name(const std::string &root,
						      const std::string &name,
						      Flags flags);
	~Line() = default;
	Line(const Line &) = delete;
	Line &operator=(const Line &) = delete;

	bool open_value();
	void close_value();
	bool set_active_low(bool active_low);
	/// 0, 1 or -1.
	int value() const;
	bool set_value(bool value) const;
	/// What shows edges; -1 while the value is not open.
	int fd() const
	{
		return edges_.get() >= 0 ? edges_.get() : value_.get();
	}

private:
	Line(std::string folder, Flags flags, ExportUse use = {});

	std::string file(const char *attribute) const
	{
		return folder_ + "/" + attribute;
	}
	bool is_input() const;
	bool attributes_are_usable() const;
	bool wait_for_attributes() const;
	bool prepare() const;
	bool configure(unsigned flags) const;
	/// Writes an attribute that lines of some chips do not have.
	bool write_if_present(const char *attribute, const char *text) const;

	std::string folder_;
	Flags flags_;
	ExportUse export_;
	UniqueFd value_;
	/// Inputs: an open file of its own, since whoever reads from one takes
	/// note of the edges that it shows.
	UniqueFd edges_;
};

} // namespace ugpio_sysfs
